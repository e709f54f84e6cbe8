#include "TarnoCore/Foundation/SizeScanner.hpp"

#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <set>

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

TEST(SizeScannerTests, NothingGivenOrNothingThereMeasuresEmpty)
{
    test::TemporaryFolder temp;
    temp.makeFolder("only-folders/a/b/c");
    temp.makeFolder("only-folders/d");
    EXPECT_EQ(SizeScanner::measure({}), SizeResult{});
    EXPECT_EQ(SizeScanner::measure({temp / "missing", temp / "only-folders"}), SizeResult{});
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
    EXPECT_GE(total, 300'000);
    EXPECT_EQ(SizeScanner::measure({temp / "tree"}), expectedFiles(total, 3, 1'700'000'000));

    // A file given directly is one file, and giving it twice counts it twice.
    EXPECT_EQ(SizeScanner::measure({small, small}), expectedFiles(2 * allocatedBytes(small), 2, 1'500'000'000));
}

TEST(SizeScannerTests, HardLinksCountOnceAcrossTheWholeCall)
{
    test::TemporaryFolder temp;
    const std::string original = temp.makeFile("a/original", 50'000);
    temp.makeHardLink("a/original", "a/side-by-side");
    const std::string elsewhere = temp.makeHardLink("a/original", "b/elsewhere");
    const std::string plain = temp.makeFile("b/plain", 5'000);
    const std::int64_t linked = allocatedBytes(original);
    const std::int64_t single = allocatedBytes(plain);

    EXPECT_EQ(SizeScanner::measure({temp / "a"}).files, 1);
    EXPECT_EQ(SizeScanner::measure({temp / "a"}).bytes, linked);
    EXPECT_EQ(SizeScanner::measure({temp / "a", temp / "b"}).bytes, linked + single);
    EXPECT_EQ(SizeScanner::measure({temp / "a", temp / "b"}).files, 2);
    // Given directly, then met again inside a folder.
    EXPECT_EQ(SizeScanner::measure({elsewhere, temp / "a"}).files, 1);
    // The same folder twice: its plain file twice, its linked file once.
    const SizeResult twice = SizeScanner::measure({temp / "b", temp / "b"});
    EXPECT_EQ(twice.files, 3);
    EXPECT_EQ(twice.bytes, linked + 2 * single);
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
    const std::int64_t links = allocatedBytes(link) + allocatedBytes(temp / "tree/to-outside")
                               + allocatedBytes(temp / "tree/loop-a") + allocatedBytes(temp / "tree/loop-b");

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
    const SizeResult whole = SizeScanner::measure(paths, [&] {
        ++polls;
        return false;
    });
    EXPECT_EQ(whole.files, 600);
    EXPECT_EQ(polls, 2); // at folders 256 and 512 of the first path only

    polls = 0;
    const SizeResult cancelled = SizeScanner::measure(paths, [&] {
        ++polls;
        return true;
    });
    // Folders 1 to 255 were counted: the root and 254 subfolders. The second path is not begun.
    EXPECT_EQ(polls, 1);
    EXPECT_EQ(cancelled.files, 254);
    EXPECT_EQ(cancelled.bytes, 254 * allocatedBytes(temp / "second/file"));

    int smallPolls = 0;
    SizeScanner::measure({temp / "tree/folder0", temp / "second"}, [&] { return ++smallPolls > 0; });
    EXPECT_EQ(smallPolls, 0);
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

// What `du` would say, reckoned the slow and obvious way: every non-folder
// below the paths by lstat, each distinct inode once.
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
    EXPECT_EQ(measured.bytes, reckoned.bytes);
    EXPECT_EQ(measured.files, reckoned.files);
    EXPECT_EQ(measured.unreadableDirectories, 0);
}

} // namespace
} // namespace tarno
