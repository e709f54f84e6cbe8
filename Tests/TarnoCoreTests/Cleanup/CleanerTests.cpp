#include "TarnoCore/Cleanup/Cleaner.hpp"

#include "TarnoCore/Platform/Locations.hpp"
#include "TarnoCore/Platform/Trash.hpp"

#include "Support/GitRepository.hpp"
#include "Support/FileChecks.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno {
namespace {

namespace fs = std::filesystem;
using test::ScopedEnvironment;
using test::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using Failure = CleanReport::Failure;

using test::contentsOf;
using test::exists;

std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// A made-up home in a fresh folder, with its Trash inside it.
class CleanerTest : public ::testing::Test {
protected:
    CleanerTest()
        : dataHome("XDG_DATA_HOME", root / "home/.local/share")
    {
        root.makeFolder("home/Library/Caches");
        root.makeFile("home/Documents/a.txt", 10, 'd');
    }

    void SetUp() override
    {
        // Nothing below may ever reach the real Trash.
        ASSERT_EQ(trash(), home() + "/.local/share/Trash");
    }

    std::string home() const { return root / "home"; }
    std::string trash() const { return Platform::trashFolder(home()); }
    Cleaner cleaner() const { return Cleaner{PathGuard(home(), root / "Applications", "")}; }

