#include "TarnoCore/Foundation/BulkWalker.hpp"

#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>

#include <sys/stat.h>
#include <sys/time.h>

namespace tarno {
namespace {

using Names = std::vector<std::string>;
using Order = std::vector<std::pair<std::string, int>>;

Names sorted(Names names)
{
    std::sort(names.begin(), names.end());
    return names;
}

struct WalkLog {
    Order order;                        // path and depth, as visited
    std::map<std::string, Names> names; // sorted, by folder path
    Names unreadable;

    Names paths() const
    {
        Names paths;
        for (const auto& [path, depth] : order)
            paths.push_back(path);
        return sorted(paths);
    }
};

// Logs every visit, then hands the folder to `visit` when given.
WalkLog walkAll(const std::string& root, const std::function<bool(BulkFolder&)>& visit = {})
{
    WalkLog log;
    BulkWalker::walk(
        root,
        [&](BulkFolder& folder) {
            log.order.emplace_back(folder.path, folder.depth);
            Names& names = log.names[folder.path];
            for (const BulkEntry& entry : folder.entries)
                names.push_back(entry.name());
            names = sorted(names);
            return visit ? visit(folder) : true;
        },
        [&](const std::string& path) { log.unreadable.push_back(path); });
    return log;
}

TEST(BulkWalkerTests, DeliversEveryFolderOnceBeforeItsSubtreeInTheVolumesOrder)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/top.txt", 10);
    temp.makeFile("tree/a/deep/two.txt", 10);
    temp.makeFolder("tree/b/inner");
    temp.makeFolder("tree/empty");
    const std::string root = temp / "tree";

    // Depth-first: each subfolder of the root comes with its subtree right behind it, in the root's order.
    Order expected{{root, 0}};
    const WalkLog log = walkAll(root, [&](BulkFolder& folder) {
        for (const BulkEntry& entry : folder.entries) {
            if (folder.depth == 0 && entry.kind == BulkEntry::Kind::directory) {
                expected.emplace_back(folder.pathOf(entry), 1);
                if (!entry.isNamed("empty"))
                    expected.emplace_back(folder.pathOf(entry) + (entry.isNamed("a") ? "/deep" : "/inner"), 2);
            }
        }
        return true;
    });

    EXPECT_EQ(log.order, expected);
    EXPECT_EQ(expected.size(), 6u);
    EXPECT_EQ(log.names.at(root), (Names{"a", "b", "empty", "top.txt"}));
    EXPECT_EQ(log.names.at(root + "/a/deep"), (Names{"two.txt"}));
    EXPECT_TRUE(log.names.contains(root + "/empty") && log.names.at(root + "/empty").empty());
    EXPECT_TRUE(log.unreadable.empty());
}

TEST(BulkWalkerTests, RootIsKeptExactlyAsGivenAndMustBeARealFolder)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/sub/file", 1);
    temp.makeSymlink(temp / "tree", "link-to-tree");
    temp.makeFile("plain", 1);

    // Nothing normalises a trailing slash: children get a double one.
    EXPECT_EQ(walkAll(temp / "tree/").order, (Order{{temp / "tree/", 0}, {temp / "tree//sub", 1}}));
    for (const std::string& root : {temp / "link-to-tree", temp / "plain", temp / "missing", std::string()}) {
        const WalkLog log = walkAll(root);
        EXPECT_TRUE(log.order.empty() && log.unreadable.empty()) << root;
    }
}

