// Signals go through pidfds (Linux 5.3): a pidfd names one process for as
// long as it is open, so a pid the kernel hands to a new process in between
// is never signalled, and polling it tells when the process has ended.

#include "TarnoCore/Platform/ProcessControl.hpp"

#include "TarnoCore/Platform/ProcessTable.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <optional>
#include <unordered_map>

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarno::Platform::ProcessControl {

namespace {

enum class Outcome {
    ended,    // gone, or a zombie
    asked,    // signalled; its pidfd is watched
    unasked,  // left alone; its pidfd, when there is one, is still watched
};

struct Target {
    std::int32_t pid = 0;
    int pidfd = -1;
    Outcome outcome = Outcome::unasked;
};

int openPidfd(std::int32_t pid)
{
    for (;;) {
        const long descriptor = ::syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0u);
        if (descriptor >= 0)
            return static_cast<int>(descriptor);
        if (errno != EINTR)
            return -1;
    }
}

bool sendSignal(int pidfd, int signal)
{
    return ::syscall(SYS_pidfd_send_signal, pidfd, signal, nullptr, 0u) == 0;
}

// passes × interval, kept within what the clock can add.
std::chrono::milliseconds waitingTime(int passes, std::chrono::milliseconds interval)
{
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24);
    if (passes <= 0 || interval <= std::chrono::milliseconds::zero())
        return std::chrono::milliseconds::zero();
    if (interval >= longest / passes)
        return longest;
    return interval * passes;
}

Target ask(std::int32_t pid, const ProcessTable& table)
{
    Target target{pid, -1, Outcome::unasked};
    // Never ourselves, and never a pid that would name a process group.
    if (pid == static_cast<std::int32_t>(::getpid()))
        return target;
    if (pid <= 0) {
        target.outcome = Outcome::ended;
        return target;
    }
    const std::optional<ProcessTable::Status> before = table.status(pid);
    if (before && before->hasEnded) {
        target.outcome = Outcome::ended;
        return target;
    }
    target.pidfd = openPidfd(pid);
    if (target.pidfd < 0) {
        // ESRCH: no such process. Anything else (no pidfds on this kernel,
        // no descriptors left, a thread's id) leaves it unasked rather than
        // signalled by a number that may have changed hands.
        if (errno == ESRCH)
            target.outcome = Outcome::ended;
        return target;
    }
    // The pidfd holds whatever process has the pid now. The same start time
    // before and after it was opened shows that this is the process that was
    // looked at; a status that came or went, or changed, shows that one ended.
    const std::optional<ProcessTable::Status> after = table.status(pid);
    if (!before && !after) {
        // A process we may not look at (procfs mounted with hidepid): it
        // stays unasked, but may still end while we wait.
        return target;
    }
    if (!before || !after || after->startTicks != before->startTicks) {
        ::close(target.pidfd);
        target.pidfd = -1;
        target.outcome = Outcome::ended;
        return target;
    }
    if (sendSignal(target.pidfd, SIGTERM)) {
        // A stopped process keeps a handled SIGTERM pending until it is
        // continued; a running one ignores SIGCONT.
        sendSignal(target.pidfd, SIGCONT);
        target.outcome = Outcome::asked;
    } else if (errno == ESRCH) {
        target.outcome = Outcome::ended;
    }
    // EPERM: another user's process. It stays unasked, but may still end
    // while we wait.
    return target;
}

} // namespace

std::vector<std::int32_t> terminate(const std::vector<std::int32_t>& pids, int passes,
                                    std::chrono::milliseconds interval)
{
    const ProcessTable table;
    std::vector<Target> targets;
    std::unordered_map<std::int32_t, std::size_t> byPID;
    for (const std::int32_t pid : pids) {
        if (byPID.contains(pid))
            continue; // one request per process, however often it is named
        byPID.emplace(pid, targets.size());
        targets.push_back(ask(pid, table));
    }

    // A pidfd is readable from the moment its process exits, reaped or not.
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + waitingTime(passes, interval);
    for (;;) {
        std::vector<pollfd> watched;
        std::vector<Target*> watchedTargets;
        for (Target& target : targets) {
            if (target.pidfd >= 0 && target.outcome != Outcome::ended) {
                watched.push_back(pollfd{target.pidfd, POLLIN, 0});
                watchedTargets.push_back(&target);
            }
        }
        if (watched.empty())
            break;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const int timeout = static_cast<int>(std::clamp<decltype(left)>(left, 0, 60'000));
        const int ready = ::poll(watched.data(), watched.size(), timeout);
        if (ready < 0 && errno != EINTR)
            break;
        for (std::size_t i = 0; i < watched.size(); ++i) {
            if (watched[i].revents != 0)
                watchedTargets[i]->outcome = Outcome::ended;
        }
        if (ready == 0 && Clock::now() >= deadline)
            break;
    }

    std::vector<std::int32_t> running;
    for (const std::int32_t pid : pids) {
        if (targets[byPID.at(pid)].outcome != Outcome::ended)
            running.push_back(pid);
    }
    for (Target& target : targets) {
        if (target.pidfd >= 0)
            ::close(target.pidfd);
    }
    return running;
}

} // namespace tarno::Platform::ProcessControl
