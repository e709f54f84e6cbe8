#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

// Asking running processes to quit, as a person closing their windows would:
// a request they may act on, never a kill.
namespace tarno::Platform::ProcessControl {

// Sends each process SIGTERM (and SIGCONT, so a stopped one can act on it),
// then waits up to `passes` × `interval` for all of them to end. Gives the
// pids still running afterwards, in the order given: those that did not
// quit, those that may not be signalled (another user's, the calling process
// itself), those that could not be reached safely. A process that is already
// gone, or has ended and waits to be reaped, counts as ended. A pid reused by
// a new process while this runs is never signalled. Blocks the calling thread.
std::vector<std::int32_t> terminate(const std::vector<std::int32_t>& pids, int passes,
                                    std::chrono::milliseconds interval);

} // namespace tarno::Platform::ProcessControl
