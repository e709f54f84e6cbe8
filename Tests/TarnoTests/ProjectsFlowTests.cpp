#include "Tarno/Demo/DemoProjects.hpp"
#include "Tarno/ProjectsModel.hpp"

#include "Support/GitRepository.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"
#include "TarnoTests/MadeUpMachine.hpp"
#include "TarnoTests/MadeUpProjects.hpp"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace tarno {
namespace {

using test::MadeUpProjects;
using test::waitUntil;
using ::testing::ElementsAre;
using Clock = std::chrono::system_clock;

const std::string home = "/home/alex";

std::string inHome(const std::string& relative)
{
    return home + "/" + relative;
}

ProjectScan::WorktreeRow& worktree(ProjectScan& scan, const std::string& folder)
{
    return *std::find_if(scan.worktrees.begin(), scan.worktrees.end(),
                         [&](const auto& row) { return row.worktree.path == inHome(folder); });
}

std::vector<std::string> pathsOf(const std::vector<ProjectScan::WorktreeRow>& rows)
{
    std::vector<std::string> paths;
    for (const auto& row : rows)
        paths.push_back(row.worktree.path);
    return paths;
}

// The section over a made-up machine that answers with the demo developer's
// projects.
class ProjectsFlow : public ::testing::Test {
protected:
    ProjectsFlow() { machine.setScan(scan); }

    std::unique_ptr<ProjectsModel> makeModel(bool remembers = false,
                                             std::optional<ProjectsMachine::Roots> remembered = {})
    {
        auto model = std::make_unique<ProjectsModel>(machine.machine(remembers, std::move(remembered)), home, guardian);
        model->onCleaned = [this](const CleanupRecord& record) { records.push_back(record); };
        return model;
    }

    void scanToReady(ProjectsModel& model)
    {
        model.scanProjects();
        ASSERT_TRUE(waitUntil([&] { return model.isReady(); }));
    }

