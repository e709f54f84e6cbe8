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

#include <sys/stat.h>
#include <unistd.h>

namespace tarno {
namespace {

namespace fs = std::filesystem;
using test::ScopedEnvironment;
using test::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using Failure = CleanReport::Failure;

Failure refused(const std::string& path, const std::string& reason)
{
    return Failure{path, reason, Failure::Kind::refused};
}

// Answers "go on" the first `times` times it is asked, then "stop".
std::function<bool()> cancelledAfter(int times)
{
    return [asked = std::make_shared<int>(0), times] { return (*asked)++ >= times; };
}

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

unsigned permissionsOf(const std::string& path)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : ~0u;
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

    // Nothing below may ever reach the real Trash.
    void SetUp() override { ASSERT_EQ(trash(), home() + "/.local/share/Trash"); }

    std::string home() const { return root / "home"; }
    std::string caches() const { return home() + "/Library/Caches"; }
    std::string trash() const { return Platform::trashFolder(home()); }
    Cleaner cleaner() const { return Cleaner{PathGuard(home(), root / "Applications", "")}; }
    CleanReport perform(const CleanupAction& action) const { return cleaner().perform(action); }
    void expectDocumentsIntact() const { EXPECT_EQ(contentsOf(home() + "/Documents/a.txt"), std::string(10, 'd')); }

