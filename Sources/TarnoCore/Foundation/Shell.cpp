#include "TarnoCore/Foundation/Shell.hpp"

#include "TarnoCore/Platform/ProcessTable.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tarno::Shell {

namespace {

using Clock = std::chrono::steady_clock;

// How long a tool that was asked to terminate has before its group is killed.
constexpr auto killGrace = std::chrono::seconds(5);
// How long the pipes are still read once the tool itself has ended: output
// already written arrives, but a leftover child holding a pipe cannot keep
// the caller waiting.
constexpr auto pipeGrace = std::chrono::milliseconds(200);
// How often a tool's end is looked for when the kernel cannot signal it.
constexpr auto reapTick = std::chrono::milliseconds(50);
// How often the caller is asked whether the tool should stop.
constexpr auto cancelTick = std::chrono::milliseconds(100);

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

// A file descriptor, closed when it goes out of scope.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        if (this != &other) {
            reset();
            m_fd = std::exchange(other.m_fd, -1);
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return m_fd; }
    bool isOpen() const { return m_fd >= 0; }
    void reset()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd = -1;
};

struct Pipe {
    Descriptor read;
    Descriptor write;
};

// A descriptor above the standard three, so that wiring the child's 0, 1 and 2
// can never overwrite another of its pipes. Close-on-exec keeps the pipe out of
// tools that other threads start at the same moment.
Descriptor aboveStandardStreams(int fd)
{
    if (fd > STDERR_FILENO)
        return Descriptor(fd);
    Descriptor moved(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    ::close(fd);
    return moved;
}

std::optional<Pipe> makePipe()
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return std::nullopt;
    Pipe pipe{aboveStandardStreams(fds[0]), aboveStandardStreams(fds[1])};
    if (!pipe.read.isOpen() || !pipe.write.isOpen())
        return std::nullopt;
    return pipe;
}

// The process's environment with the given entries laid over it.
std::vector<std::string> overlaidEnvironment(const std::map<std::string, std::string>& overlay)
{
    std::vector<std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        if (!overlay.contains(std::string(text.substr(0, text.find('=')))))
            entries.emplace_back(text);
    }
    for (const auto& [key, value] : overlay) {
        if (!key.empty() && key.find('=') == std::string::npos)
            entries.push_back(key + "=" + value);
    }
    return entries;
}

