// The process table from procfs: one small file read per question, no tool run.

#include "TarnoCore/Platform/ProcessTable.hpp"

#include "TarnoCore/Platform/Text.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <limits>
#include <string_view>
#include <unordered_set>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace tarno::Platform {

namespace {

// Reads a whole file into `contents`; gives 0 or the errno of the failure.
// procfs files report a size of 0, so this reads until the end, not by size.
int readWholeFile(const std::string& path, std::string& contents)
{
    contents.clear();
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return errno;
    std::array<char, 4096> chunk;
    for (;;) {
        const ssize_t count = ::read(descriptor, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            const int failure = errno;
            ::close(descriptor);
            return failure;
        }
        if (count == 0)
            break;
        contents.append(chunk.data(), static_cast<std::size_t>(count));
    }
    ::close(descriptor);
    return 0;
}

// The target of a symbolic link; empty when it cannot be read.
std::string linkTarget(int folder, const char* name)
{
    std::array<char, 4096> buffer;
    const ssize_t length = ::readlinkat(folder, name, buffer.data(), buffer.size());
    if (length <= 0 || static_cast<std::size_t>(length) >= buffer.size())
        return {};
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

std::string linkTarget(const std::string& path)
{
    return linkTarget(AT_FDCWD, path.c_str());
}

template <typename Number>
std::optional<Number> parseNumber(std::string_view text, int base = 10)
{
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size() || text.empty())
        return std::nullopt;
    return value;
}

// The next field separated by white space; advances `text` past it.
std::string_view nextField(std::string_view& text)
{
    const std::size_t start = text.find_first_not_of(" \t\n");
    if (start == std::string_view::npos) {
        text = {};
        return {};
    }
    text.remove_prefix(start);
    const std::size_t end = std::min(text.find_first_of(" \t\n"), text.size());
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(end);
    return field;
}

// The number of kilobytes on the line that begins with `key` ("Pss:"), in
// bytes; std::nullopt when no line does.
std::optional<std::int64_t> kilobytesField(std::string_view contents, std::string_view key)
{
    std::size_t position = 0;
    while (position < contents.size()) {
        const std::size_t end = std::min(contents.find('\n', position), contents.size());
        std::string_view line = contents.substr(position, end - position);
        if (line.starts_with(key)) {
            line.remove_prefix(key.size());
            const auto kilobytes = parseNumber<std::int64_t>(nextField(line));
            // The kernel never writes a negative size or one past 64 bits of bytes.
            if (!kilobytes || *kilobytes < 0 || *kilobytes > std::numeric_limits<std::int64_t>::max() / 1024)
                return std::nullopt;
            return *kilobytes * 1024;
        }
        position = end + 1;
    }
    return std::nullopt;
}

std::uint64_t kernelTicksPerSecond()
{
    const long ticks = ::sysconf(_SC_CLK_TCK);
    return ticks > 0 ? static_cast<std::uint64_t>(ticks) : 100;
}

TCPSocket::State socketState(std::string_view code)
{
    // The kernel's TCP_LISTEN and TCP_ESTABLISHED.
    if (code == "0A")
        return TCPSocket::State::listening;
    if (code == "01")
        return TCPSocket::State::established;
    return TCPSocket::State::other;
}

// The port of "ADDRESS:PORT", in hex and already in host order.
std::uint16_t portOf(std::string_view endpoint)
{
    const std::size_t colon = endpoint.rfind(':');
    if (colon == std::string_view::npos)
        return 0;
    return parseNumber<std::uint16_t>(endpoint.substr(colon + 1), 16).value_or(0);
}

} // namespace

std::vector<TCPSocket> ProcessTable::parseTCPTable(std::string_view table, const std::unordered_set<std::uint64_t>& inodes)
{
    std::vector<TCPSocket> sockets;
    std::size_t position = table.find('\n'); // the heading
    while (position != std::string_view::npos && position < table.size()) {
        const std::size_t end = std::min(table.find('\n', position + 1), table.size());
        std::string_view line = table.substr(position + 1, end - position - 1);
        position = end;
        nextField(line); // "sl:"
        const std::string_view local = nextField(line);
        const std::string_view remote = nextField(line);
        const std::string_view state = nextField(line);
        for (int skipped = 0; skipped < 5; ++skipped) // queues, timer, retransmits, uid, timeout
            nextField(line);
        const auto inode = parseNumber<std::uint64_t>(nextField(line));
        if (!inode || *inode == 0 || !inodes.contains(*inode))
            continue;
        sockets.push_back(TCPSocket{socketState(state), portOf(local), portOf(remote)});
    }
    return sockets;
}

ProcessTable::ProcessTable()
    : ProcessTable("/proc", kernelTicksPerSecond())
{
}