TEST(BulkWalkerTests, EntriesCarryTheFiguresOfTheFileSystem)
{
    test::TemporaryFolder temp;
    const std::string file = temp.makeFile("tree/data.bin", 10000);
    temp.makeHardLink("tree/data.bin", "tree/data-link.bin");
    temp.makeFolder("tree/folder");
    temp.makeSymlink("data.bin", "tree/link");
    ASSERT_EQ(::mkfifo((temp / "tree/pipe").c_str(), 0644), 0);
    const timeval times[2] = {{1'600'000'000, 0}, {1'650'000'123, 987654}};
    ASSERT_EQ(::utimes(file.c_str(), times), 0);
    struct stat status;
    ASSERT_EQ(::lstat(file.c_str(), &status), 0);

    std::map<std::string, BulkEntry> entries;
    std::string pathOfData;
    bool containsData = false;
    bool containsPrefix = true;
    walkAll(temp / "tree", [&](BulkFolder& folder) {
        if (folder.depth == 0) {
            for (const BulkEntry& entry : folder.entries)
                entries[entry.name()] = entry;
            pathOfData = folder.pathOf(entries["data.bin"]);
            containsData = folder.contains("data.bin");
            containsPrefix = folder.contains("data");
        }
        return true;
    });

    ASSERT_EQ(entries.size(), 5u);
    const BulkEntry& data = entries["data.bin"];
    EXPECT_EQ(data.kind, BulkEntry::Kind::file);
    EXPECT_EQ(data.fileID, status.st_ino);
    EXPECT_EQ(data.linkCount, 2);
    EXPECT_EQ(data.allocatedBytes, static_cast<std::int64_t>(status.st_blocks) * 512);
    EXPECT_EQ(data.modified, 1'650'000'123);
    EXPECT_FALSE(data.isClone()); // no clones on this platform's volumes
    EXPECT_EQ(entries["data-link.bin"].fileID, data.fileID);

    const BulkEntry& folder = entries["folder"];
    EXPECT_EQ(folder.kind, BulkEntry::Kind::directory);
    EXPECT_EQ(folder.linkCount, 0);
    EXPECT_EQ(folder.allocatedBytes, 0);
    EXPECT_NE(folder.fileID, 0u);
    EXPECT_EQ(entries["link"].kind, BulkEntry::Kind::symlink);
    EXPECT_EQ(entries["pipe"].kind, BulkEntry::Kind::other);

    EXPECT_EQ(pathOfData, file);
    EXPECT_TRUE(containsData);
    EXPECT_FALSE(containsPrefix);
}

TEST(BulkWalkerTests, HostileNamesArriveByteForByteAndTheirFoldersAreEntered)
{
    test::TemporaryFolder temp;
    const Names hostile{"with space", "quote\"d 'both'", "new\nline", "latin1-\xe9\xff", "star*?[x]", "-dash"};
    std::map<std::string, Names> expected{{temp / "tree", sorted(hostile)}};
    for (const std::string& name : hostile) {
        temp.makeFile("tree/" + name + "/inside", 1);
        expected[temp / ("tree/" + name)] = {"inside"};
    }
    const WalkLog log = walkAll(temp / "tree");
    EXPECT_EQ(log.names, expected);
    EXPECT_TRUE(log.unreadable.empty());
}

TEST(BulkWalkerTests, AFolderSpanningManyBuffersIsOneVisitWithEveryNameReadable)
{
    test::TemporaryFolder temp;
    // Records of about 230 bytes: over a dozen 64 KiB batches. The folder after it reuses the buffers.
    Names created;
    for (int index = 0; index < 4000; ++index) {
        created.push_back(std::string(200, 'n') + std::to_string(index));
        temp.makeFile("tree/big/" + created.back());
    }
    temp.makeFile("tree/small/after.txt");

    const WalkLog log = walkAll(temp / "tree");
    EXPECT_EQ(log.order.size(), 3u); // the big folder is visited once
    EXPECT_EQ(log.names.at(temp / "tree/big"), sorted(created));
    EXPECT_EQ(log.names.at(temp / "tree/small"), (Names{"after.txt"}));
    EXPECT_TRUE(log.unreadable.empty());
}

TEST(BulkWalkerTests, SymbolicLinksAreListedButNeverEntered)
{
    test::TemporaryFolder temp;
    temp.makeFile("outside/secret.txt", 1);
    temp.makeFolder("tree/real");
    temp.makeSymlink(temp / "outside", "tree/to-outside");
    temp.makeSymlink("loop-b", "tree/loop-a");
    temp.makeSymlink("loop-a", "tree/loop-b");
    temp.makeSymlink("self", "tree/self");
    temp.makeSymlink("..", "tree/real/up");
    temp.makeSymlink("/nonexistent/target", "tree/broken");

    const WalkLog log = walkAll(temp / "tree");
    EXPECT_EQ(log.order, (Order{{temp / "tree", 0}, {temp / "tree/real", 1}}));
    EXPECT_TRUE(log.unreadable.empty());
}

TEST(BulkWalkerTests, SkippedSubfoldersAreLeftOutAndTheirSiblingsEntered)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/keep/file", 1);
    temp.makeFile("tree/node_modules/pkg/index.js", 1);
    temp.makeFile("tree/other/file", 1);

    const WalkLog log = walkAll(temp / "tree", [](BulkFolder& folder) {
        EXPECT_TRUE(folder.skipped.empty());
        for (std::size_t index = 0; index < folder.entries.size(); ++index) {
            if (folder.entries[index].isNamed("node_modules"))
                folder.skipped.insert(index);
        }
        return true;
    });
    EXPECT_EQ(log.paths(), (Names{temp / "tree", temp / "tree/keep", temp / "tree/other"}));
}

