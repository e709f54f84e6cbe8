#include "TarnoCore/Foundation/SizeScanner.hpp"

#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>
#include <tuple>

#include <sys/stat.h>
#include <sys/time.h>

namespace tarno {
namespace {

using Clock = std::chrono::system_clock;

std::int64_t allocatedBytes(const std::string& path)
{
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0)
        return -1;
    return static_cast<std::int64_t>(status.st_blocks) * 512;
}

void setModified(const std::string& path, long seconds)
{
    const timeval times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::lutimes(path.c_str(), times), 0) << path;
}

SizeResult expectedFiles(std::int64_t bytes, std::int64_t files, std::optional<long> newest = std::nullopt)
{
    SizeResult result;
    result.bytes = bytes;
    result.files = files;
    if (newest)
        result.newestModification = Clock::time_point(std::chrono::seconds(*newest));
    return result;
}

TEST(SizeScannerTests, CountsAllocatedBytesFilesAndTheNewestModification)
{
    test::TemporaryFolder temp;
    const std::string small = temp.makeFile("tree/small.txt", 10);
    const std::string large = temp.makeFile("tree/nested/deeper/large.bin", 300'000);
    const std::string empty = temp.makeFile("tree/nested/empty");
    setModified(small, 1'500'000'000);
    setModified(large, 1'700'000'000);
    setModified(empty, 1'600'000'000);

    const std::int64_t total = allocatedBytes(small) + allocatedBytes(large) + allocatedBytes(empty);
    EXPECT_EQ(SizeScanner::measure({temp / "tree"}), expectedFiles(total, 3, 1'700'000'000));

    // Nothing given or nothing there measures empty.
    temp.makeFolder("only-folders/a/b/c");
    EXPECT_EQ(SizeScanner::measure({}), SizeResult{});
    EXPECT_EQ(SizeScanner::measure({temp / "missing", temp / "only-folders"}), SizeResult{});
    // A file given directly is one file, and giving it twice counts it twice.
    EXPECT_EQ(SizeScanner::measure({small, small}), expectedFiles(2 * allocatedBytes(small), 2, 1'500'000'000));
}

// Bytes and files only, for trees whose dates are not set.
std::pair<std::int64_t, std::int64_t> figures(const std::vector<std::string>& paths)
{
    const SizeResult result = SizeScanner::measure(paths);
    return {result.bytes, result.files};
}

TEST(SizeScannerTests, HardLinksCountOnceAcrossTheWholeCall)
{
    test::TemporaryFolder temp;
    const std::string original = temp.makeFile("a/original", 50'000);
    temp.makeHardLink("a/original", "a/side-by-side");
    const std::string elsewhere = temp.makeHardLink("a/original", "b/elsewhere");
    const std::int64_t linked = allocatedBytes(original);
    const std::int64_t single = allocatedBytes(temp.makeFile("b/plain", 5'000));

    using Figures = std::pair<std::int64_t, std::int64_t>;
    EXPECT_EQ(figures({temp / "a"}), Figures(linked, 1));
    EXPECT_EQ(figures({temp / "a", temp / "b"}), Figures(linked + single, 2));
    EXPECT_EQ(figures({elsewhere, temp / "a"}), Figures(linked, 1)); // given directly, then met in a folder
    // The same folder twice: its plain file twice, its linked file once.
    EXPECT_EQ(figures({temp / "b", temp / "b"}), Figures(linked + 2 * single, 3));
}

TEST(SizeScannerTests, SymbolicLinksAddTheirOwnAllocationAndAreNeverFollowed)
{
    test::TemporaryFolder temp;
    temp.makeFile("outside/big", 400'000);
    // A target this long does not fit in the inode, so the link takes a block of its own.
    const std::string longTarget = temp / ("outside/" + std::string(150, 'x'));
    const std::string link = temp.makeSymlink(longTarget, "tree/long-link");
    temp.makeSymlink(temp / "outside", "tree/to-outside");
    temp.makeSymlink("loop-b", "tree/loop-a");
    temp.makeSymlink("loop-a", "tree/loop-b");
    setModified(link, 1'234'567'890);
    ASSERT_GT(allocatedBytes(link), 0);
    std::int64_t links = 0;
    for (const char* name : {"long-link", "to-outside", "loop-a", "loop-b"})
        links += allocatedBytes(temp / ("tree/" + std::string(name)));

    // Inside a folder: allocation, no file, no date.
    EXPECT_EQ(SizeScanner::measure({temp / "tree"}), expectedFiles(links, 0));
    // Given directly: one file with its own allocation and date.
    EXPECT_EQ(SizeScanner::measure({link}), expectedFiles(allocatedBytes(link), 1, 1'234'567'890));
    EXPECT_EQ(SizeScanner::measure({temp / "tree/to-outside"}).bytes, allocatedBytes(temp / "tree/to-outside"));
}

TEST(SizeScannerTests, CancellationIsPolledEvery256FoldersAndKeepsWhatWasCounted)
{
    test::TemporaryFolder temp;
    // The root and 599 subfolders, each subfolder with one file.
    for (int index = 0; index < 599; ++index)
        temp.makeFile("tree/folder" + std::to_string(index) + "/file", 1);
    temp.makeFile("second/file", 1);
    const std::vector<std::string> paths{temp / "tree", temp / "second"};

    int polls = 0;
    const auto measure = [&](const std::vector<std::string>& given, bool cancel) {
        polls = 0;
        return SizeScanner::measure(given, [&] {
            ++polls;
            return cancel;
        });
    };
    EXPECT_EQ(measure(paths, false).files, 600);
    EXPECT_EQ(polls, 2); // at folders 256 and 512 of the first path only

    // Folders 1 to 255 were counted: the root and 254 subfolders. The second path is not begun.
    const SizeResult cancelled = measure(paths, true);
    EXPECT_EQ(polls, 1);
    EXPECT_EQ(cancelled.files, 254);
    EXPECT_EQ(cancelled.bytes, 254 * allocatedBytes(temp / "second/file"));

    measure({temp / "tree/folder0", temp / "second"}, true);
    EXPECT_EQ(polls, 0);
}

// What quitting relies on: a walk of a large tree told from another thread to
// stop returns at once with what it had. The bound is loose: behaviour, not speed.
TEST(SizeScannerTests, AWalkCancelledFromAnotherThreadReturnsPromptly)
{
    test::TemporaryFolder temp;
    for (int index = 0; index < 3000; ++index)
        temp.makeFile("tree/folder" + std::to_string(index / 100) + "/" + std::to_string(index % 100) + "/file", 1);

    std::atomic<bool> cancelled{false};
    std::atomic<bool> walking{false};
    std::thread canceller([&] {
        while (!walking)
            std::this_thread::yield();
        cancelled = true;
    });
    std::chrono::steady_clock::time_point cancelledAt;
    const SizeResult result = SizeScanner::measure({temp / "tree"}, [&] {
        // The first poll waits for the other thread, so the stop comes mid-walk.
        if (!walking.exchange(true)) {
            while (!cancelled)
                std::this_thread::yield();
            cancelledAt = std::chrono::steady_clock::now();
        }
        return cancelled.load();
    });
    const auto late = std::chrono::steady_clock::now() - cancelledAt;
    canceller.join();
    EXPECT_LT(late, std::chrono::seconds(1));
    EXPECT_LT(result.files, 3000);
}

TEST(SizeScannerTests, UnreadableFoldersAreCountedAndTheRestMeasured)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/locked/inner/hidden", 100'000);
    temp.makeFile("tree/list-only/hidden", 100'000);
    const std::string visible = temp.makeFile("tree/open/visible", 20'000);
    test::openToEveryone(temp.path());
    ASSERT_EQ(::chmod((temp / "tree/locked").c_str(), 0000), 0);
    ASSERT_EQ(::chmod((temp / "tree/list-only").c_str(), 0444), 0);

    const test::UnprivilegedRun run = test::runAsNobody([&] {
        const SizeResult result = SizeScanner::measure({temp / "tree", temp / "tree/locked/inner/hidden"});
        return std::to_string(result.bytes) + " " + std::to_string(result.files) + " "
               + std::to_string(result.unreadableDirectories);
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;
    EXPECT_EQ(run.output, std::to_string(allocatedBytes(visible)) + " 1 2");
}

// What `du` would say: every non-folder below the paths by lstat, each distinct inode once.
SizeResult plainReckoning(const std::vector<std::string>& paths)
{
    SizeResult result;
    std::set<std::pair<dev_t, ino_t>> seen;
    const auto add = [&](const std::string& path) {
        struct stat status;
        if (::lstat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode))
            return;
        if (!seen.insert({status.st_dev, status.st_ino}).second)
            return;
        result.bytes += static_cast<std::int64_t>(status.st_blocks) * 512;
        if (S_ISREG(status.st_mode))
            result.files += 1;
    };
    for (const std::string& path : paths) {
        add(path);
        std::error_code error;
        for (auto it = std::filesystem::recursive_directory_iterator(path, error);
             it != std::filesystem::recursive_directory_iterator(); it.increment(error))
            add(it->path().string());
    }
    return result;
}

TEST(SizeScannerTests, AgreesWithAPlainReckoningOnAHostileTree)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/with space/file one", 3'000);
    temp.makeFile("tree/quote\"d/'single'", 70'000);
    temp.makeFile("tree/new\nline/\xff\xfe-bytes", 9'000);
    temp.makeFile("tree/" + std::string(255, 'L'), 4'097);
    std::string deep = "tree";
    for (int level = 0; level < 40; ++level)
        deep += "/level" + std::to_string(level);
    temp.makeFile(deep + "/bottom", 12'345);
    temp.makeFile("tree/store/blob", 200'000);
    temp.makeHardLink("tree/store/blob", "tree/project/node_modules/blob");
    temp.makeHardLink("tree/store/blob", "tree/with space/blob again");
    temp.makeSymlink("../store", "tree/project/store-link");
    temp.makeSymlink(".", "tree/self-dir");
    temp.makeSymlink("/nonexistent", "tree/broken");
    temp.makeSymlink(std::string(300, 'T'), "tree/long-broken");
    temp.makeFolder("tree/empty/also-empty");
    ASSERT_EQ(::mkfifo((temp / "tree/fifo").c_str(), 0644), 0);
    for (int index = 0; index < 300; ++index)
        temp.makeFile("tree/many/f" + std::to_string(index), static_cast<std::size_t>(index * 37));

    const SizeResult reckoned = plainReckoning({temp / "tree"});
    ASSERT_GT(reckoned.files, 300);
    const SizeResult measured = SizeScanner::measure({temp / "tree"});
    EXPECT_EQ(std::tuple(measured.bytes, measured.files, measured.unreadableDirectories),
              std::tuple(reckoned.bytes, reckoned.files, 0));
}

} // namespace
} // namespace tarno