ProcessTable::ProcessTable(std::string root, std::uint64_t ticksPerSecond)
    : m_root(std::move(root))
    , m_ticksPerSecond(ticksPerSecond > 0 ? ticksPerSecond : 1)
{
}

std::vector<std::int32_t> ProcessTable::allPIDs() const
{
    std::vector<std::int32_t> pids;
    DIR* folder = ::opendir(m_root.c_str());
    if (folder == nullptr)
        return pids;
    while (const dirent* entry = ::readdir(folder)) {
        const auto pid = parseNumber<std::int32_t>(entry->d_name);
        if (pid && *pid >= 1)
            pids.push_back(*pid);
    }
    ::closedir(folder);
    return pids;
}

std::optional<std::int64_t> ProcessTable::memoryBytes(std::int32_t pid) const
{
    const std::string folder = m_root + "/" + std::to_string(pid);
    std::string contents;
    const int failure = readWholeFile(folder + "/smaps_rollup", contents);
    if (failure == 0) {
        // Proportional set size: each shared page is divided among the
        // processes that map it, so the figures of all processes add up to
        // the memory really in use, where resident sizes would count a shared
        // library once per process. SwapPss does the same for what is swapped out.
        return rollupMemoryBytes(contents);
    }
    if (failure == EACCES || failure == EPERM)
        return std::nullopt; // another user's process

    // No rollup: an older kernel, or a kernel thread with no memory of its own
    // (ESRCH). Resident anonymous memory is the closest figure that never
    // counts a shared file twice; a kernel thread has none.
    if (readWholeFile(folder + "/status", contents) != 0)
        return std::nullopt;
    return anonymousMemoryBytes(contents);
}

std::int64_t ProcessTable::rollupMemoryBytes(std::string_view smapsRollup)
{
    std::int64_t total = 0;
    if (__builtin_add_overflow(kilobytesField(smapsRollup, "Pss:").value_or(0),
                               kilobytesField(smapsRollup, "SwapPss:").value_or(0), &total))
        return 0;
    return total;
}

std::int64_t ProcessTable::anonymousMemoryBytes(std::string_view status)
{
    return kilobytesField(status, "RssAnon:").value_or(0);
}

std::optional<ProcessTable::Status> ProcessTable::status(std::int32_t pid) const
{
    std::string contents;
    if (readWholeFile(m_root + "/" + std::to_string(pid) + "/stat", contents) != 0)
        return std::nullopt;
    return parseStat(contents);
}

std::optional<ProcessTable::Status> ProcessTable::parseStat(std::string_view contents)
{
    // "pid (comm) state ppid ...": the short name may hold spaces and
    // parentheses of its own, and only the last ")" closes it.
    const std::size_t open = contents.find('(');
    const std::size_t close = contents.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return std::nullopt;

    Status status;
    status.command = std::string(contents.substr(open + 1, close - open - 1));
    std::string_view rest = contents.substr(close + 1);
    // Fields from the third on, numbered as in proc(5).
    std::array<std::string_view, 20> fields;
    for (std::string_view& field : fields)
        field = nextField(rest);
    const std::string_view state = fields[3 - 3];
    const auto parent = parseNumber<std::int32_t>(fields[4 - 3]);
    const auto processGroup = parseNumber<std::int32_t>(fields[5 - 3]);
    const auto userTicks = parseNumber<std::uint64_t>(fields[14 - 3]);
    const auto systemTicks = parseNumber<std::uint64_t>(fields[15 - 3]);
    const auto startTicks = parseNumber<std::uint64_t>(fields[22 - 3]);
    if (state.size() != 1 || !parent || !processGroup || !userTicks || !systemTicks || !startTicks)
        return std::nullopt;
    status.parentPID = *parent;
    status.processGroup = *processGroup;
    status.hasEnded = state == "Z" || state == "X";
    status.processorTicks = *userTicks + *systemTicks;
    status.startTicks = *startTicks;
    return status;
}

std::string ProcessTable::executablePath(std::int32_t pid) const
{
    std::string path = linkTarget(m_root + "/" + std::to_string(pid) + "/exe");
    constexpr std::string_view deleted = " (deleted)";
    if (path.ends_with(deleted))
        path.resize(path.size() - deleted.size());
    return path;
}

std::vector<std::string> ProcessTable::arguments(std::int32_t pid) const
{
    std::string contents;
    if (readWholeFile(m_root + "/" + std::to_string(pid) + "/cmdline", contents) != 0)
        return {};
    return parseArguments(contents);
}

std::vector<std::string> ProcessTable::parseArguments(std::string_view contents)
{
    std::vector<std::string> arguments;
    // NUL-terminated strings; an empty one between two NULs is an argument
    // too. A process that rewrote its title may leave the last unterminated.
    std::size_t position = 0;
    while (position < contents.size()) {
        const std::size_t end = std::min(contents.find('\0', position), contents.size());
        arguments.emplace_back(contents.substr(position, end - position));
        position = end + 1;
    }
    return arguments;
}