    ProjectScan scan = Demo::projectScan(Clock::now());
    MadeUpProjects machine;
    PathGuard guardian = PathGuard::forHome(home);
    std::vector<CleanupRecord> records;
};

TEST_F(ProjectsFlow, DefaultsPickOnlyWhatIsClearlyStale)
{
    // A finished worktree with a process in it is left alone and goes last.
    worktree(scan, "code/shop-checkout-redesign").isInUse = true;
    machine.setScan(scan);
    auto model = makeModel();
    scanToReady(*model);

    // Merged two hours ago: removable, not picked. Pushed only: the user's call.
    EXPECT_THAT(model->selectedWorktrees(), ::testing::IsEmpty());
    EXPECT_THAT(pathsOf(model->removableWorktrees()),
                ElementsAre(inHome("code/shop-fix-cart"), inHome("code/shop-checkout-redesign"),
                            inHome("code/shop-search")));
    EXPECT_THAT(pathsOf(model->keptWorktrees()), ElementsAre(inHome("code/shop-payments")));

    // Safe output of projects untouched for a month, or never dated; not the
    // dashboard of this week, not a Python environment.
    std::set<std::string> expected;
    for (const auto& row : scan.artifacts) {
        const bool dashboard = row.projectPath == inHome("code/dashboard");
        if (!dashboard && row.kind.safety == Safety::safe)
            expected.insert(row.path);
    }
    EXPECT_EQ(model->selectedArtifacts(), expected);
    EXPECT_TRUE(std::any_of(scan.artifacts.begin(), scan.artifacts.end(),
                            [](const auto& row) { return !row.projectLastChange && row.kind.safety == Safety::safe; }));

    // A day later than the merge, the unused finished worktree is picked too.
    worktree(scan, "code/shop-checkout-redesign").isInUse = false;
    model->setScan(scan);
    model->selectDefaults(Clock::now());
    EXPECT_EQ(model->selectedWorktrees(), std::set<std::string>{inHome("code/shop-checkout-redesign")});
    model->selectDefaults(Clock::now() + std::chrono::hours(23));
    EXPECT_EQ(model->selectedWorktrees(),
              (std::set<std::string>{inHome("code/shop-checkout-redesign"), inHome("code/shop-fix-cart")}));
}

TEST_F(ProjectsFlow, AStoppedScanLeavesWhatWasThere)
{
    auto model = makeModel();
    machine.holdScan();
    model->scanProjects();
    ASSERT_TRUE(waitUntil([&] { return model->phase() == ProjectsModel::Phase{ProjectsModel::Scanning{
                                                                 ProjectScanner::CheckingWorktrees{2}}}; }));
    model->scanProjects(); // a second start during a scan does nothing
    model->stopScan();
    ASSERT_TRUE(waitUntil([&] { return std::holds_alternative<ProjectsModel::Idle>(model->phase()); }));
    EXPECT_FALSE(model->scan());
    EXPECT_EQ(machine.scans(), 1);

    machine.letScanFinish();
    scanToReady(*model);
    const ProjectScan first = *model->scan();
    machine.holdScan();
    model->scanProjects();
    EXPECT_EQ(model->scan(), first); // kept while the rescan runs
    model->stopScan();
    ASSERT_TRUE(waitUntil([&] { return model->isReady(); }));
    EXPECT_EQ(model->scan(), first);

    // New roots during a scan: what it finds afterwards is not theirs.
    model->scanProjects();
    model->setRoots({inHome("elsewhere")});
    model->scanProjects();
    ASSERT_TRUE(waitUntil([&] { return machine.scans() == 5; }));
    QTest::qWait(50);
    EXPECT_TRUE(model->isScanning());
    EXPECT_FALSE(model->scan());
    machine.letScanFinish();
    ASSERT_TRUE(waitUntil([&] { return model->isReady(); }));
}

TEST_F(ProjectsFlow, ARemovalCountsOnlyWhatWentAndRecordsIt)
{
    auto model = makeModel();
    scanToReady(*model);
    const std::string refused = inHome("code/ledger-service/target");
    machine.setFailure(refused, {refused, "Operation not permitted", CleanReport::Failure::Kind::failed});
    model->setSelectedArtifacts({inHome("code/shop/node_modules"), refused});
    model->setSelectedWorktrees({inHome("code/shop-checkout-redesign"), inHome("code/shop-payments")});
    const ProjectScan before = *model->scan();

    model->clean();
    EXPECT_TRUE(std::holds_alternative<ProjectsModel::Cleaning>(model->phase()));
    ASSERT_TRUE(waitUntil([&] { return model->isReady(); }));

    // The worktree with work in it was never tried; the refused folder stays picked.
    EXPECT_THAT(machine.performed(), ElementsAre(inHome("code/shop-checkout-redesign"), inHome("code/shop/node_modules"),
                                                 refused));
    const std::int64_t freed =
        before.freed({inHome("code/shop/node_modules")}, {inHome("code/shop-checkout-redesign")});
    ASSERT_TRUE(model->summary());
    EXPECT_EQ(model->summary()->freed, freed);
    EXPECT_EQ(model->summary()->failures.size(), 1u);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].source, "Projects");
    EXPECT_EQ(records[0].freedBytes, freed);
    EXPECT_THAT(records[0].items, ElementsAre("Worktree shop-checkout-redesign", "shop/node_modules"));
    EXPECT_EQ(records[0].failures, 1);
    EXPECT_EQ(model->selectedArtifacts(), std::set<std::string>{refused});
    EXPECT_EQ(model->scan()->artifacts.size(), before.artifacts.size() - 1);
    EXPECT_EQ(model->scan()->worktrees.size(), before.worktrees.size() - 1);

    // Nothing selected that can go: no summary, no record.
    model->setSummary(std::nullopt);
    model->setSelectedArtifacts({});
    model->clean();
    EXPECT_TRUE(model->isReady());
    EXPECT_FALSE(model->summary());
    EXPECT_EQ(records.size(), 1u);
}

