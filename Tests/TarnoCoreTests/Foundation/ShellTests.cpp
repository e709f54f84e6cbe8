#include "TarnoCore/Foundation/Shell.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;
using Clock = std::chrono::steady_clock;

std::optional<Shell::Output> shell(const std::string& script, std::chrono::duration<double> timeout = 30s)
{
    return Shell::run("/bin/sh", {"-c", script}, {}, timeout);
}

// Whether the process is gone or only waits to be reaped by whoever adopted it.
bool hasEnded(pid_t pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    if (!std::getline(stat, text))
        return true;
    const std::size_t nameEnd = text.rfind(')');
    return nameEnd != std::string::npos && nameEnd + 2 < text.size() && text[nameEnd + 2] == 'Z';
}

bool endsWithin(pid_t pid, std::chrono::milliseconds limit)
{
    const auto until = Clock::now() + limit;
    while (!hasEnded(pid)) {
        if (Clock::now() > until)
            return false;
        std::this_thread::sleep_for(20ms);
    }
    return true;
}

TEST(ShellTests, ArgumentsReachTheToolVerbatimWithoutAnInterpreter)
{
    const auto noArguments = Shell::run("/bin/echo", {}, {}, 10s);
    ASSERT_TRUE(noArguments);
    EXPECT_EQ(noArguments->standardOutput, "\n");
    EXPECT_TRUE(noArguments->succeeded());

    const auto quoted = Shell::run("/usr/bin/printf", {"[%s]", "a b", "'q'", "$HOME", "*", ""}, {}, 10s);
    ASSERT_TRUE(quoted);
    EXPECT_EQ(quoted->standardOutput, "[a b]['q'][$HOME][*][]");
    EXPECT_EQ(quoted->standardError, "");
}

TEST(ShellTests, EnvironmentIsInheritedOrOverlaid)
{
    ASSERT_EQ(::setenv("TARNO_SHELL_INHERITED", "kept", 1), 0);
    ASSERT_EQ(::setenv("TARNO_SHELL_REPLACED", "old", 1), 0);

    const auto inherited = Shell::run("/usr/bin/env", {}, {}, 10s);
    ASSERT_TRUE(inherited);
    EXPECT_THAT(inherited->standardOutput, HasSubstr("TARNO_SHELL_INHERITED=kept\n"));
    EXPECT_THAT(inherited->standardOutput, HasSubstr("TARNO_SHELL_REPLACED=old\n"));

    const auto overlaid =
        Shell::run("/usr/bin/env", {}, {{"TARNO_SHELL_REPLACED", "new"}, {"TARNO_SHELL_ADDED", "a=b c"}}, 10s);
    ASSERT_TRUE(overlaid);
    EXPECT_THAT(overlaid->standardOutput, HasSubstr("TARNO_SHELL_INHERITED=kept\n"));
    EXPECT_THAT(overlaid->standardOutput, HasSubstr("TARNO_SHELL_REPLACED=new\n"));
    EXPECT_THAT(overlaid->standardOutput, Not(HasSubstr("TARNO_SHELL_REPLACED=old")));
    EXPECT_THAT(overlaid->standardOutput, HasSubstr("TARNO_SHELL_ADDED=a=b c\n"));

    ::unsetenv("TARNO_SHELL_INHERITED");
    ::unsetenv("TARNO_SHELL_REPLACED");
}

TEST(ShellTests, StandardInputIsAtEndOfFile)
{
    // Our standard input is a pipe nobody writes to: a tool reading it would wait for ever.
    int silent[2];
    ASSERT_EQ(::pipe(silent), 0);
    const int savedInput = ::dup(STDIN_FILENO);
    ::dup2(silent[0], STDIN_FILENO);

    const auto started = Clock::now();
    const auto output = Shell::run("/bin/cat", {}, {}, 20s);
    const auto elapsed = Clock::now() - started;

    ::dup2(savedInput, STDIN_FILENO);
    ::close(savedInput);
    ::close(silent[0]);
    ::close(silent[1]);
    ASSERT_TRUE(output);
    EXPECT_EQ(output->status, 0);
    EXPECT_EQ(output->standardOutput, "");
    EXPECT_LT(elapsed, 10s);
}

TEST(ShellTests, BothStreamsAreReadSideBySide)
{
    // A megabyte to standard error first: reading standard output to its end first would hang.
    const auto output = shell("head -c 1000000 /dev/zero | tr '\\0' e >&2; head -c 1000000 /dev/zero | tr '\\0' o");
    ASSERT_TRUE(output);
    EXPECT_EQ(output->status, 0);
    EXPECT_EQ(output->standardOutput, std::string(1'000'000, 'o'));
    EXPECT_EQ(output->standardError, std::string(1'000'000, 'e'));
}

TEST(ShellTests, StatusIsTheExitCodeOrSignalPlus128)
{
    const auto failed = shell("echo partial; echo why >&2; exit 3");
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->status, 3);
    EXPECT_FALSE(failed->succeeded());
    EXPECT_EQ(failed->standardOutput, "partial\n");
    EXPECT_EQ(failed->standardError, "why\n");
    EXPECT_EQ(shell("kill -USR1 $$").value_or(Shell::Output{}).status, 128 + SIGUSR1);
}