std::optional<std::string> ProcessTable::workingDirectory(std::int32_t pid) const
{
    std::string folder = linkTarget(m_root + "/" + std::to_string(pid) + "/cwd");
    if (folder.empty())
        return std::nullopt;
    return folder;
}

std::vector<TCPSocket> ProcessTable::tcpSockets(std::int32_t pid) const
{
    std::vector<TCPSocket> sockets;
    const std::string folder = m_root + "/" + std::to_string(pid);
    DIR* descriptors = ::opendir((folder + "/fd").c_str());
    if (descriptors == nullptr)
        return sockets;
    std::unordered_set<std::uint64_t> inodes;
    constexpr std::string_view socketPrefix = "socket:[";
    while (const dirent* entry = ::readdir(descriptors)) {
        if (entry->d_name[0] == '.')
            continue;
        const std::string target = linkTarget(::dirfd(descriptors), entry->d_name);
        if (!target.starts_with(socketPrefix) || !target.ends_with(']'))
            continue;
        const std::string_view digits =
            std::string_view(target).substr(socketPrefix.size(), target.size() - socketPrefix.size() - 1);
        if (const auto inode = parseNumber<std::uint64_t>(digits))
            inodes.insert(*inode);
    }
    ::closedir(descriptors);
    if (inodes.empty())
        return sockets;

    std::string table;
    for (const char* name : {"/net/tcp", "/net/tcp6"}) {
        if (readWholeFile(folder + name, table) == 0) {
            const std::vector<TCPSocket> found = parseTCPTable(table, inodes);
            sockets.insert(sockets.end(), found.begin(), found.end());
        }
    }
    return sockets;
}

std::int64_t ProcessTable::bootTime() const
{
    std::string contents;
    if (readWholeFile(m_root + "/stat", contents) != 0)
        return 0;
    return parseBootTime(contents);
}

std::int64_t ProcessTable::parseBootTime(std::string_view contents)
{
    const std::size_t line = contents.find("\nbtime ");
    if (line == std::string_view::npos)
        return 0;
    std::string_view rest = contents.substr(line + 7);
    return parseNumber<std::int64_t>(nextField(rest)).value_or(0);
}

std::optional<std::string> ProcessTable::flatpakApplication(std::int32_t pid) const
{
    // <pid>/root is the process's own view of "/", so this is the sandbox's file.
    std::string contents;
    if (readWholeFile(m_root + "/" + std::to_string(pid) + "/root/.flatpak-info", contents) != 0)
        return std::nullopt;
    return parseFlatpakApplication(contents);
}

std::optional<std::string> ProcessTable::parseFlatpakApplication(std::string_view contents)
{
    // A key file: "[Group]" lines, "key=value" lines, "#" comments. A runtime
    // run on its own has a [Runtime] group instead and no app.
    bool inGroup = false;
    while (!contents.empty()) {
        const std::size_t end = contents.find('\n');
        const std::string_view line = Text::trimmed(contents.substr(0, end));
        contents = end == std::string_view::npos ? std::string_view() : contents.substr(end + 1);
        if (line.starts_with('[')) {
            inGroup = line == "[Application]";
            continue;
        }
        const std::size_t equals = line.find('=');
        if (!inGroup || line.starts_with('#') || equals == std::string_view::npos)
            continue;
        if (Text::trimmed(line.substr(0, equals)) != "name")
            continue;
        const std::string_view value = Text::trimmed(line.substr(equals + 1));
        if (value.empty())
            return std::nullopt;
        return std::string(value);
    }
    return std::nullopt;
}

std::optional<std::string> ProcessTable::environmentVariable(std::int32_t pid, std::string_view name) const
{
    std::string contents;
    if (readWholeFile(m_root + "/" + std::to_string(pid) + "/environ", contents) != 0)
        return std::nullopt;
    return parseEnvironmentVariable(contents, name);
}

std::optional<std::string> ProcessTable::parseEnvironmentVariable(std::string_view contents, std::string_view name)
{
    if (name.empty() || name.find('=') != std::string_view::npos)
        return std::nullopt;
    // What the process started with: later setenv calls are not seen here.
    // The first definition is the one getenv would answer.
    while (!contents.empty()) {
        const std::size_t end = contents.find('\0');
        const std::string_view entry = contents.substr(0, end);
        contents = end == std::string_view::npos ? std::string_view() : contents.substr(end + 1);
        if (entry.size() > name.size() && entry.starts_with(name) && entry[name.size()] == '=')
            return std::string(entry.substr(name.size() + 1));
    }
    return std::nullopt;
}

} // namespace tarno::Platform