TEST_F(ProjectsFlow, RootsAreKeptOnlyForTheUsersOwnHome)
{
    const ProjectsMachine::Roots chosen = {inHome("src"), inHome("work")};
    auto remembering = makeModel(true, ProjectsMachine::Roots{inHome("src")});
    EXPECT_THAT(remembering->roots(), ElementsAre(inHome("src")));
    scanToReady(*remembering);
    machine.setChosenFolders(chosen);
    remembering->chooseRoots();
    EXPECT_EQ(remembering->roots(), chosen);
    EXPECT_EQ(machine.storedRoots(), chosen);
    EXPECT_FALSE(remembering->scan());
    EXPECT_TRUE(std::holds_alternative<ProjectsModel::Idle>(remembering->phase()));

    auto other = makeModel(false, ProjectsMachine::Roots{inHome("elsewhere")});
    EXPECT_THAT(other->roots(), ElementsAre(inHome("code"))); // the usual folders
    other->setRoots({inHome("mine")});
    EXPECT_EQ(machine.storedRoots(), ProjectsMachine::Roots{inHome("elsewhere")});
}

TEST(ProjectsFlowOnDisk, RemovesAFinishedWorktreeWithGitAndAProjectsPackages)
{
    if (!test::hasGit())
        GTEST_SKIP() << "no git";
    const test::ScopedEnvironment noSystemConfig{"GIT_CONFIG_NOSYSTEM", "1"};
    const test::ScopedEnvironment noUserConfig{"GIT_CONFIG_GLOBAL", "/dev/null"};
    test::TemporaryFolder folder;
    // git names worktrees by their real path.
    const std::string realHome = std::filesystem::canonical(folder.path()).string();
    const std::string app = realHome + "/code/app";
    const std::string done = realHome + "/code/app-done";
    ASSERT_TRUE(test::makeRepositoryWithOrigin(app, realHome + "/origin.git", "node_modules/\n"));
    ASSERT_TRUE(test::commitFile(app, "package.json", "{}") && test::runGit(app, {"push", "-q", "origin", "main"}));
    ASSERT_TRUE(test::runGit(app, {"worktree", "add", "-q", "-b", "done", done}));
    folder.makeFile("code/app/node_modules/left-pad/index.js", 40'000);
    folder.makeFile("code/app-done/node_modules/left-pad/index.js", 40'000);

    ProjectsMachine machine = ProjectsMachine::live();
    machine.rememberedRoots = std::nullopt; // never the preferences of whoever runs the tests
    const PathGuard guardian = PathGuard::forHome(realHome);
    ProjectsModel model(machine, realHome, guardian);
    std::vector<CleanupRecord> records;
    model.onCleaned = [&](const CleanupRecord& record) { records.push_back(record); };
    model.setRoots({realHome + "/code"});
    model.scanProjects();
    ASSERT_TRUE(waitUntil([&] { return model.isReady(); }));

    ASSERT_EQ(model.removableWorktrees().size(), 1u);
    EXPECT_EQ(model.removableWorktrees()[0].worktree.summary(), "Merged into main");
    ASSERT_EQ(model.scan()->artifacts.size(), 1u); // the worktree's packages go with it
    model.setSelectedWorktrees({done});
    model.setSelectedArtifacts({app + "/node_modules"});
    const std::int64_t expected = model.selectedBytes();
    EXPECT_GE(expected, 80'000);
    model.clean();
    ASSERT_TRUE(waitUntil([&] { return model.isReady(); }));

    EXPECT_FALSE(std::filesystem::exists(done));
    EXPECT_FALSE(std::filesystem::exists(app + "/node_modules"));
    EXPECT_TRUE(std::filesystem::exists(app + "/package.json"));
    EXPECT_EQ(test::gitOutput(app, {"branch", "--list", "done"}), "  done"); // its commits stay on the branch
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].freedBytes, expected);
    EXPECT_THAT(records[0].items, ElementsAre("Worktree app-done", "app/node_modules"));
    EXPECT_TRUE(model.scan()->worktrees.empty());
    EXPECT_TRUE(model.scan()->artifacts.empty());
}

} // namespace
} // namespace tarno
