#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// The kernel's memory counters and pressure stall figures, read from a procfs
// root so that tests can point it at made-up files.
namespace tarno::Platform::MemoryInfo {

// Field name to value, from <procRoot>/meminfo. Values given in kB are in
// bytes here; values with no unit (HugePages_Total) are kept as they are.
// Empty when the file cannot be read; malformed lines are left out.
using Fields = std::map<std::string, std::int64_t, std::less<>>;

Fields meminfo(const std::string& procRoot);

// The same for the text of a meminfo file.
Fields parseMeminfo(std::string_view text);

// The averages of <procRoot>/pressure/memory, in percent of wall time over the
// last 10 and 60 seconds. `some`: at least one task waited for memory; `full`:
// every runnable task did, so the machine did no work at all.
struct PressureStall {
    double someAvg10 = 0;
    double someAvg60 = 0;
    double fullAvg10 = 0;
    double fullAvg60 = 0;

    bool operator==(const PressureStall&) const = default;
};

// Absent when the kernel has no pressure stall information (an old kernel, or
// one booted with psi=0) or the `some` line cannot be read. A missing `full`
// line reads as zeros.
std::optional<PressureStall> pressureStall(const std::string& procRoot);

// The same for the text of a pressure file.
std::optional<PressureStall> parsePressureStall(std::string_view text);

} // namespace tarno::Platform::MemoryInfo