    TemporaryFolder root;
    ScopedEnvironment dataHome;
};

TEST_F(CleanerTest, DeleteRemovesTreesAndSkipsWhatHasGone)
{
    root.makeFile("home/Library/Caches/app/data/blob", 5000);
    root.makeFile("home/Library/Caches/app/.hidden");
    root.makeFolder("home/Library/Caches/app/empty/deeper");
    root.makeFile("home/Library/Caches/loose.log", 10);
    const std::string caches = home() + "/Library/Caches";

    const auto report = cleaner().perform(CleanupAction::Delete{{caches + "/app", caches + "/gone", caches + "/loose.log"}});

    EXPECT_EQ(report, (CleanReport{2, {}}));
    EXPECT_THAT(namesIn(caches), ElementsAre());
    EXPECT_EQ(cleaner().perform(CleanupAction::Delete{}), CleanReport{});
}

TEST_F(CleanerTest, DeleteReportsRefusalsInTheGuardsWordsAndGoesOn)
{
    root.makeFile("home/Library/Caches/x");
    const std::string h = home();

    const auto report = cleaner().perform(CleanupAction::Delete{
        {h + "/Documents/a.txt", h + "/Library/Caches", h + "/Library/Caches/x", root / "outside"}});

    // A path outside that does not exist is skipped before the guard is asked.
    EXPECT_EQ(report.removed, 1);
    EXPECT_THAT(report.failures, ElementsAre(Failure{h + "/Documents/a.txt", "protected folder Documents"},
                                             Failure{h + "/Library/Caches", "would remove Library/Caches itself"}));
    EXPECT_EQ(contentsOf(h + "/Documents/a.txt"), std::string(10, 'd'));
    EXPECT_FALSE(exists(h + "/Library/Caches/x"));
}

TEST_F(CleanerTest, DeleteRemovesWhatTheGuardJudgedNotWhatALinkAndDotDotReach)
{
    // Written down, evil/../sneaky is Library/Caches/sneaky; the system would
    // take evil first and reach Documents/sneaky. The guard judges the first,
    // so that one goes.
    root.makeSymlink(home() + "/Documents", "home/Library/Caches/evil");
    root.makeFile("home/Library/Caches/sneaky", 1);
    root.makeFile("home/sneaky", 1);

    const auto report = cleaner().perform(CleanupAction::Delete{{home() + "/Library/Caches/evil/../sneaky"}});

    EXPECT_EQ(report, (CleanReport{1, {}}));
    EXPECT_FALSE(exists(home() + "/Library/Caches/sneaky"));
    EXPECT_TRUE(exists(home() + "/sneaky"));
    EXPECT_TRUE(exists(home() + "/Documents/a.txt"));
}

TEST_F(CleanerTest, DeleteReportsWhatTheSystemRefusesInWords)
{
    // Root may remove anything, so the attempt runs as "nobody" on a tree
    // that is its own but for one folder.
    root.makeFile("home/Library/Caches/app/first.txt");
    root.makeFile("home/Library/Caches/app/locked/kept.txt");
    root.makeFile("home/Library/Caches/app/last.txt");
    const std::string app = home() + "/Library/Caches/app";
    for (const std::string& folder : {root.path(), home(), home() + "/Library", home() + "/Library/Caches"})
        test::openToEveryone(folder);
    for (const std::string& path : {app, app + "/first.txt", app + "/last.txt"})
        ASSERT_EQ(::chown(path.c_str(), test::nobodyID, test::nobodyID), 0);
    const Cleaner guarded = cleaner();

    const auto run = test::runAsNobody([&] {
        const auto report = guarded.perform(CleanupAction::Delete{{app}});
        std::string text = std::to_string(report.removed);
        for (const auto& failure : report.failures)
            text += "|" + failure.path + "|" + failure.reason;
        return text;
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;

    EXPECT_EQ(run.output, "0|" + app + "|cannot remove " + app + "/locked/kept.txt: permission denied");
    // The removal went on past the failure.
    EXPECT_THAT(namesIn(app), ElementsAre("locked"));
    EXPECT_TRUE(exists(app + "/locked/kept.txt"));
}

TEST_F(CleanerTest, DeleteContentsEmptiesFoldersAndKeepsThem)
{
    root.makeFile("home/Library/Caches/app/one", 1);
    root.makeFile("home/Library/Caches/app/.two", 1);
    root.makeFile("home/Library/Caches/app/three/four", 1);
    root.makeFolder("home/Library/Caches/empty");
    const std::string caches = home() + "/Library/Caches";

    const auto report = cleaner().perform(CleanupAction::DeleteContents{{caches + "/app/", caches + "/empty"}});

    EXPECT_EQ(report, (CleanReport{3, {}}));
    EXPECT_THAT(namesIn(caches), ElementsAre("app", "empty"));
    EXPECT_THAT(namesIn(caches + "/app"), ElementsAre());
}

TEST_F(CleanerTest, DeleteContentsReportsEachFolderItCannotEmpty)
{
    root.makeSymlink(home() + "/Documents", "home/Library/Caches/docs");
    root.makeFile("home/Library/Caches/file.txt");
    const std::string caches = home() + "/Library/Caches";

    const auto report = cleaner().perform(
        CleanupAction::DeleteContents{{caches + "/missing", caches + "/docs", caches + "/file.txt"}});

    EXPECT_EQ(report.removed, 0);
    EXPECT_THAT(report.failures, ElementsAre(Failure{caches + "/missing", "no such file or directory"},
                                             Failure{caches + "/docs", "is a symbolic link"},
                                             Failure{caches + "/file.txt", "not a directory"}));
    EXPECT_EQ(contentsOf(home() + "/Documents/a.txt"), std::string(10, 'd'));
}

TEST_F(CleanerTest, DeleteContentsReportsRefusedEntriesUnderTheirOwnPaths)
{
    root.makeFile("home/Library/Caches/keep");
    root.makeFile("home/Library/Keychains/login.keychain-db");
    root.makeFile("home/Library/Other/junk");
    const std::string library = home() + "/Library";

    const auto report = cleaner().perform(CleanupAction::DeleteContents{{library}});

    EXPECT_EQ(report.removed, 1);
    EXPECT_THAT(report.failures,
                ElementsAre(Failure{library + "/Caches", "would remove Library/Caches itself"},
                            Failure{library + "/Keychains", "protected folder Library/Keychains"}));
    EXPECT_THAT(namesIn(library), ElementsAre("Caches", "Keychains"));
    EXPECT_TRUE(exists(library + "/Keychains/login.keychain-db"));
}

TEST_F(CleanerTest, TrashMovesItemsWithTheirTrashInfo)
{
    root.makeFile("home/Library/Caches/My File é.txt", 3);
    root.makeFile("home/Library/Caches/tree/inner", 3);
    const std::string caches = home() + "/Library/Caches";
    ASSERT_FALSE(exists(trash()));

    const auto report = cleaner().perform(CleanupAction::Trash{{caches + "/My File é.txt", caches + "/tree"}});

    EXPECT_EQ(report, (CleanReport{2, {}}));
    EXPECT_THAT(namesIn(trash() + "/files"), ElementsAre("My File é.txt", "tree"));
    EXPECT_THAT(namesIn(trash() + "/info"), ElementsAre("My File é.txt.trashinfo", "tree.trashinfo"));
    EXPECT_EQ(contentsOf(trash() + "/files/tree/inner"), "xxx");
    EXPECT_THAT(contentsOf(trash() + "/info/My File é.txt.trashinfo"),
                MatchesRegex("\\[Trash Info\\]\nPath=" + caches + "/My%20File%20%C3%A9\\.txt\n"
                             "DeletionDate=[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\n"));
    // The Trash folders it made are the user's alone.
    struct stat status;
    ASSERT_EQ(::stat((trash() + "/files").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    ASSERT_EQ(::stat((trash() + "/info").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(CleanerTest, TrashSettlesNameClashes)
{
    for (const char* folder : {"a", "b", "c"})
        root.makeFile(std::string("home/Library/Caches/") + folder + "/report.pdf", 1, folder[0]);
    // Left in files without its info: the name is still taken.
    root.makeFile("home/.local/share/Trash/files/report.pdf.2", 1, 'o');
    const std::string caches = home() + "/Library/Caches";

    const auto report = cleaner().perform(
        CleanupAction::Trash{{caches + "/a/report.pdf", caches + "/b/report.pdf", caches + "/c/report.pdf"}});

    EXPECT_EQ(report, (CleanReport{3, {}}));
    EXPECT_THAT(namesIn(trash() + "/files"), ElementsAre("report.pdf", "report.pdf.2", "report.pdf.3", "report.pdf.4"));
    EXPECT_THAT(namesIn(trash() + "/info"),
                ElementsAre("report.pdf.3.trashinfo", "report.pdf.4.trashinfo", "report.pdf.trashinfo"));
    EXPECT_EQ(contentsOf(trash() + "/files/report.pdf"), "a");
    EXPECT_EQ(contentsOf(trash() + "/files/report.pdf.2"), "o");
    EXPECT_EQ(contentsOf(trash() + "/files/report.pdf.3"), "b");
    EXPECT_EQ(contentsOf(trash() + "/files/report.pdf.4"), "c");
    EXPECT_THAT(contentsOf(trash() + "/info/report.pdf.4.trashinfo"),
                ::testing::HasSubstr("\nPath=" + caches + "/c/report.pdf\n"));
}

TEST_F(CleanerTest, TrashAsksTheGuardAndSkipsWhatHasGone)
{
    root.makeFolder("home/Projects");
    const std::string h = home();

    const auto report = cleaner().perform(CleanupAction::Trash{
        {h + "/Documents/a.txt", h + "/Documents", h + "/Library/Caches", h + "/Projects", h + "/Library/Caches/gone"}});

    EXPECT_EQ(report.removed, 1);
    EXPECT_THAT(report.failures,
                ElementsAre(Failure{h + "/Documents", "top-level folder in the home folder"},
                            Failure{h + "/Library/Caches", "would remove Library/Caches itself"},
                            Failure{h + "/Projects", "top-level folder in the home folder"}));
    EXPECT_THAT(namesIn(trash() + "/files"), ElementsAre("a.txt"));
}

TEST_F(CleanerTest, TrashWritesTheInfoFileAsTheStandardHasIt)
{
    ScopedEnvironment utc("TZ", "UTC");
    ::tzset();
    const auto date = std::chrono::system_clock::from_time_t(1700000000);
    EXPECT_EQ(Platform::Trash::infoText("/home/ann/Library/Caches/a b#?%ü", date),
              "[Trash Info]\nPath=/home/ann/Library/Caches/a%20b%23%3F%25%C3%BC\n"
              "DeletionDate=2023-11-14T22:13:20\n");
}

TEST_F(CleanerTest, TrashRefusesToCopyFromAnotherDisk)
{
    struct stat homeStatus, sharedStatus;
    ASSERT_EQ(::stat(home().c_str(), &homeStatus), 0);
    if (::stat("/dev/shm", &sharedStatus) != 0 || sharedStatus.st_dev == homeStatus.st_dev)
        GTEST_SKIP() << "no second file system at /dev/shm";
    TemporaryFolder other("/dev/shm");
    ScopedEnvironment elsewhere("XDG_DATA_HOME", other.path());
    ASSERT_EQ(Platform::trashFolder(home()), other / "Trash");
    root.makeFile("home/Library/Caches/big.bin", 100);
    const std::string item = home() + "/Library/Caches/big.bin";

    const auto report = cleaner().perform(CleanupAction::Trash{{item}});

    EXPECT_EQ(report, (CleanReport{0, {{item, "is on another disk than the Trash"}}}));
    EXPECT_TRUE(exists(item));
    EXPECT_THAT(namesIn(other / "Trash/info"), ElementsAre());
}

TEST_F(CleanerTest, RunReportsHowTheToolEnded)
{
    const std::string h = home();
    // `affects` is no path to delete: the guard is not asked about it.
    EXPECT_EQ(cleaner().perform(CleanupAction::Run{"/bin/true", {}, {h + "/Documents"}}), (CleanReport{1, {}}));
    EXPECT_EQ(cleaner().perform(CleanupAction::Run{"/bin/false", {}, {}}),
              (CleanReport{0, {{"/bin/false", "exit code 1"}}}));
    EXPECT_EQ(cleaner().perform(CleanupAction::Run{"/bin/sh", {"-c", "printf ' \\n could not prune \\n\\n' >&2; exit 3"}, {}}),
              (CleanReport{0, {{"/bin/sh", "could not prune"}}}));
    EXPECT_EQ(cleaner().perform(CleanupAction::Run{root / "no-such-tool", {}, {}}),
              (CleanReport{0, {{root / "no-such-tool", "could not be started"}}}));
    EXPECT_EQ(contentsOf(h + "/Documents/a.txt"), std::string(10, 'd'));
}

class WorktreeTest : public CleanerTest {
protected:
    void SetUp() override
    {
        CleanerTest::SetUp();
        if (!test::hasGit())
            GTEST_SKIP() << "no git at " << test::gitTool;
        ASSERT_TRUE(test::makeRepositoryWithWorktree(repository(), worktree()));
        root.makeFile("home/Projects/app-feature/node_modules/lib/index.js", 10);
        root.makeFile("home/Projects/app-feature/build/out.o", 10);
        root.makeFile("home/Library/Caches/elsewhere", 1);
    }

    std::string repository() const { return home() + "/Projects/app"; }
    std::string worktree() const { return home() + "/Projects/app-feature"; }
};

TEST_F(WorktreeTest, ClearsInsideTheWorktreeOnlyThenAsksGit)
{
    const std::string wt = worktree();
    const auto report = cleaner().perform(CleanupAction::RemoveWorktree{
        repository(), wt,
        {wt + "/node_modules", home() + "/Library/Caches/elsewhere", wt + "/../app/README", wt + "x",
         wt + "/build"}});

    EXPECT_EQ(report, (CleanReport{3, {}}));
    EXPECT_FALSE(exists(wt));
    EXPECT_TRUE(exists(home() + "/Library/Caches/elsewhere"));
    EXPECT_TRUE(exists(repository() + "/README"));
}

TEST_F(WorktreeTest, KeepsWhatWasClearedWhenGitRefuses)
{
    const std::string wt = worktree();
    std::ofstream(wt + "/README") << "work not yet committed\n";

    const auto report = cleaner().perform(CleanupAction::RemoveWorktree{
        repository(), wt, {wt + "/node_modules", wt + "/build"}});

    EXPECT_EQ(report.removed, 2);
    ASSERT_EQ(report.failures.size(), 1u);
    EXPECT_EQ(report.failures[0].path, wt);
    EXPECT_THAT(report.failures[0].reason, ::testing::HasSubstr("--force"));
    EXPECT_EQ(contentsOf(wt + "/README"), "work not yet committed\n");
}

TEST_F(WorktreeTest, TouchesNothingWhenTheWorktreeItselfIsRefused)
{
    const std::string insideDocuments = home() + "/Documents/wt";
    root.makeFile("home/Documents/wt/node_modules/x", 1);

    const auto report = cleaner().perform(CleanupAction::RemoveWorktree{
        repository(), insideDocuments, {insideDocuments + "/node_modules", home() + "/Library/Caches/elsewhere"}});

    EXPECT_EQ(report, (CleanReport{0, {{insideDocuments, "protected folder Documents"}}}));
    EXPECT_TRUE(exists(insideDocuments + "/node_modules/x"));
    EXPECT_TRUE(exists(worktree()));
}

} // namespace
} // namespace tarno
