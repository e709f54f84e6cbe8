#include "TarnoCore/Duplicates/LargeFileFinder.hpp"

#include "Support/MountNamespace.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <set>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno {
namespace {

using test::TemporaryFolder;
using std::chrono::seconds;
using Clock = std::chrono::system_clock;

std::int64_t allocated(const std::string& path)
{
    struct stat status {};
    ::lstat(path.c_str(), &status);
    return static_cast<std::int64_t>(status.st_blocks) * 512;
}

// The modification time with a fraction of a second, which the finder drops.
void setModified(const std::string& path, std::int64_t wholeSeconds)
{
    const timespec times[2] = {{wholeSeconds, 999'999'999}, {wholeSeconds, 999'999'999}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

std::vector<LargeFile> find(const std::string& root, std::int64_t minimumBytes, std::size_t limit = 1000,
                            const std::set<std::string>& excluding = {})
{
    return LargeFileFinder::find(root, minimumBytes, limit, excluding, {}, [] { return false; });
}

// The results' paths below the root, in the order given.
std::vector<std::string> relativePaths(const std::vector<LargeFile>& files, const std::string& root)
{
    std::vector<std::string> paths;
    for (const LargeFile& file : files)
        paths.push_back(file.path.substr(root.size() + 1));
    return paths;
}

std::set<std::string> relativeSet(const std::vector<std::string>& paths, const std::string& root)
{
    std::set<std::string> result;
    for (const std::string& path : paths)
        result.insert(path.substr(root.size() + 1));
    return result;
}

TEST(LargeFileFinderTests, SearchesEverywhereButSkippedExcludedAndLinkedFolders)
{
    TemporaryFolder temp;
    const std::string root = temp.makeFolder("home");
    const auto file = [&](const std::string& relative, std::size_t size) {
        return temp.makeFile("home/" + relative, size);
    };

    // Every listed file but one is exactly at the floor, met both by the split and by the walks.
    const std::vector<std::string> listedAtFloor = {
        ".cache/pip/wheel.bin",                          // hidden folders are searched
        ".cache/thumb.bin",
        "Apps/Viewer.app/Contents/Resources/data.bin",   // so are packages
        "docs/a/b/c/d/deep.bin",
        "docs/a/skip/kept.bin",                          // an excluded folder's name at another path
        "exact.bin",
        "linked-target/real.bin",                        // found once, under its own path, not its links'
    };
    for (const std::string& relative : listedAtFloor)
        file(relative, 40'960);
    file("top.bin", 81'920);
    const std::int64_t floor = allocated(root + "/exact.bin");
    for (const char* below : {"below.bin", "docs/a/b/below.bin"})
        ASSERT_LT(allocated(file(below, 36'864)), floor);
    // A sparse file is judged by the one block it occupies, not by its length.
    const std::string sparse = file("sparse.bin", 1);
    ASSERT_EQ(::truncate(sparse.c_str(), 50'000'000), 0);
    ASSERT_LT(allocated(sparse), floor);

    const std::vector<std::string> notListed = {
        ".git/pack.bin", "code/node_modules/lib.bin", "code/app/.git/objects/pack.bin",
        "code/app/node_modules/x/lib.bin", ".Trash/old.bin", "Volumes/usb/.Trash/old.bin",
        "private/secret.bin", "docs/secret/x.bin", "docs/b/skip/x.bin", // excluded at each depth
    };
    for (const std::string& relative : notListed)
        file(relative, 100'000);
    temp.makeFile("outside/elsewhere.bin", 100'000);
    temp.makeSymlink(temp / "outside", "home/shortcut");
    temp.makeSymlink(temp / "outside", "home/docs/a/alias");
    temp.makeSymlink(root + "/linked-target/real.bin", "home/top-link.bin");
    temp.makeSymlink(root + "/linked-target/real.bin", "home/docs/a/file-link.bin");
    const std::set<std::string> excluding = {root + "/private", root + "/docs/secret", root + "/docs/b/skip"};

    setModified(root + "/top.bin", 1'500'000'000);
    std::vector<LargeFile> expected{
        {root + "/top.bin", allocated(root + "/top.bin"), Clock::time_point(seconds(1'500'000'000))}};
    for (std::size_t index = 0; index < listedAtFloor.size(); ++index) {
        const auto wholeSeconds = 1'600'000'000 + static_cast<std::int64_t>(index);
        setModified(root + "/" + listedAtFloor[index], wholeSeconds);
        expected.push_back({root + "/" + listedAtFloor[index], floor, Clock::time_point(seconds(wholeSeconds))});
    }
    EXPECT_EQ(find(root, floor, 1000, excluding), expected);

    // The units of parallel work are the folders two levels down; the files above them are the split's.
    const LargeFileFinder::Subtrees split = LargeFileFinder::subtrees(root, 2, excluding);
    EXPECT_EQ(relativeSet(split.folders, root),
              (std::set<std::string>{".cache/pip", "Apps/Viewer.app", "code/app", "docs/a", "docs/b", "Volumes/usb"}));
    EXPECT_EQ(relativeSet(split.files, root), (std::set<std::string>{"top.bin", "exact.bin", "below.bin", "sparse.bin",
                                                                      ".cache/thumb.bin", "linked-target/real.bin"}));
}

TEST(LargeFileFinderTests, HardLinksTakeOnePlaceOfTheLimitUnderTheSmallestPath)
{
    TemporaryFolder temp;
    const std::string root = temp.makeFolder("home");
    temp.makeFile("home/x/y/big.bin", 65'536);
    temp.makeFile("home/m/n/deep/z-original.bin", 32'768);
    // Links met by the split and by two different walks.
    temp.makeHardLink("home/m/n/deep/z-original.bin", "home/m/n/deep/b-link.bin");
    temp.makeHardLink("home/m/n/deep/z-original.bin", "home/p/q/c-link.bin");
    temp.makeHardLink("home/m/n/deep/z-original.bin", "home/a-link.bin");
    temp.makeFile("home/s/t/u/small.bin", 16'384);

    const std::vector<std::string> all = {"x/y/big.bin", "a-link.bin", "s/t/u/small.bin"};
    const struct {
        std::size_t limit;
        std::vector<std::string> expected;
    } cases[] = {
        {0, {}},
        {1, {all.begin(), all.begin() + 1}},
        {2, {all.begin(), all.begin() + 2}},
        {3, all},
        {100, all},
    };
    for (const auto& [limit, expected] : cases) {
        SCOPED_TRACE(limit);
        EXPECT_EQ(relativePaths(find(root, 4096, limit), root), expected);
    }
}

TEST(LargeFileFinderTests, AnUnreadableRootGivesNothingAndNoProgress)
{
    TemporaryFolder temp;
    temp.makeFile("open/a/b/c/big.bin", 100'000);
    temp.makeFile("locked/a/b/c/big.bin", 100'000);
    temp.makeSymlink(temp / "open", "link");
    test::openToEveryone(temp.path());
    ASSERT_EQ(::chmod((temp / "locked").c_str(), 0000), 0);

    // Root reads every folder, so the search runs as "nobody".
    const test::UnprivilegedRun run = test::runAsNobody([&] {
        std::string findings;
        for (const char* root : {"open", "locked", "missing", "open/a/b/c/big.bin", "link"}) {
            int calls = 0;
            const std::vector<LargeFile> found = LargeFileFinder::find(
                temp / root, 1, 10, {}, [&](std::int64_t) { ++calls; }, [] { return false; });
            findings += std::string(root) + ": " + std::to_string(found.size()) + " found, "
                        + std::to_string(calls > 0 ? 1 : 0) + " progress\n";
        }
        return findings;
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;
    EXPECT_EQ(run.output, "open: 1 found, 1 progress\n"
                          "locked: 0 found, 0 progress\n"
                          "missing: 0 found, 0 progress\n"
                          "open/a/b/c/big.bin: 0 found, 0 progress\n"
                          "link: 0 found, 0 progress\n");
}

TEST(LargeFileFinderTests, ProgressAndCancellationComeEvery4096FilesOfAWalk)
{
    TemporaryFolder temp;
    // One walk of 4101 files, 4100 of them in its first folder.
    const std::string many = temp.makeFolder("many");
    temp.makeFile("many/top.bin", 8192); // found by the split, not counted as examined
    temp.makeFolder("many/a/b");
    for (int index = 0; index < 4100; ++index)
        ::close(::open((many + "/a/b/" + std::to_string(index)).c_str(), O_CREAT | O_WRONLY, 0644));
    temp.makeFile("many/a/b/deeper/big.bin", 8192);
    // A walk too short ever to poll.
    const std::string few = temp.makeFolder("few");
    temp.makeFile("few/c/d/e/big.bin", 8192);

    const struct {
        std::string root;
        bool cancel;
        std::vector<std::string> expected;
        int polls;
        std::int64_t examined;
    } cases[] = {
        {many, false, {"a/b/deeper/big.bin", "top.bin"}, 1, 4101},
        // The cancel is seen after the first folder, so the walk goes no deeper.
        {many, true, {"top.bin"}, 1, 4100},
        {few, true, {"c/d/e/big.bin"}, 0, 1},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.root + (row.cancel ? " cancelled" : ""));
        std::atomic<int> polled = 0;
        std::atomic<std::int64_t> mostExamined = 0;
        const std::vector<LargeFile> found = LargeFileFinder::find(
            row.root, 4096, 10, {},
            [&](std::int64_t total) {
                for (std::int64_t was = mostExamined; total > was && !mostExamined.compare_exchange_weak(was, total);) {
                }
            },
            [&] {
                ++polled;
                return row.cancel;
            });
        EXPECT_EQ(relativePaths(found, row.root), row.expected);
        EXPECT_EQ(polled.load(), row.polls);
        EXPECT_EQ(mostExamined.load(), row.examined);
    }
}

// Mounts are made in a mount namespace of the test's own.
TEST(LargeFileFinderTests, FoldersOnAnotherVolumeAreNotEnteredAtAnyDepth)
{
    TemporaryFolder temp;
    const std::string root = temp.makeFolder("home");
    temp.makeFile("home/docs/a/own.bin", 100'000);
    const std::vector<std::string> mountPoints = {"usb", "media/disk", "docs/a/b/c"};
    for (const std::string& point : mountPoints)
        temp.makeFolder("home/" + point);

    const test::IsolatedRun run = test::runInOwnMountNamespace([&]() -> std::string {
        for (const std::string& point : mountPoints) {
            const std::string path = root + "/" + point;
            if (::mount("tarno-test", path.c_str(), "tmpfs", 0, "size=4m") != 0)
                return "cannot mount a tmpfs";
            temp.makeFile("home/" + point + "/big.bin", 100'000); // on the new volume
        }
        std::string found;
        for (const std::string& path : relativePaths(find(root, 4096), root))
            found += path + "\n";
        return found;
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;
    EXPECT_EQ(run.output, "docs/a/own.bin\n");
}

TEST(LargeFileFinderTests, FilesInApplicationsFoldersBelongToThem)
{
    const Platform::UserFolders folders{.cache = "/h/.cache", .config = "/h/.config", .data = "/d/share",
                                        .downloads = "/h/Downloads", .trash = "/d/share/Trash"};
    const std::vector<std::string> apps = LargeFileFinder::appDataFolders("/h", folders);
    const std::pair<const char*, bool> cases[] = {
        {"/h/Library/Application Support/App/db.sqlite", true},
        {"/h/.config/Slack/Cache/data_1", true},
        {"/d/share/Steam/music.bank", true},
        {"/h/.var/app/org.gimp.GIMP/cache.bin", true},
        {"/h/Library", false},              // the folder itself is no file in it
        {"/h/Library.zip", false},          // a name that only begins the same
        {"/h/.configuration/disk.img", false},
        {"/h/.cache/thumbnails/big.png", false}, // caches come back: no warning
        {"/h/Downloads/os.iso", false},
    };
    for (const auto& [path, belongs] : cases)
        EXPECT_EQ(LargeFileFinder::isInside(path, apps), belongs) << path;
}

} // namespace
} // namespace tarno