TEST(BulkWalkerTests, VisitReturningFalseEndsTheWholeWalkAtOnce)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/a/b/c", 1);
    temp.makeFolder("tree/locked-later");
    const WalkLog log = walkAll(temp / "tree", [&](BulkFolder&) {
        // Would be reported if the walk went on after the refusal.
        std::filesystem::remove(temp / "tree/locked-later");
        return false;
    });
    EXPECT_EQ(log.order.size(), 1u);
    EXPECT_TRUE(log.unreadable.empty());
}

TEST(BulkWalkerTests, ASubfolderThatVanishesBeforeItIsEnteredCountsAsUnreadable)
{
    test::TemporaryFolder temp;
    for (const char* name : {"first", "second", "third"})
        temp.makeFile("tree/" + std::string(name) + "/file", 1);

    const WalkLog log = walkAll(temp / "tree", [&](BulkFolder& folder) {
        if (folder.depth == 0)
            std::filesystem::remove_all(temp / "tree/second");
        return true;
    });
    EXPECT_EQ(log.unreadable, (Names{temp / "tree/second"}));
    EXPECT_EQ(log.paths(), (Names{temp / "tree", temp / "tree/first", temp / "tree/third"}));
}

TEST(BulkWalkerTests, FoldersThatCannotBeOpenedOrSearchedAreReportedAndTheWalkGoesOn)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/locked/hidden/file", 1);
    temp.makeFile("tree/list-only/file", 1);
    temp.makeFile("tree/open/file", 1);
    test::openToEveryone(temp.path());
    ASSERT_EQ(::chmod((temp / "tree/locked").c_str(), 0000), 0);
    // Listable but not searchable: its entries cannot be looked at.
    ASSERT_EQ(::chmod((temp / "tree/list-only").c_str(), 0444), 0);

    const test::UnprivilegedRun run = test::runAsNobody([&] {
        const WalkLog log = walkAll(temp / "tree");
        std::string report;
        for (const std::string& path : log.paths())
            report += "visited " + path + "\n";
        for (const std::string& path : sorted(log.unreadable))
            report += "unreadable " + path + "\n";
        return report;
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;

    EXPECT_EQ(run.output, "visited " + (temp / "tree") + "\n" + "visited " + (temp / "tree/open") + "\n"
                              + "unreadable " + (temp / "tree/list-only") + "\n" + "unreadable "
                              + (temp / "tree/locked") + "\n");
}

TEST(BulkWalkerTests, StopsAtMountPointsWithoutACallback)
{
    // /dev/pts is its own file system under /dev on any Linux with a terminal layer.
    struct stat dev;
    struct stat pts;
    if (::lstat("/dev", &dev) != 0 || ::lstat("/dev/pts", &pts) != 0 || !S_ISDIR(pts.st_mode)
        || dev.st_dev == pts.st_dev)
        GTEST_SKIP() << "/dev/pts is not a mount point below /dev here";

    const WalkLog log = walkAll("/dev");
    ASSERT_FALSE(log.order.empty());
    EXPECT_EQ(log.order[0].first, "/dev");
    EXPECT_TRUE(std::ranges::binary_search(log.names.at("/dev"), std::string("pts")));
    for (const std::string& path : log.paths())
        EXPECT_NE(path.rfind("/dev/pts", 0), 0u) << path;
    for (const std::string& path : log.unreadable)
        EXPECT_NE(path.rfind("/dev/pts", 0), 0u) << path;
}

} // namespace
} // namespace tarno
