#include "TarnoCore/Platform/ProcessControl.hpp"

#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>

#include <sys/wait.h>
#include <unistd.h>

namespace tarno {
namespace {

using namespace std::chrono_literals;
using PIDs = std::vector<std::int32_t>;
using Clock = std::chrono::steady_clock;

void exitWithThree(int) { ::_exit(3); }

// A child process of the test that waits to be signalled. It is killed and
// reaped when the test ends, whatever the test did to it.
class Child {
public:
    enum class OnRequest {
        quit,   // SIGTERM's default action
        ignore, // SIG_IGN
        handle, // a handler that exits with status 3
    };

    explicit Child(OnRequest onRequest)
    {
        int ready[2];
        if (::pipe(ready) != 0)
            return;
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(ready[0]);
            struct sigaction action {};
            action.sa_handler = onRequest == OnRequest::ignore   ? SIG_IGN
                                : onRequest == OnRequest::handle ? exitWithThree
                                                                 : SIG_DFL;
            ::sigaction(SIGTERM, &action, nullptr);
            sigset_t terminate;
            sigemptyset(&terminate);
            sigaddset(&terminate, SIGTERM);
            ::sigprocmask(SIG_UNBLOCK, &terminate, nullptr);
            // Only now may the test send anything.
            [[maybe_unused]] const ssize_t written = ::write(ready[1], "r", 1);
            for (;;)
                ::pause();
        }
        ::close(ready[1]);
        char byte = 0;
        if (m_pid > 0 && ::read(ready[0], &byte, 1) != 1)
            m_pid = -1;
        ::close(ready[0]);
    }

    ~Child()
    {
        if (m_pid > 0 && !m_reaped) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    std::int32_t pid() const { return m_pid; }

    // The wait status once it has ended; nothing while it still runs.
    std::optional<int> reapIfEnded()
    {
        int status = 0;
        if (m_pid <= 0 || ::waitpid(m_pid, &status, WNOHANG) != m_pid)
            return std::nullopt;
        m_reaped = true;
        return status;
    }

    // Waits for it to end, then reaps it. Only for a child that is sure to
    // end: a test that fails must not hang.
    void reap()
    {
        ::waitpid(m_pid, nullptr, 0);
        m_reaped = true;
    }

    // Waits for it to end without reaping it: it stays a zombie.
    void waitUntilZombie() const
    {
        siginfo_t info{};
        ::waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOWAIT);
    }

private:
    pid_t m_pid = -1;
    bool m_reaped = false;
};

// A pid no process can have: past the largest the kernel hands out.
std::int32_t impossiblePID()
{
    std::int32_t largest = 4'194'304; // the kernel's own limit
    std::ifstream("/proc/sys/kernel/pid_max") >> largest;
    return largest + 1;
}

// How long `terminate` took, and what it returned.
std::pair<PIDs, Clock::duration> timedTerminate(const PIDs& pids, int passes, std::chrono::milliseconds interval)
{
    const Clock::time_point start = Clock::now();
    PIDs running = Platform::ProcessControl::terminate(pids, passes, interval);
    return {std::move(running), Clock::now() - start};
}

bool endedBy(int status, int signal) { return WIFSIGNALED(status) && WTERMSIG(status) == signal; }

TEST(ProcessControlTests, AProcessThatQuitsOnRequestEndsWithoutTheFullWait)
{
    Child child(Child::OnRequest::quit);
    ASSERT_GT(child.pid(), 0);

    const auto [running, took] = timedTerminate({child.pid()}, 40, 50ms);
    EXPECT_EQ(running, PIDs{}) << "ended and not yet reaped counts as ended";
    EXPECT_LT(took, 1s);
    // Asked, not killed.
    const std::optional<int> status = child.reapIfEnded();
    ASSERT_TRUE(status) << "it was still running";
    EXPECT_TRUE(endedBy(*status, SIGTERM)) << *status;
}

TEST(ProcessControlTests, AStoppedProcessIsContinuedSoItCanActOnTheRequest)
{
    Child child(Child::OnRequest::handle);
    ASSERT_GT(child.pid(), 0);
    ASSERT_EQ(::kill(child.pid(), SIGSTOP), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child.pid(), &status, WUNTRACED), child.pid());
    ASSERT_TRUE(WIFSTOPPED(status));

