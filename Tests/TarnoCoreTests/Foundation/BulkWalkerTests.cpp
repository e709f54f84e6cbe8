#include "TarnoCore/Foundation/BulkWalker.hpp"

#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include <sys/stat.h>
#include <sys/time.h>

namespace tarno {
namespace {

using Names = std::vector<std::string>;

struct Visited {
    std::string path;
    int depth = 0;
    Names names; // sorted
};

struct WalkLog {
    std::vector<Visited> folders;
    Names unreadable;

    const Visited* find(const std::string& path) const
    {
        for (const Visited& folder : folders) {
            if (folder.path == path)
                return &folder;
        }
        return nullptr;
    }
};

Names sortedNames(const BulkFolder& folder)
{
    Names names;
    for (const BulkEntry& entry : folder.entries)
        names.push_back(entry.name());
    std::sort(names.begin(), names.end());
    return names;
}

WalkLog walkAll(const std::string& root)
{
    WalkLog log;
    BulkWalker::walk(
        root,
        [&](BulkFolder& folder) {
            log.folders.push_back({folder.path, folder.depth, sortedNames(folder)});
            return true;
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

    std::vector<std::pair<std::string, int>> order;
    std::vector<std::pair<std::string, int>> expected{{root, 0}};
    std::map<std::string, Names> names;
    BulkWalker::walk(
        root,
        [&](BulkFolder& folder) {
            order.emplace_back(folder.path, folder.depth);
            names[folder.path] = sortedNames(folder);
            // Depth-first: each subfolder of the root comes with its subtree
            // right behind it, in the order the root listed them.
            for (const BulkEntry& entry : folder.entries) {
                if (folder.depth == 0 && entry.kind == BulkEntry::Kind::directory) {
                    expected.emplace_back(folder.pathOf(entry), 1);
                    if (!entry.isNamed("empty"))
                        expected.emplace_back(folder.pathOf(entry) + (entry.isNamed("a") ? "/deep" : "/inner"), 2);
                }
            }
            return true;
        },
        [](const std::string& path) { ADD_FAILURE() << "unreadable " << path; });

    EXPECT_EQ(order, expected);
    EXPECT_EQ(expected.size(), 6u);
    EXPECT_EQ(names[root], (Names{"a", "b", "empty", "top.txt"}));
    EXPECT_EQ(names[root + "/a/deep"], (Names{"two.txt"}));
    EXPECT_TRUE(names.contains(root + "/empty") && names[root + "/empty"].empty());
}

TEST(BulkWalkerTests, RootIsKeptExactlyAsGivenAndMustBeARealFolder)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/sub/file", 1);
    temp.makeSymlink(temp / "tree", "link-to-tree");
    temp.makeFile("plain", 1);

    // Nothing normalises a trailing slash: children get a double one.
    const WalkLog slashed = walkAll(temp / "tree/");
    ASSERT_EQ(slashed.folders.size(), 2u);
    EXPECT_EQ(slashed.folders[0].path, temp / "tree/");
    EXPECT_EQ(slashed.folders[1].path, temp / "tree//sub");

    for (const std::string& root : {temp / "link-to-tree", temp / "plain", temp / "missing", std::string()}) {
        const WalkLog log = walkAll(root);
        EXPECT_TRUE(log.folders.empty()) << root;
        EXPECT_TRUE(log.unreadable.empty()) << root;
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
    BulkWalker::walk(
        temp / "tree",
        [&](BulkFolder& folder) {
            if (folder.depth > 0)
                return true;
            for (const BulkEntry& entry : folder.entries) {
                entries[entry.name()] = entry;
                if (entry.isNamed("data.bin"))
                    pathOfData = folder.pathOf(entry);
            }
            containsData = folder.contains("data.bin");
            containsPrefix = folder.contains("data");
            return true;
        },
        [](const std::string&) {});

    ASSERT_EQ(entries.size(), 5u);
    const BulkEntry& data = entries["data.bin"];
    EXPECT_EQ(data.kind, BulkEntry::Kind::file);
    EXPECT_EQ(data.fileID, status.st_ino);
    EXPECT_EQ(data.linkCount, 2);
    EXPECT_EQ(data.allocatedBytes, static_cast<std::int64_t>(status.st_blocks) * 512);
    EXPECT_GE(data.allocatedBytes, 10000);
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
    for (const std::string& name : hostile)
        temp.makeFile("tree/" + name + "/inside", 1);

    const WalkLog log = walkAll(temp / "tree");
    Names expected = hostile;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(log.find(temp / "tree")->names, expected);
    for (const std::string& name : hostile) {
        const Visited* folder = log.find(temp / ("tree/" + name));
        ASSERT_NE(folder, nullptr) << name;
        EXPECT_EQ(folder->names, (Names{"inside"}));
    }
    EXPECT_TRUE(log.unreadable.empty());
}

TEST(BulkWalkerTests, AFolderSpanningManyBuffersIsOneVisitWithEveryNameReadable)
{
    test::TemporaryFolder temp;
    // Long names make each record about 230 bytes: over a dozen 64 KiB batches.
    Names created;
    const std::string padding(200, 'n');
    for (int index = 0; index < 4000; ++index) {
        created.push_back(padding + std::to_string(index));
        temp.makeFile("tree/big/" + created.back());
    }
    // A folder after the big one reuses the buffers from the first on.
    temp.makeFile("tree/small/after.txt");
    std::sort(created.begin(), created.end());

    int bigVisits = 0;
    Names seenInBig;
    Names seenInSmall;
    BulkWalker::walk(
        temp / "tree",
        [&](BulkFolder& folder) {
            // Names are read only at the end of the visit, once every batch is in.
            if (folder.path == temp / "tree/big") {
                ++bigVisits;
                seenInBig = sortedNames(folder);
            }
            if (folder.path == temp / "tree/small")
                seenInSmall = sortedNames(folder);
            return true;
        },
        [](const std::string& path) { ADD_FAILURE() << "unreadable " << path; });

    EXPECT_EQ(bigVisits, 1);
    EXPECT_EQ(seenInBig, created);
    EXPECT_EQ(seenInSmall, (Names{"after.txt"}));
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
    ASSERT_EQ(log.folders.size(), 2u);
    EXPECT_EQ(log.folders[0].path, temp / "tree");
    EXPECT_EQ(log.folders[1].path, temp / "tree/real");
    EXPECT_TRUE(log.unreadable.empty());
}

TEST(BulkWalkerTests, SkippedSubfoldersAreLeftOutAndTheirSiblingsEntered)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/keep/file", 1);
    temp.makeFile("tree/node_modules/pkg/index.js", 1);
    temp.makeFile("tree/other/file", 1);

    const auto skipNodeModules = [](BulkFolder& folder) {
        EXPECT_TRUE(folder.skipped.empty());
        for (std::size_t index = 0; index < folder.entries.size(); ++index) {
            if (folder.entries[index].isNamed("node_modules"))
                folder.skipped.insert(index);
        }
    };
    Names paths;
    BulkWalker::walk(
        temp / "tree",
        [&](BulkFolder& folder) {
            paths.push_back(folder.path);
            skipNodeModules(folder);
            return true;
        },
        [](const std::string&) {});
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ(paths, (Names{temp / "tree", temp / "tree/keep", temp / "tree/other"}));
}

TEST(BulkWalkerTests, VisitReturningFalseEndsTheWholeWalkAtOnce)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/a/b/c", 1);
    temp.makeFolder("tree/locked-later");
    int visits = 0;
    int unreadable = 0;
    BulkWalker::walk(
        temp / "tree",
        [&](BulkFolder&) {
            ++visits;
            // Would be reported if the walk went on after the refusal.
            std::filesystem::remove(temp / "tree/locked-later");
            return false;
        },
        [&](const std::string&) { ++unreadable; });
    EXPECT_EQ(visits, 1);
    EXPECT_EQ(unreadable, 0);
}

TEST(BulkWalkerTests, ASubfolderThatVanishesBeforeItIsEnteredCountsAsUnreadable)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/first/file", 1);
    temp.makeFile("tree/second/file", 1);
    temp.makeFile("tree/third/file", 1);

