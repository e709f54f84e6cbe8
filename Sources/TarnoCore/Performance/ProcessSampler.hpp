#pragma once

#include "TarnoCore/Platform/TCPSocket.hpp"
#include "TarnoCore/Platform/ProcessTable.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tarno {

// One process at one moment.
struct ProcessSnapshot {
    std::int32_t pid = 0;
    std::int32_t parentPID = 0;  // 0 when it could not be read
    std::string path;            // the executable; empty when it could not be read
    std::string name;            // last component of path, else the kernel's short name, else "pid N"
    std::int64_t memoryBytes = 0;
    double cpuPercent = 0;       // of one core since the sampler's previous sample; 0 on a first sight
    std::string responsiblePath; // empty: the process answers for itself
    std::optional<std::chrono::system_clock::time_point> started;

    bool operator==(const ProcessSnapshot&) const = default;
};

// What a user thinks of as one application, or one stand-alone program.
struct ProcessGroup {
    std::string id;   // "app:" + the application's name, or the executable's file name
    std::string name; // the display name
    std::optional<std::string> bundlePath;
    std::vector<std::int32_t> pids; // in sample order
    std::int32_t mainPID = 0;
    std::int64_t memoryBytes = 0;
    double cpuPercent = 0;
    bool isSystemService = false;

    bool operator==(const ProcessGroup&) const = default;
};

struct ProcessSample {
    std::vector<ProcessSnapshot> processes; // in the order the system lists them
    std::vector<ProcessGroup> groups;       // largest memory first

    bool operator==(const ProcessSample&) const = default;
};

// Asks the system about running processes. Processor shares are relative to
// the sampler's own previous sample, so each user keeps its own sampler.
// Calls of sample() on one instance never overlap; the static operations hold
// no state and run on any thread.
class ProcessSampler {
public:
    using MonotonicClock = std::function<std::uint64_t()>; // nanoseconds

    // The real machine.
    ProcessSampler();

    // Another process table, and a clock in its place when one is given.
    explicit ProcessSampler(Platform::ProcessTable table, MonotonicClock clock = {});

    ProcessSampler(const ProcessSampler&) = delete;
    ProcessSampler& operator=(const ProcessSampler&) = delete;

    // Every process the user may inspect, and their groups. Never fails:
    // what cannot be read is skipped or left empty.
    ProcessSample sample();

    static std::vector<std::string> arguments(std::int32_t pid,
                                              const Platform::ProcessTable& table = Platform::ProcessTable());
    static std::optional<std::string> workingDirectory(std::int32_t pid,
                                                       const Platform::ProcessTable& table = Platform::ProcessTable());
    // The current folder of every process that has a readable one, in pid
    // order, with repeats: whether a folder is in use is a lookup in this list.
    static std::vector<std::string> workingDirectories(const Platform::ProcessTable& table = Platform::ProcessTable());
    static std::vector<TCPSocket> tcpSockets(std::int32_t pid,
                                             const Platform::ProcessTable& table = Platform::ProcessTable());
    // Local ports of the listening sockets, ascending, without repeats.
    static std::vector<std::uint16_t> listeningPorts(std::int32_t pid,
                                                     const Platform::ProcessTable& table = Platform::ProcessTable());
    static std::string path(std::int32_t pid, const Platform::ProcessTable& table = Platform::ProcessTable());

    static bool isSystemService(std::string_view path);

    // The outermost application bundle in `path` (".app" or ".app.bundle"),
    // without its trailing slash, so that a helper application inside
    // another one joins its parent; nothing when there is none.
    static std::optional<std::string> bundlePath(std::string_view path);

    // Folds snapshots into groups, largest memory first. Pure.
    static std::vector<ProcessGroup> groups(const std::vector<ProcessSnapshot>& snapshots);

private:
    // Kernel processor times are in clock ticks: numer / denom nanoseconds each.
    struct Timebase {
        std::uint64_t numer = 1;
        std::uint64_t denom = 1;
    };

    Platform::ProcessTable m_table;
    MonotonicClock m_clock;
    Timebase m_timebase;
    std::mutex m_sampling;
    std::unordered_map<std::int32_t, std::uint64_t> m_previousCPU; // pid → processor nanoseconds
    std::uint64_t m_previousTime = 0;
};

} // namespace tarno