    EXPECT_EQ(Platform::ProcessControl::terminate({child.pid()}, 40, 50ms), PIDs{});
    const std::optional<int> ended = child.reapIfEnded();
    ASSERT_TRUE(ended) << "still stopped";
    EXPECT_TRUE(WIFEXITED(*ended) && WEXITSTATUS(*ended) == 3) << "its own handler ended it: " << *ended;
}

TEST(ProcessControlTests, ThoseThatStayAreReturnedInTheOrderGiven)
{
    Child stubborn(Child::OnRequest::ignore);
    Child other(Child::OnRequest::ignore);
    Child willing(Child::OnRequest::quit);
    Child polite(Child::OnRequest::handle);
    ASSERT_GT(stubborn.pid(), 0);
    ASSERT_GT(other.pid(), 0);
    ASSERT_GT(willing.pid(), 0);
    ASSERT_GT(polite.pid(), 0);

    const auto [running, took] = timedTerminate(
        {other.pid(), willing.pid(), stubborn.pid(), polite.pid(), other.pid()}, 4, 50ms);
    EXPECT_EQ(running, (PIDs{other.pid(), stubborn.pid(), other.pid()}));
    EXPECT_GE(took, 190ms) << "it gave them the time";
    EXPECT_LT(took, 1s);

    EXPECT_FALSE(stubborn.reapIfEnded()) << "never killed";
    EXPECT_FALSE(other.reapIfEnded()) << "never killed";
    const std::optional<int> willingEnd = willing.reapIfEnded();
    ASSERT_TRUE(willingEnd) << "still running";
    EXPECT_TRUE(endedBy(*willingEnd, SIGTERM)) << *willingEnd;
    const std::optional<int> politeEnd = polite.reapIfEnded();
    ASSERT_TRUE(politeEnd) << "still running";
    EXPECT_TRUE(WIFEXITED(*politeEnd) && WEXITSTATUS(*politeEnd) == 3) << *politeEnd;
}

TEST(ProcessControlTests, ProcessesAlreadyEndedCountAsEnded)
{
    // A zombie: ended, its parent has not asked how.
    Child zombie(Child::OnRequest::quit);
    ASSERT_GT(zombie.pid(), 0);
    ASSERT_EQ(::kill(zombie.pid(), SIGUSR1), 0);
    zombie.waitUntilZombie();
    // Gone altogether.
    Child gone(Child::OnRequest::quit);
    ASSERT_GT(gone.pid(), 0);
    ASSERT_EQ(::kill(gone.pid(), SIGUSR1), 0);
    gone.reap();

    const auto [running, took] = timedTerminate({zombie.pid(), gone.pid(), impossiblePID()}, 20, 50ms);
    EXPECT_EQ(running, PIDs{});
    EXPECT_LT(took, 500ms) << "nothing to wait for";
    EXPECT_EQ(Platform::ProcessControl::terminate({}, 4, 50ms), PIDs{});
}

TEST(ProcessControlTests, AnotherUsersProcessIsLeftRunning)
{
    Child roots(Child::OnRequest::quit);
    ASSERT_GT(roots.pid(), 0);
    const std::int32_t pid = roots.pid();

    const test::UnprivilegedRun run = test::runAsNobody([pid] {
        std::string found;
        for (const std::int32_t running : Platform::ProcessControl::terminate({pid}, 2, 20ms))
            found += std::to_string(running) + " ";
        return found;
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;
    EXPECT_EQ(run.output, std::to_string(pid) + " ");
    EXPECT_FALSE(roots.reapIfEnded()) << "nobody could not have ended it";
}

volatile std::sig_atomic_t askedToQuit = 0;

TEST(ProcessControlTests, TheCallingProcessIsNeverAsked)
{
    struct sigaction noted {};
    noted.sa_handler = [](int) { askedToQuit = 1; };
    struct sigaction previous {};
    ASSERT_EQ(::sigaction(SIGTERM, &noted, &previous), 0);
    askedToQuit = 0;
    const std::int32_t self = static_cast<std::int32_t>(::getpid());

    EXPECT_EQ(Platform::ProcessControl::terminate({self}, 1, 10ms), PIDs{self});
    EXPECT_EQ(askedToQuit, 0);
    ::sigaction(SIGTERM, &previous, nullptr);
}

} // namespace
} // namespace tarno