    WalkLog log;
    BulkWalker::walk(
        temp / "tree",
        [&](BulkFolder& folder) {
            log.folders.push_back({folder.path, folder.depth, {}});
            if (folder.depth == 0)
                std::filesystem::remove_all(temp / "tree/second");
            return true;
        },
        [&](const std::string& path) { log.unreadable.push_back(path); });

    EXPECT_EQ(log.unreadable, (Names{temp / "tree/second"}));
    EXPECT_NE(log.find(temp / "tree/first"), nullptr);
    EXPECT_NE(log.find(temp / "tree/third"), nullptr);
    EXPECT_EQ(log.find(temp / "tree/second"), nullptr);
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
        Names visited;
        for (const Visited& folder : log.folders)
            visited.push_back(folder.path);
        Names unreadable = log.unreadable;
        std::sort(visited.begin(), visited.end());
        std::sort(unreadable.begin(), unreadable.end());
        std::string report;
        for (const std::string& path : visited)
            report += "visited " + path + "\n";
        for (const std::string& path : unreadable)
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

    WalkLog log;
    bool listsPts = false;
    BulkWalker::walk(
        "/dev",
        [&](BulkFolder& folder) {
            log.folders.push_back({folder.path, folder.depth, {}});
            if (folder.depth == 0)
                listsPts = folder.contains("pts");
            return true;
        },
        [&](const std::string& path) { log.unreadable.push_back(path); });

    ASSERT_FALSE(log.folders.empty());
    EXPECT_EQ(log.folders[0].path, "/dev");
    EXPECT_TRUE(listsPts);
    for (const Visited& folder : log.folders)
        EXPECT_NE(folder.path.rfind("/dev/pts", 0), 0u) << folder.path;
    for (const std::string& path : log.unreadable)
        EXPECT_NE(path.rfind("/dev/pts", 0), 0u) << path;
}

} // namespace
} // namespace tarno