// A null-terminated array of pointers into `strings`, as exec wants it.
std::vector<char*> pointerArray(std::vector<std::string>& strings)
{
    std::vector<char*> pointers;
    pointers.reserve(strings.size() + 1);
    for (std::string& text : strings)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

class SpawnSetup {
public:
    SpawnSetup()
    {
        m_ready = ::posix_spawn_file_actions_init(&m_actions) == 0;
        m_ready = ::posix_spawnattr_init(&m_attributes) == 0 && m_ready;
    }
    ~SpawnSetup()
    {
        ::posix_spawn_file_actions_destroy(&m_actions);
        ::posix_spawnattr_destroy(&m_attributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    // Standard input reads end of file at once; the output streams go to the
    // pipes. The tool leads a process group of its own, so a time-out reaches
    // whatever it started, and it begins with default signal handling and no
    // blocked signals, whatever the calling thread had.
    bool configure(int standardOutput, int standardError)
    {
        sigset_t none;
        sigset_t all;
        ::sigemptyset(&none);
        ::sigfillset(&all);
        return m_ready
            && ::posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0
            && ::posix_spawn_file_actions_adddup2(&m_actions, standardOutput, STDOUT_FILENO) == 0
            && ::posix_spawn_file_actions_adddup2(&m_actions, standardError, STDERR_FILENO) == 0
            && ::posix_spawnattr_setflags(&m_attributes,
                                          POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF)
                == 0
            && ::posix_spawnattr_setpgroup(&m_attributes, 0) == 0
            && ::posix_spawnattr_setsigmask(&m_attributes, &none) == 0
            && ::posix_spawnattr_setsigdefault(&m_attributes, &all) == 0;
    }

    const posix_spawn_file_actions_t* actions() const { return &m_actions; }
    const posix_spawnattr_t* attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
    bool m_ready = false;
};

// A descriptor that becomes readable when the child ends, where the kernel offers one.
Descriptor endNotifier(pid_t pid)
{
#ifdef SYS_pidfd_open
    return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
#else
    (void)pid;
    return Descriptor();
#endif
}

int statusOf(int waitStatus)
{
    if (WIFEXITED(waitStatus))
        return WEXITSTATUS(waitStatus);
    if (WIFSIGNALED(waitStatus))
        return 128 + WTERMSIG(waitStatus);
    return -1;
}

// The child's status once it has ended, without waiting. A child that somebody
// else reaped (SIGCHLD ignored by the host program) has ended with a status
// nobody can know: -1, which is not success.
std::optional<int> reap(pid_t pid)
{
    for (;;) {
        int waitStatus = 0;
        const pid_t result = ::waitpid(pid, &waitStatus, WNOHANG);
        if (result == pid)
            return statusOf(waitStatus);
        if (result == 0)
            return std::nullopt;
        if (errno != EINTR)
            return -1;
    }
}

// Whether a process of the group still runs. A member that has ended but not
// yet been reaped by whoever adopted it still receives signals, so the signal
// test alone would keep the caller waiting on the dead.
bool groupIsAlive(pid_t group)
{
    if (::kill(-group, 0) != 0 && errno != EPERM)
        return false;
    const Platform::ProcessTable table;
    const std::vector<std::int32_t> pids = table.allPIDs();
    if (pids.empty())
        return true; // the table cannot be read: the signal test has the last word
    for (const std::int32_t pid : pids) {
        const std::optional<Platform::ProcessTable::Status> status = table.status(pid);
        if (status && status->processGroup == group && !status->hasEnded)
            return true;
    }
    return false;
}

// Reads what is there; closes the descriptor at end of file or on an error.
void readAvailable(Descriptor& pipe, std::string& bytes)
{
    std::array<char, 65536> buffer;
    const ssize_t count = ::read(pipe.get(), buffer.data(), buffer.size());
    if (count > 0)
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    else if (count == 0 || (errno != EINTR && errno != EAGAIN))
        pipe.reset();
}

int millisecondsUntil(Clock::time_point wake, Clock::time_point now)
{
    if (wake == Clock::time_point::max())
        return -1;
    if (wake <= now)
        return 0;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(wake - now).count();
    return static_cast<int>(std::min<decltype(wait)>(wait, INT_MAX));
}

Clock::duration clampedTimeout(std::chrono::duration<double> timeout)
{
    // Ten years stands for "never"; a negative or NaN time-out is already due.
    constexpr double longest = 10.0 * 365 * 24 * 3600;
    const double seconds = timeout.count() >= 0 ? std::min(timeout.count(), longest) : 0.0;
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

// Valid UTF-8 stays as it is; each maximal ill-formed subpart becomes one U+FFFD,
// as the Unicode standard recommends.
std::string repairedUTF8(const std::string& bytes)
{
    std::string text;
    text.reserve(bytes.size());
    const std::size_t size = bytes.size();
    std::size_t index = 0;
    while (index < size) {
        const auto lead = static_cast<unsigned char>(bytes[index]);
        if (lead < 0x80) {
            text.push_back(static_cast<char>(lead));
            ++index;
            continue;
        }
        std::size_t length = 0;
        unsigned char secondLow = 0x80;
        unsigned char secondHigh = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead == 0xE0) {
            length = 3;
            secondLow = 0xA0; // no overlong forms
        } else if (lead == 0xED) {
            length = 3;
            secondHigh = 0x9F; // no surrogates
        } else if (lead >= 0xE1 && lead <= 0xEF) {
            length = 3;
        } else if (lead == 0xF0) {
            length = 4;
            secondLow = 0x90;
        } else if (lead >= 0xF1 && lead <= 0xF3) {
            length = 4;
        } else if (lead == 0xF4) {
            length = 4;
            secondHigh = 0x8F; // nothing above U+10FFFF
        }
        std::size_t next = index + 1;
        bool complete = length > 0;
        for (std::size_t position = 1; complete && position < length; ++position, ++next) {
            const unsigned char low = position == 1 ? secondLow : 0x80;
            const unsigned char high = position == 1 ? secondHigh : 0xBF;
            complete = next < size && static_cast<unsigned char>(bytes[next]) >= low
                && static_cast<unsigned char>(bytes[next]) <= high;
            if (!complete)
                break;
        }
        if (complete) {
            text.append(bytes, index, length);
            index += length;
        } else {
            text.append(replacementCharacter);
            index = next;
        }
    }
    return text;
}

} // namespace

std::optional<Output> run(const std::string& tool,
                          const std::vector<std::string>& arguments,
                          const std::map<std::string, std::string>& environment,
                          std::chrono::duration<double> timeout,
                          const std::function<bool()>& isCancelled)
{
    // Only an absolute path: a relative one would be looked up from wherever
    // the process happens to stand.
    if (tool.empty() || tool.front() != '/')
        return std::nullopt;

    std::optional<Pipe> output = makePipe();
    std::optional<Pipe> errors = makePipe();
    if (!output || !errors)
        return std::nullopt;
    SpawnSetup setup;
    if (!setup.configure(output->write.get(), errors->write.get()))
        return std::nullopt;

    std::vector<std::string> argumentStrings;
    argumentStrings.reserve(arguments.size() + 1);
    argumentStrings.push_back(tool);
    argumentStrings.insert(argumentStrings.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv = pointerArray(argumentStrings);
    std::vector<std::string> environmentStrings;
    std::vector<char*> envp;
    if (!environment.empty()) {
        environmentStrings = overlaidEnvironment(environment);
        envp = pointerArray(environmentStrings);
    }

    // glibc's posix_spawn reports a failed exec as its own result, so a tool
    // that is missing, not executable or not a program never counts as started.
    pid_t pid = 0;
    if (::posix_spawn(&pid, tool.c_str(), setup.actions(), setup.attributes(), argv.data(),
                      environment.empty() ? environ : envp.data())
        != 0)
        return std::nullopt;
    output->write.reset();
    errors->write.reset();

    Descriptor ended = endNotifier(pid);
    const Clock::time_point deadline = Clock::now() + clampedTimeout(timeout);
    std::optional<Clock::time_point> terminatedAt;
    bool killed = false;
    std::optional<Clock::time_point> reapedAt;
    bool cancelled = false;
    int status = -1;
    std::string standardOutput;
    std::string standardError;

    for (;;) {
        const Clock::time_point now = Clock::now();
        if (!reapedAt) {
            if (std::optional<int> finalStatus = reap(pid)) {
                status = *finalStatus;
                reapedAt = now;
                ended.reset();
            }
        }
        if (!reapedAt && !terminatedAt && isCancelled && isCancelled())
            cancelled = true;
        if (!reapedAt && !terminatedAt && (cancelled || now >= deadline)) {
            ::kill(-pid, SIGTERM);
            terminatedAt = now;
        }
        // After a time-out the whole group gets its grace, the tool's leftovers included.
        bool awaitingKill = terminatedAt && !killed && (!reapedAt || groupIsAlive(pid));
        if (awaitingKill && now >= *terminatedAt + killGrace) {
            ::kill(-pid, SIGKILL);
            killed = true;
            awaitingKill = false;
        }
        const bool pipesOpen = output->read.isOpen() || errors->read.isOpen();
        const bool reading = pipesOpen && (!reapedAt || now < *reapedAt + pipeGrace);
        if (reapedAt && !reading && !awaitingKill)
            break;

        Clock::time_point wake = Clock::time_point::max();
        if (!reapedAt && !terminatedAt)
            wake = std::min(wake, isCancelled ? std::min(deadline, now + cancelTick) : deadline);
        if (awaitingKill)
            wake = std::min(wake, *terminatedAt + killGrace);
        if (reapedAt && reading)
            wake = std::min(wake, *reapedAt + pipeGrace);
        if ((!reapedAt && !ended.isOpen()) || (reapedAt && awaitingKill))
            wake = std::min(wake, now + reapTick);

        std::array<pollfd, 3> watched{};
        nfds_t count = 0;
        const auto watch = [&](const Descriptor& fd) {
            if (fd.isOpen())
                watched[count++] = pollfd{fd.get(), POLLIN, 0};
        };
        if (reading) {
            watch(output->read);
            watch(errors->read);
        }
        watch(ended);
        if (::poll(watched.data(), count, millisecondsUntil(wake, now)) <= 0)
            continue;
        for (nfds_t index = 0; index < count; ++index) {
            if (watched[index].revents == 0)
                continue;
            if (watched[index].fd == output->read.get())
                readAvailable(output->read, standardOutput);
            else if (watched[index].fd == errors->read.get())
                readAvailable(errors->read, standardError);
        }
    }

    return Output{status, repairedUTF8(standardOutput), repairedUTF8(standardError), cancelled};
}

} // namespace tarno::Shell
