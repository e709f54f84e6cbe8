#pragma once

#include "TarnoCore/Platform/TCPSocket.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace tarno::Platform {

// The operating system's table of processes, read from a procfs tree. The
// root is "/proc" on the real machine and a made-up folder in tests. Every
// read stands alone: a process that ends between two reads simply answers
// nothing to the second. Immutable; any thread.
class ProcessTable {
public:
    // What /proc/<pid>/stat says.
    struct Status {
        std::int32_t parentPID = 0;
        std::string command;              // the kernel's short name, at most 15 bytes
        std::uint64_t processorTicks = 0; // user plus system time, in clock ticks
        std::uint64_t startTicks = 0;     // start time in clock ticks since boot
        std::int32_t processGroup = 0;
        bool hasEnded = false;            // a zombie ('Z') or dead ('X'): listed, no longer running

        bool operator==(const Status&) const = default;
    };

    // The real machine: "/proc" and the kernel's clock tick.
    ProcessTable();

    // A procfs tree at `root` whose times count `ticksPerSecond` to the second.
    ProcessTable(std::string root, std::uint64_t ticksPerSecond);

    const std::string& root() const { return m_root; }
    std::uint64_t ticksPerSecond() const { return m_ticksPerSecond; }

    // The numeric entries of the root, in the order the folder lists them.
    std::vector<std::int32_t> allPIDs() const;

    // The memory the system attributes to the process; std::nullopt when the
    // process is not ours to inspect.
    std::optional<std::int64_t> memoryBytes(std::int32_t pid) const;

    // std::nullopt when the process is gone or its line does not parse.
    std::optional<Status> status(std::int32_t pid) const;

    // The executable's path, without the " (deleted)" of a replaced file;
    // empty when the process has none (a kernel thread) or it cannot be read.
    std::string executablePath(std::int32_t pid) const;

    // The argument vector, argv[0] included; empty when it cannot be read.
    std::vector<std::string> arguments(std::int32_t pid) const;

    // The current folder; std::nullopt when it cannot be read or is empty.
    std::optional<std::string> workingDirectory(std::int32_t pid) const;

    // The TCP sockets, IPv4 then IPv6, of the descriptors the process holds,
    // from the tables of its own network namespace.
    std::vector<TCPSocket> tcpSockets(std::int32_t pid) const;

    // The boot time in seconds since 1970 ("btime" of <root>/stat); 0 when unreadable.
    std::int64_t bootTime() const;

    // The id of the Flatpak app whose sandbox the process runs in, from the
    // ".flatpak-info" Flatpak puts at the root of every sandbox; std::nullopt
    // for a process outside one or one that is not ours to inspect.
    std::optional<std::string> flatpakApplication(std::int32_t pid) const;

    // The value of one variable of the environment the process started with;
    // std::nullopt when it has none by that name or it cannot be read.
    std::optional<std::string> environmentVariable(std::int32_t pid, std::string_view name) const;

    // The readers of those files, for text already read. What does not parse
    // is absent, and a figure that is negative or too large counts as absent.

    // A /proc/<pid>/stat line.
    static std::optional<Status> parseStat(std::string_view text);

    // Pss plus SwapPss of a smaps_rollup, in bytes.
    static std::int64_t rollupMemoryBytes(std::string_view smapsRollup);

    // RssAnon of a status file, in bytes.
    static std::int64_t anonymousMemoryBytes(std::string_view status);

    // The NUL-separated arguments of a cmdline file.
    static std::vector<std::string> parseArguments(std::string_view cmdline);

    // The sockets of a net/tcp or net/tcp6 table whose inode is in `inodes`.
    static std::vector<TCPSocket> parseTCPTable(std::string_view table, const std::unordered_set<std::uint64_t>& inodes);

    // "btime" of /proc/stat; 0 when there is none.
    static std::int64_t parseBootTime(std::string_view stat);

    // The name of the [Application] group of a .flatpak-info file, when not empty.
    static std::optional<std::string> parseFlatpakApplication(std::string_view flatpakInfo);

    // The first value of `name` in the NUL-separated "NAME=value" strings of an environ file.
    static std::optional<std::string> parseEnvironmentVariable(std::string_view environ, std::string_view name);

private:
    std::string m_root;
    std::uint64_t m_ticksPerSecond;
};

} // namespace tarno::Platform