// Runs the script with a half-second time-out; checks the status, and that the
// background child whose id it printed first does not outlive it.
Clock::duration timedOut(const std::string& script, int status)
{
    const auto started = Clock::now();
    const auto output = shell(script, 0.5s);
    const auto elapsed = Clock::now() - started;
    EXPECT_TRUE(output);
    if (output) {
        EXPECT_EQ(output->status, status);
        const pid_t child = std::atoi(output->standardOutput.c_str());
        EXPECT_GT(child, 1) << output->standardOutput;
        EXPECT_TRUE(child <= 1 || endsWithin(child, 3000ms));
    }
    return elapsed;
}

TEST(ShellTests, TimeOutTerminatesTheToolAndItsGroup)
{
    // What was written before the time-out is kept (the child's id), and the tool's children are stopped with it.
    EXPECT_LT(timedOut("sleep 30 & echo $!; wait", 128 + SIGTERM), 10s);
}

TEST(ShellTests, CancellingStopsTheToolAndItsGroupAtOnce)
{
    std::atomic<bool> cancelled = false;
    const auto started = Clock::now();
    std::thread canceller([&] {
        std::this_thread::sleep_for(300ms);
        cancelled = true;
    });
    const auto output = Shell::run("/bin/sh", {"-c", "sleep 30 & echo $!; wait"}, {}, 60s, [&] { return cancelled.load(); });
    const auto elapsed = Clock::now() - started;
    canceller.join();
    ASSERT_TRUE(output);
    EXPECT_TRUE(output->wasCancelled);
    EXPECT_EQ(output->status, 128 + SIGTERM);
    EXPECT_LT(elapsed, 10s) << "waited for the time-out instead";
    const pid_t child = std::atoi(output->standardOutput.c_str());
    EXPECT_GT(child, 1);
    EXPECT_TRUE(child <= 1 || endsWithin(child, 3000ms));
    // A tool that ends by itself was not cancelled, even when the answer is asked for.
    const auto finished = Shell::run("/bin/true", {}, {}, 10s, [] { return false; });
    ASSERT_TRUE(finished);
    EXPECT_FALSE(finished->wasCancelled);
}

TEST(ShellTests, ToolIgnoringTerminateIsKilledAfterTheGrace)
{
    const auto started = Clock::now();
    const auto stubborn = shell("trap '' TERM; echo ready; sleep 30", 0.5s);
    const auto elapsed = Clock::now() - started;
    ASSERT_TRUE(stubborn);
    EXPECT_EQ(stubborn->status, 128 + SIGKILL);
    EXPECT_EQ(stubborn->standardOutput, "ready\n");
    EXPECT_GE(elapsed, 5s) << "killed before its grace";
    EXPECT_LT(elapsed, 20s);
    // The tool obeys but a child ignores it: the group gets the same grace and the child does not outlive it.
    const auto leftover = timedOut("(trap '' TERM; sleep 30) & echo $!; wait", 128 + SIGTERM);
    EXPECT_GE(leftover, 5s);
    EXPECT_LT(leftover, 20s);
}

TEST(ShellTests, OrphanedChildHoldingThePipesDoesNotHangTheCaller)
{
    const auto started = Clock::now();
    const auto output = shell("sleep 30 & echo started");
    EXPECT_LT(Clock::now() - started, 10s);
    ASSERT_TRUE(output);
    EXPECT_EQ(output->status, 0);
    EXPECT_EQ(output->standardOutput, "started\n");
}

TEST(ShellTests, InvalidUTF8IsRepaired)
{
    // Overlong, surrogate, stray and truncated sequences become one replacement character per
    // maximal ill-formed part; valid multi-byte characters pass untouched, on both streams.
    const std::string bytes = "a\\377b\\300\\257c\\355\\240\\200d\\303\\251\\342\\202\\254\\360\\235\\204\\236e\\342\\202";
    const std::string repaired =
        "a\uFFFDb\uFFFD\uFFFDc\uFFFD\uFFFD\uFFFDd\u00E9\u20AC\U0001D11Ee\uFFFD";
    const auto output = shell("printf '" + bytes + "'; printf '" + bytes + "' >&2");
    ASSERT_TRUE(output);
    EXPECT_EQ(output->standardOutput, repaired);
    EXPECT_EQ(output->standardError, repaired);
}

TEST(ShellTests, ToolThatCannotStartGivesNothing)
{
    test::TemporaryFolder folder;
    const std::string notExecutable = folder.makeFile("tool.sh");
    std::ofstream(notExecutable) << "#!/bin/sh\necho ran\n";
    ::chmod(notExecutable.c_str(), 0644);
    const std::string notAProgram = folder.makeFile("garbage", 64, '\x01');
    ::chmod(notAProgram.c_str(), 0755);

    // Last two: a folder, and a bare name (no search along PATH).
    for (const std::string& tool : {folder / "missing", notExecutable, notAProgram, folder.path(), std::string("sh"),
                                    std::string()})
        EXPECT_FALSE(Shell::run(tool, {"-c", "true"}, {}, 5s)) << tool;
}

TEST(ShellTests, CallsFromManyThreadsKeepTheirOwnOutput)
{
    std::vector<std::optional<Shell::Output>> outputs(6);
    {
        std::vector<std::jthread> threads;
        for (std::size_t index = 0; index < outputs.size(); ++index)
            threads.emplace_back([&outputs, index] {
                outputs[index] = shell("echo " + std::to_string(index) + "; sleep 0.2; echo done >&2");
            });
    }
    for (std::size_t index = 0; index < outputs.size(); ++index) {
        ASSERT_TRUE(outputs[index]);
        EXPECT_EQ(outputs[index]->standardOutput, std::to_string(index) + "\n");
        EXPECT_EQ(outputs[index]->standardError, "done\n");
    }
}

} // namespace
} // namespace tarno
