#include "TarnoCore/Foundation/FileWalker.hpp"

#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <tuple>

#include <sys/stat.h>
#include <sys/time.h>

namespace tarno {
namespace {

using Kind = WalkEntry::Kind;

struct Seen {
    std::string path;
    Kind kind;
    int depth;
    bool operator==(const Seen&) const = default;
};

std::vector<Seen> walkAll(const std::string& root, const std::function<WalkDecision(const WalkEntry&)>& decide = {})
{
    std::vector<Seen> seen;
    FileWalker::walk(root, [&](const WalkEntry& entry) {
        seen.push_back({entry.path(), entry.kind, entry.depth()});
        return decide ? decide(entry) : WalkDecision::proceed;
    });
    return seen;
}

std::map<std::string, Kind> kindsByPath(const std::vector<Seen>& seen)
{
    std::map<std::string, Kind> kinds;
    for (const Seen& entry : seen)
        kinds[entry.path] = entry.kind;
    return kinds;
}

TEST(FileWalkerTests, VisitsInPreOrderWithKindsDepthsAndFigures)
{
    test::TemporaryFolder temp;
    const std::string file = temp.makeFile("tree/sub/data.bin", 10000);
    temp.makeHardLink("tree/sub/data.bin", "tree/twin.bin");
    temp.makeSymlink("sub", "tree/link");
    ASSERT_EQ(::mkfifo((temp / "tree/pipe").c_str(), 0644), 0);
    const timeval times[2] = {{1'600'000'000, 0}, {1'650'000'123, 500000}};
    ASSERT_EQ(::utimes(file.c_str(), times), 0);
    struct stat status;
    ASSERT_EQ(::lstat(file.c_str(), &status), 0);

    const std::string root = temp / "tree";
    std::map<std::string, std::string> names;
    bool rootNamedLast = false;
    std::tuple<std::int64_t, std::uint64_t, std::int64_t, std::chrono::system_clock::time_point> figures;
    const std::vector<Seen> seen = walkAll(root, [&](const WalkEntry& entry) {
        names[entry.path()] = entry.name();
        rootNamedLast = rootNamedLast || (entry.depth() == 0 && entry.isNamed("tree"));
        if (entry.isNamed("data.bin"))
            figures = {entry.allocatedBytes(), entry.inode(), entry.linkCount(), entry.modified()};
        return WalkDecision::proceed;
    });

    ASSERT_EQ(seen.size(), 6u);
    EXPECT_EQ(seen.front(), (Seen{root, Kind::directory, 0}));
    EXPECT_EQ(kindsByPath(seen), (std::map<std::string, Kind>{{root, Kind::directory},
                                                              {root + "/sub", Kind::directory},
                                                              {root + "/sub/data.bin", Kind::file},
                                                              {root + "/twin.bin", Kind::file},
                                                              {root + "/link", Kind::symlink},
                                                              {root + "/pipe", Kind::other}}));
    // Pre-order: a folder before what it holds, the file one level deeper.
    const auto position = [&](const std::string& path) {
        return std::find_if(seen.begin(), seen.end(), [&](const Seen& entry) { return entry.path == path; });
    };
    EXPECT_LT(position(root + "/sub"), position(root + "/sub/data.bin"));
    EXPECT_EQ(position(root + "/sub/data.bin")->depth, 2);

    EXPECT_EQ(names[root], root); // the root is named by its whole path, as given
    EXPECT_FALSE(rootNamedLast);
    EXPECT_EQ(names[root + "/sub/data.bin"], "data.bin");
    const std::chrono::system_clock::time_point stamp(std::chrono::seconds(1'650'000'123));
    EXPECT_EQ(figures, std::tuple(std::int64_t{status.st_blocks * 512}, std::uint64_t{status.st_ino}, 2, stamp));
}

TEST(FileWalkerTests, DecisionsPruneAFolderOrEndTheWalk)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/skip-me/inner/file", 1);
    temp.makeFile("tree/keep/file", 1);
    temp.makeFile("tree/plain", 1);
    const std::string root = temp / "tree";

    // skipDirectory on a folder leaves out its contents; on a file it means proceed.
    const auto pruned = kindsByPath(walkAll(root, [](const WalkEntry& entry) {
        return entry.isNamed("skip-me") || entry.isNamed("plain") ? WalkDecision::skipDirectory
                                                                  : WalkDecision::proceed;
    }));
    EXPECT_EQ(pruned, (std::map<std::string, Kind>{{root, Kind::directory},
                                                   {root + "/skip-me", Kind::directory},
                                                   {root + "/keep", Kind::directory},
                                                   {root + "/keep/file", Kind::file},
                                                   {root + "/plain", Kind::file}}));

    const auto stopped = walkAll(root, [](const WalkEntry&) { return WalkDecision::stop; });
    EXPECT_EQ(stopped, (std::vector<Seen>{{root, Kind::directory, 0}}));
}

TEST(FileWalkerTests, LinksAreVisitedButNeverFollowed)
{
    test::TemporaryFolder temp;
    temp.makeFile("outside/secret", 1);
    temp.makeFolder("tree");
    temp.makeSymlink(temp / "outside", "tree/to-outside");
    temp.makeSymlink("loop-b", "tree/loop-a");
    temp.makeSymlink("loop-a", "tree/loop-b");
    temp.makeSymlink("..", "tree/up");
    const std::string root = temp / "tree";

    const auto kinds = kindsByPath(walkAll(root));
    EXPECT_EQ(kinds, (std::map<std::string, Kind>{{root, Kind::directory},
                                                  {root + "/to-outside", Kind::symlink},
                                                  {root + "/loop-a", Kind::symlink},
                                                  {root + "/loop-b", Kind::symlink},
                                                  {root + "/up", Kind::symlink}}));

    // A root that is a link or a file is visited once by its own kind; a missing one not at all.
    EXPECT_EQ(walkAll(root + "/to-outside"), (std::vector<Seen>{{root + "/to-outside", Kind::symlink, 0}}));
    EXPECT_EQ(walkAll(temp / "outside/secret"), (std::vector<Seen>{{temp / "outside/secret", Kind::file, 0}}));
    EXPECT_TRUE(walkAll(temp / "missing").empty());
    EXPECT_TRUE(walkAll("").empty());
}

std::string line(Kind kind, const std::string& path)
{
    return std::to_string(static_cast<int>(kind)) + " " + path + "\n";
}

TEST(FileWalkerTests, AnUnreadableFolderIsVisitedAsSuchAndTheWalkGoesOn)
{
    test::TemporaryFolder temp;
    temp.makeFile("tree/locked/hidden", 1);
    temp.makeFile("tree/open/file", 1);
    test::openToEveryone(temp.path());
    ASSERT_EQ(::chmod((temp / "tree/locked").c_str(), 0000), 0);
    const std::string root = temp / "tree";

    const test::UnprivilegedRun run = test::runAsNobody([&] {
        std::string report;
        for (const auto& [path, kind] : kindsByPath(walkAll(root)))
            report += line(kind, path);
        return report;
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;
    // fts reports the locked folder once more as unreadable after its pre-order visit.
    EXPECT_EQ(run.output, line(Kind::directory, root) + line(Kind::unreadableDirectory, root + "/locked")
                              + line(Kind::directory, root + "/open") + line(Kind::file, root + "/open/file"));
}

TEST(FileWalkerTests, AMountPointIsVisitedButNotEntered)
{
    struct stat dev;
    struct stat pts;
    if (::lstat("/dev", &dev) != 0 || ::lstat("/dev/pts", &pts) != 0 || !S_ISDIR(pts.st_mode)
        || dev.st_dev == pts.st_dev)
        GTEST_SKIP() << "/dev/pts is not a mount point below /dev here";

    const auto kinds = kindsByPath(walkAll("/dev"));
    EXPECT_EQ(kinds.at("/dev/pts"), Kind::directory);
    for (const auto& [path, kind] : kinds)
        EXPECT_NE(path.rfind("/dev/pts/", 0), 0u) << path;
}

} // namespace
} // namespace tarno