    TemporaryFolder root;
    ScopedEnvironment dataHome;
};

TEST_F(CleanerTest, DeleteRemovesTreesSkipsWhatHasGoneAndReportsRefusalsInTheGuardsWords)
{
    root.makeFile("home/Library/Caches/app/data/blob", 5000);
    root.makeFile("home/Library/Caches/app/.hidden");
    root.makeFolder("home/Library/Caches/app/empty/deeper");
    root.makeFile("home/Library/Caches/loose.log", 10);
    const std::string c = caches(), h = home();

    // A path outside that does not exist is skipped before the guard is asked.
    const auto report = perform(CleanupAction::Delete{
        {h + "/Documents/a.txt", c + "/app", c + "/gone", c, c + "/loose.log", root / "outside"}});

    EXPECT_EQ(report.removed, 2);
    EXPECT_THAT(report.failures, ElementsAre(refused(h + "/Documents/a.txt", "protected folder Documents"),
                                             refused(c, "would remove Library/Caches itself")));
    EXPECT_THAT(namesIn(c), ElementsAre());
    expectDocumentsIntact();
    EXPECT_EQ(perform(CleanupAction::Delete{}), CleanReport{});
}

TEST_F(CleanerTest, DeleteRemovesWhatTheGuardJudgedNotWhatALinkAndDotDotReach)
{
    // As written, evil/../sneaky is Caches/sneaky; the system would go through evil to home/sneaky.
    root.makeSymlink(home() + "/Documents", "home/Library/Caches/evil");
    root.makeFile("home/Library/Caches/sneaky", 1);
    root.makeFile("home/sneaky", 1);

    EXPECT_EQ(perform(CleanupAction::Delete{{caches() + "/evil/../sneaky"}}), (CleanReport{1, {}}));
    EXPECT_FALSE(exists(caches() + "/sneaky"));
    EXPECT_TRUE(exists(home() + "/sneaky"));
    EXPECT_TRUE(exists(home() + "/Documents/a.txt"));
}

TEST_F(CleanerTest, DeleteReportsWhatTheSystemRefusesInWords)
{
    // Root may remove anything, so this runs as "nobody" on a tree it owns but for one folder.
    root.makeFile("home/Library/Caches/app/first.txt");
    root.makeFile("home/Library/Caches/app/locked/kept.txt");
    root.makeFile("home/Library/Caches/app/last.txt");
    const std::string app = caches() + "/app";
    for (const std::string& folder : {root.path(), home(), home() + "/Library", caches()})
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

TEST_F(CleanerTest, DeleteContentsEmptiesFoldersKeepsThemAndReportsWhatItCannotEmpty)
{
    root.makeFile("home/Library/Caches/app/one", 1);
    root.makeFile("home/Library/Caches/app/.two", 1);
    root.makeFile("home/Library/Caches/app/three/four", 1);
    root.makeFolder("home/Library/Caches/empty");
    root.makeSymlink(home() + "/Documents", "home/Library/Caches/docs");
    root.makeFile("home/Library/Caches/file.txt");
    root.makeFile("home/Library/Keychains/login.keychain-db");
    root.makeFile("home/Library/Other/junk");
    const std::string c = caches(), library = home() + "/Library";

    // Refused entries inside a folder are reported under their own paths.
    const auto report = perform(CleanupAction::DeleteContents{
        {c + "/app/", c + "/empty", c + "/missing", c + "/docs", c + "/file.txt", library}});

    EXPECT_EQ(report.removed, 4);
    EXPECT_THAT(report.failures, ElementsAre(Failure{c + "/missing", "no such file or directory"},
                                             refused(c + "/docs", "is a symbolic link"),
                                             Failure{c + "/file.txt", "not a directory"},
                                             refused(c, "would remove Library/Caches itself"),
                                             refused(library + "/Keychains", "protected folder Library/Keychains")));
    EXPECT_THAT(namesIn(c), ElementsAre("app", "docs", "empty", "file.txt"));
    EXPECT_THAT(namesIn(c + "/app"), ElementsAre());
    EXPECT_THAT(namesIn(library), ElementsAre("Caches", "Keychains"));
    EXPECT_TRUE(exists(library + "/Keychains/login.keychain-db"));
    expectDocumentsIntact();
}

TEST_F(CleanerTest, TrashMovesItemsWithTheirTrashInfoAndAsksTheGuard)
{
    root.makeFile("home/Library/Caches/My File é.txt", 3);
    root.makeFile("home/Library/Caches/tree/inner", 3);
    root.makeFolder("home/Projects");
    const std::string c = caches(), h = home();
    ASSERT_FALSE(exists(trash()));

    const auto report = perform(CleanupAction::Trash{{c + "/My File é.txt", c + "/tree", h + "/Documents/a.txt",
                                                      h + "/Documents", c, h + "/Projects", c + "/gone"}});

    EXPECT_EQ(report.removed, 3);
    EXPECT_THAT(report.failures, ElementsAre(refused(h + "/Documents", "top-level folder in the home folder"),
                                             refused(c, "would remove Library/Caches itself"),
                                             refused(h + "/Projects", "top-level folder in the home folder")));
    EXPECT_THAT(namesIn(trash() + "/files"), ElementsAre("My File é.txt", "a.txt", "tree"));
    EXPECT_THAT(namesIn(trash() + "/info"),
                ElementsAre("My File é.txt.trashinfo", "a.txt.trashinfo", "tree.trashinfo"));
    EXPECT_EQ(contentsOf(trash() + "/files/tree/inner"), "xxx");
    EXPECT_THAT(contentsOf(trash() + "/info/My File é.txt.trashinfo"),
                MatchesRegex("\\[Trash Info\\]\nPath=" + c + "/My%20File%20%C3%A9\\.txt\n"
                             "DeletionDate=[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\n"));
    // The Trash folders it made are the user's alone.
    EXPECT_EQ(permissionsOf(trash() + "/files"), 0700u);
    EXPECT_EQ(permissionsOf(trash() + "/info"), 0700u);
}

TEST_F(CleanerTest, TrashSettlesNameClashes)
{
    for (const char* folder : {"a", "b", "c"})
        root.makeFile(std::string("home/Library/Caches/") + folder + "/report.pdf", 1, folder[0]);
    // Left in files without its info: the name is still taken.
    root.makeFile("home/.local/share/Trash/files/report.pdf.2", 1, 'o');
    const std::string c = caches(), files = trash() + "/files/report.pdf";

    EXPECT_EQ(perform(CleanupAction::Trash{{c + "/a/report.pdf", c + "/b/report.pdf", c + "/c/report.pdf"}}),
              (CleanReport{3, {}}));
    EXPECT_THAT(namesIn(trash() + "/info"),
                ElementsAre("report.pdf.3.trashinfo", "report.pdf.4.trashinfo", "report.pdf.trashinfo"));
    EXPECT_EQ(contentsOf(files) + contentsOf(files + ".2") + contentsOf(files + ".3") + contentsOf(files + ".4"),
              "aobc");
    EXPECT_THAT(contentsOf(trash() + "/info/report.pdf.4.trashinfo"), HasSubstr("\nPath=" + c + "/c/report.pdf\n"));
}

TEST_F(CleanerTest, TrashWritesTheInfoFileAsTheStandardHasIt)
{
    ScopedEnvironment utc("TZ", "UTC");
    ::tzset();
    const auto date = std::chrono::system_clock::from_time_t(1700000000);
    EXPECT_EQ(Platform::Trash::infoText("/home/ann/Library/Caches/a b#?%ü", date),
              "[Trash Info]\nPath=/home/ann/Library/Caches/a%20b%23%3F%25%C3%BC\nDeletionDate=2023-11-14T22:13:20\n");
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
    const std::string item = root.makeFile("home/Library/Caches/big.bin", 100);

    EXPECT_EQ(perform(CleanupAction::Trash{{item}}), (CleanReport{0, {{item, "is on another disk than the Trash"}}}));
    EXPECT_TRUE(exists(item));
    EXPECT_THAT(namesIn(other / "Trash/info"), ElementsAre());
}

TEST_F(CleanerTest, RunReportsHowTheToolEnded)
{
    // `affects` is no path to delete: the guard is not asked about it.
    EXPECT_EQ(perform(CleanupAction::Run{"/bin/true", {}, {home() + "/Documents"}}), (CleanReport{1, {}}));
    EXPECT_EQ(perform(CleanupAction::Run{"/bin/false", {}, {}}), (CleanReport{0, {{"/bin/false", "exit code 1"}}}));
    EXPECT_EQ(perform(CleanupAction::Run{"/bin/sh", {"-c", "printf ' \\n could not prune \\n\\n' >&2; exit 3"}, {}}),
              (CleanReport{0, {{"/bin/sh", "could not prune"}}}));
    EXPECT_EQ(perform(CleanupAction::Run{root / "no-such-tool", {}, {}}),
              (CleanReport{0, {{root / "no-such-tool", "could not be started"}}}));
    expectDocumentsIntact();
}

TEST_F(CleanerTest, CancellationLeavesWhatWasNotReachedAndSaysSo)
{
    root.makeFile("home/Library/Caches/first", 1);
    root.makeFile("home/Library/Caches/second/inner/blob", 1);
    root.makeFile("home/Library/Caches/third", 1);
    const std::string c = caches();
    const CleanupAction::Delete three{{c + "/first", c + "/second", c + "/third"}};

    // Asked before each path: stopped after the first, the others stay.
    EXPECT_EQ(cleaner().perform(three, cancelledAfter(1)), (CleanReport{1, {}, true}));
    EXPECT_THAT(namesIn(c), ElementsAre("second", "third"));
    // Asked again inside a tree, before each folder is opened: the tree stops
    // part-way, nothing after it is tried, and no failure is claimed.
    EXPECT_EQ(cleaner().perform(three, cancelledAfter(3)), (CleanReport{0, {}, true}));
    EXPECT_TRUE(exists(c + "/second/inner/blob"));
    EXPECT_TRUE(exists(c + "/third"));
    // The same holds for emptying a folder and for a tool, which is stopped while it runs.
    EXPECT_EQ(cleaner().perform(CleanupAction::DeleteContents{{c}}, cancelledAfter(0)), (CleanReport{0, {}, true}));
    EXPECT_THAT(namesIn(c), ElementsAre("second", "third"));
    EXPECT_EQ(cleaner().perform(CleanupAction::Run{"/bin/sleep", {"60"}, {}}, cancelledAfter(1)),
              (CleanReport{0, {}, true}));
    EXPECT_EQ(cleaner().perform(CleanupAction::Run{"/bin/true", {}, {}}, cancelledAfter(0)),
              (CleanReport{0, {}, true}));
    expectDocumentsIntact();
}

class WorktreeTest : public CleanerTest {
protected:
    void SetUp() override
    {
        CleanerTest::SetUp();
        if (!test::hasGit())
            GTEST_SKIP() << "no git at " << test::gitTool;
        ASSERT_TRUE(test::makeRepositoryWithWorktree(repository, wt));
        root.makeFile("home/Projects/app-feature/node_modules/lib/index.js", 10);
        root.makeFile("home/Projects/app-feature/build/out.o", 10);
        root.makeFile("home/Library/Caches/elsewhere", 1);
    }

    const std::string repository = home() + "/Projects/app";
    const std::string wt = home() + "/Projects/app-feature";
};

TEST_F(WorktreeTest, TouchesNothingWhenTheWorktreeIsRefusedElseClearsInsideItOnlyThenAsksGit)
{
    const std::string inDocuments = root.makeFolder("home/Documents/wt");
    root.makeFile("home/Documents/wt/node_modules/x", 1);
    EXPECT_EQ(perform(CleanupAction::RemoveWorktree{
                  repository, inDocuments, {inDocuments + "/node_modules", caches() + "/elsewhere"}}),
              (CleanReport{0, {refused(inDocuments, "protected folder Documents")}}));
    EXPECT_TRUE(exists(inDocuments + "/node_modules/x"));

    // What is cleared first holds a link to Documents: the link goes, not what it leads to.
    root.makeSymlink(home() + "/Documents", "home/Projects/app-feature/node_modules/documents");
    const auto report = perform(CleanupAction::RemoveWorktree{
        repository, wt,
        {wt + "/node_modules", caches() + "/elsewhere", wt + "/../app/README", wt + "x", wt + "/build"}});
    EXPECT_EQ(report, (CleanReport{3, {}}));
    EXPECT_FALSE(exists(wt));
    EXPECT_TRUE(exists(caches() + "/elsewhere"));
    EXPECT_TRUE(exists(repository + "/README"));
    expectDocumentsIntact();
}

TEST_F(WorktreeTest, KeepsWhatWasClearedWhenGitRefuses)
{
    std::ofstream(wt + "/README") << "work not yet committed\n";

    const auto report = perform(CleanupAction::RemoveWorktree{repository, wt, {wt + "/node_modules", wt + "/build"}});

    EXPECT_EQ(report.removed, 2);
    ASSERT_EQ(report.failures.size(), 1u);
    EXPECT_EQ(report.failures[0].path, wt);
    EXPECT_THAT(report.failures[0].reason, HasSubstr("--force"));
    EXPECT_EQ(contentsOf(wt + "/README"), "work not yet committed\n");
}

} // namespace
} // namespace tarno
