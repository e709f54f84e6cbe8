#include "TarnoCore/Platform/FileLock.hpp"

#include "Support/FileChecks.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarno::Platform {
namespace {

using namespace std::chrono_literals;

TEST(FileLockTests, OneHolderAtATimeAcrossThreadsAndProcessesWithAWaitThatEnds)
{
    test::TemporaryFolder folder;
    const std::string path = folder / "history.json.lock";

    std::optional<FileLock> held = FileLock::acquire(path, 0ms);
    ASSERT_TRUE(held);
    struct stat status {};
    ASSERT_EQ(::lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U) << "the lock file is private to the user";

    // Another open of the same file in the same process must wait, and gives
    // up once its patience is spent.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(FileLock::acquire(path, 150ms));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 150ms);
    EXPECT_LT(waited, 5s);

    // A waiter gets the lock as soon as the holder lets it go.
    std::optional<FileLock> second;
    std::thread waiter([&] { second = FileLock::acquire(path, 10s); });
    std::this_thread::sleep_for(50ms);
    held.reset();
    waiter.join();
    EXPECT_TRUE(second);

    // Moving hands the lock over; it is let go only once.
    FileLock moved = std::move(*second);
    second.reset();
    EXPECT_FALSE(FileLock::acquire(path, 0ms));

    // A forked child would share this process's open lock file, and with it
    // the lock, so the lock is let go first.
    { const FileLock released = std::move(moved); }

    // Another process holds it against this one, and it goes with a holder that dies.
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ready[0]);
        const std::optional<FileLock> own = FileLock::acquire(path, 10s);
        if (own && ::write(ready[1], "r", 1) == 1)
            ::pause();
        ::_exit(1);
    }
    ASSERT_GT(child, 0);
    ::close(ready[1]);
    char signal = 0;
    const bool childHolds = ::read(ready[0], &signal, 1) == 1;
    ::close(ready[0]);
    if (!childHolds) {
        ::waitpid(child, nullptr, 0);
        FAIL() << "the child did not get the lock";
    }
    EXPECT_FALSE(FileLock::acquire(path, 100ms)) << "the child holds it";
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(FileLock::acquire(path, 2s)) << "a dead holder keeps nothing";
}

TEST(FileLockTests, AFileThatCannotBeOpenedGivesNoLockAtOnce)
{
    test::TemporaryFolder folder;
    const std::string target = folder.makeFile("target");
    const std::string link = folder.makeSymlink(target, "history.json.lock");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(FileLock::acquire(folder / "missing/history.json.lock", 10s));
    EXPECT_FALSE(FileLock::acquire(link, 10s)) << "a link in the lock's place is not followed";
    EXPECT_FALSE(test::exists(folder / "missing"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
}

} // namespace
} // namespace tarno::Platform
