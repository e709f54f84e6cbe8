#include "Tarno/AppModel.hpp"

#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"

#include "Support/FileChecks.hpp"
#include "Support/RuleFamilyItems.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"
#include "TarnoTests/MadeUpMachine.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

namespace tarno {
namespace {

using test::idsOf;
using test::MadeUpMachine;
using test::madeUpItem;
using test::needingAdministrator;
using test::sizeOf;
using test::summaryOf;
using test::TemporaryFolder;
using test::waitUntil;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;
using Phase = CleanupModel::Phase;

// A made-up Mac with one item of every kind the flow treats differently.
class CleanupFlow : public ::testing::Test {
protected:
    CleanupFlow()
    {
        machine.catalog = {derivedData, archives, rootYarn, slack, logs, installers};
        machine.docker = DockerStatus::running(dockerCli, {.containers = 0, .images = 2'000'000'000,
                                                           .volumes = 500'000, .buildCache = 1'500'000'000});
        machine.toolItems = {homebrew};
        machine.fullDiskAccess = false;
        machine.setDisk(DiskUsage{.total = 500'000'000'000, .available = 120'000'000'000});
        machine.setSize(derivedData.id, 5'000'000);
        machine.setSize(archives.id, 3'000'000);
        machine.setSize(rootYarn.id, 7'000'000);
        machine.setSize(slack.id, 2'000'000);
        machine.setSize(logs.id, 10'000);
        machine.setSize(installers.id, 4'000'000);
        machine.setSize(homebrew.id, 6'000'000);
    }

    void TearDown() override
    {
        // A failed test must not leave the model's workers waiting at a gate.
        machine.letAllMeasure();
        machine.letAllClean();
        EXPECT_FALSE(machine.gateTimedOut());
    }

    CleanupModel& start()
    {
        createdModel = std::make_unique<AppModel>(machine.machine(historyFile));
        CleanupModel* model = createdModel->cleanup();
        QObject::connect(model, &CleanupModel::phaseChanged, model,
                         [this, model] { phases.push_back(model->phase()); });
        return *model;
    }

    // The application model, for the history and the disk.
    AppModel& app() { return *createdModel; }

    CleanupModel& startReady()
    {
        CleanupModel& model = start();
        model.scan();
        EXPECT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
        return model;
    }

    TemporaryFolder folder;
    const std::string home = folder.makeFolder("home");
    const std::string historyFile = folder / "history.json";
    const std::string dockerCli = "/usr/local/bin/docker";

    const CleanupItem derivedData = madeUpItem("xcode.derivedData", "Derived Data", CleanupCategory::xcode, Safety::safe,
        CleanupAction::DeleteContents{{home + "/Library/Developer/Xcode/DerivedData"}});
    const CleanupItem archives = madeUpItem("xcode.archives", "Archives", CleanupCategory::xcode, Safety::review,
        CleanupAction::Delete{{home + "/Library/Developer/Xcode/Archives/2024-01-01"}});
    const CleanupItem rootYarn = needingAdministrator(madeUpItem("javascript.rootYarn", "Root's Yarn Cache",
        CleanupCategory::javascript, Safety::safe, CleanupAction::Delete{{"/usr/local/share/Library/Caches/Yarn"}}));
    const CleanupItem slack = madeUpItem("apps.slack", "Slack cache", CleanupCategory::apps, Safety::safe,
        CleanupAction::DeleteContents{{home + "/Library/Caches/com.tinyspeck.slackmacgap"}});
    const CleanupItem logs = [this] {
        CleanupItem item = madeUpItem("leftovers.installerLogs", "Installer logs", CleanupCategory::leftovers,
                                      Safety::safe, CleanupAction::Delete{{home + "/Library/Logs/Installers"}});
        item.minimumBytesToShow = 1'000'000;
        return item;
    }();
    const CleanupItem installers = madeUpItem("downloads.installers", "Disk images", CleanupCategory::downloads,
        Safety::safe, CleanupAction::Trash{{home + "/Downloads/Setup.dmg"}});
    const CleanupItem homebrew = madeUpItem("homebrew.cache", "Homebrew downloads", CleanupCategory::developerTools,
        Safety::safe, CleanupAction::Run{"/usr/local/bin/brew", {"cleanup", "--prune=all"},
                                         {home + "/Library/Caches/Homebrew"}});

    MadeUpMachine machine{home};
    std::vector<Phase> phases;
    std::unique_ptr<AppModel> createdModel;
};

TEST_F(CleanupFlow, ScanMeasuresFourAtATimeAndListsEachItemAsItsMeasureEnds)
{
    machine.holdMeasuring();
    CleanupModel& model = start();
    model.scan();
    EXPECT_EQ(model.phase(), Phase::scanning);

    // The catalog arrives all at once and nothing shows until it is measured.
    ASSERT_TRUE(waitUntil([&] { return machine.measuringNow().size() == 4; }));
    EXPECT_THAT(machine.measuringNow(), UnorderedElementsAre(derivedData.id, archives.id, rootYarn.id, slack.id));
    EXPECT_EQ(model.items(), machine.catalog);
    EXPECT_EQ(model.selection(), (std::set{derivedData.id, slack.id, logs.id, installers.id}));
    EXPECT_TRUE(model.sizes().empty());
    EXPECT_TRUE(model.visibleItems().empty());
    EXPECT_FALSE(model.hasFullDiskAccess());

    // The fourth ends first: it shows alone, and the fifth takes its place.
    machine.letThrough(slack.id);
    ASSERT_TRUE(waitUntil([&] { return model.sizes().size() == 1; }));
    EXPECT_THAT(idsOf(model.visibleItems()), ElementsAre(slack.id));
    ASSERT_TRUE(waitUntil([&] { return machine.measuringNow().size() == 4; }));
    EXPECT_THAT(machine.measuringNow(), UnorderedElementsAre(derivedData.id, archives.id, rootYarn.id, logs.id));

    // The next row goes in at its catalog place, not at the end.
    machine.letThrough(derivedData.id);
    ASSERT_TRUE(waitUntil([&] { return model.sizes().size() == 2; }));
    EXPECT_THAT(idsOf(model.visibleItems()), ElementsAre(derivedData.id, slack.id));

    // Something visible is selected, but a clean waits for the scan to end.
    ASSERT_FALSE(model.selectedItems().empty());
    model.clean();
    EXPECT_EQ(model.phase(), Phase::scanning);

    machine.letAllMeasure();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    EXPECT_EQ(machine.mostMeasuringAtOnce(), 4);
    EXPECT_THAT(phases, ElementsAre(Phase::scanning, Phase::ready));
    EXPECT_TRUE(machine.performed().empty());

    // Docker's items and the tools' come behind the catalog's; what measures
    // below its minimum stays in items and in the selection, but nowhere else.
    EXPECT_THAT(idsOf(model.items()),
                ElementsAre(derivedData.id, archives.id, rootYarn.id, slack.id, logs.id, installers.id,
                            "docker.containers", "docker.images", "docker.volumes", "docker.buildCache", homebrew.id));
    EXPECT_THAT(idsOf(model.visibleItems()), ElementsAre(derivedData.id, archives.id, rootYarn.id, slack.id, installers.id,
                                                         "docker.images", "docker.buildCache", homebrew.id));
    EXPECT_THAT(model.categories(),
                ElementsAre(CleanupCategory::xcode, CleanupCategory::javascript, CleanupCategory::docker,
                            CleanupCategory::developerTools, CleanupCategory::apps, CleanupCategory::downloads));
    EXPECT_EQ(model.selection(),
              (std::set<std::string>{derivedData.id, slack.id, logs.id, installers.id, "docker.buildCache", homebrew.id}));
    EXPECT_THAT(idsOf(model.selectedItems()),
                ElementsAre(derivedData.id, slack.id, installers.id, "docker.buildCache", homebrew.id));
    EXPECT_EQ(model.safeBytes(), 5'000'000 + 2'000'000 + 4'000'000 + 1'500'000'000 + 6'000'000);
    EXPECT_EQ(model.sizes().at("docker.images").bytes, 2'000'000'000);
    EXPECT_EQ(model.dockerStatus(), machine.docker);

    // The scan read the disk; a refresh assigns the newest reading.
    const DiskUsage scanned{.total = 500'000'000'000, .available = 120'000'000'000};
    ASSERT_TRUE(waitUntil([&] { return app().disk() == scanned; }));
    const DiskUsage later{.total = 500'000'000'000, .available = 130'000'000'000};
    machine.setDisk(later);
    app().refreshDisk();
    ASSERT_TRUE(waitUntil([&] { return app().disk() == later; }));
}

TEST_F(CleanupFlow, CleanRemovesTheSelectionInOrderAndRecordsWhatItGained)
{
    CleanupModel& model = startReady();
    // A failing removal leaves all there is; the tool leaves a little behind.
    machine.setRemoval(slack.id, {.failures = {{slack.action.paths().front(), "permission denied"}}, .left = 2'000'000});
    machine.setRemoval("docker.images", {.failures = {{dockerCli, "exited with status 1"}}, .left = 0});
    machine.setRemoval(homebrew.id, {.failures = {}, .left = 1'000'000});

    // A review item picked by hand is cleaned; an administrator's item never is.
    std::set<std::string> selection = model.selection();
    selection.insert({"docker.images", rootYarn.id});
    model.setSelection(selection);
    EXPECT_THAT(idsOf(model.selectedItems()),
                ElementsAre(derivedData.id, slack.id, installers.id, "docker.images", "docker.buildCache", homebrew.id));

    std::vector<std::optional<QString>> titles;
    QObject::connect(&model, &CleanupModel::cleaningTitleChanged, &model,
                     [&] { titles.push_back(model.cleaningTitle()); });
    model.clean();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));

    EXPECT_THAT(machine.performed(),
                ElementsAre(derivedData.id, slack.id, installers.id, "docker.images", "docker.buildCache", homebrew.id));
    EXPECT_THAT(titles, ElementsAre(QStringLiteral("Derived Data"), QStringLiteral("Slack cache"),
                                    QStringLiteral("Disk images"), QStringLiteral("Images no container uses"),
                                    QStringLiteral("Build cache"), QStringLiteral("Homebrew downloads"), std::nullopt));
    EXPECT_THAT(phases, ElementsAre(Phase::scanning, Phase::ready, Phase::cleaning, Phase::ready));

    // The Trash's part is not free yet; Docker's part is free only once Docker lets go.
    const CleanSummary expected = summaryOf(5'000'000 + 1'500'000'000 + 5'000'000, 4'000'000, 1'500'000'000,
        {{slack.action.paths().front(), "permission denied"}, {dockerCli, "exited with status 1"}});
    EXPECT_EQ(model.cleanSummary(), expected);

    // Docker's sizes are the tool's word: kept after a failure, zero after
    // success, never measured again.
    EXPECT_EQ(model.sizes().at("docker.images").bytes, 2'000'000'000);
    EXPECT_EQ(model.sizes().at("docker.buildCache").bytes, 0);
    EXPECT_EQ(machine.measureCount("docker.images"), 1);
    EXPECT_EQ(machine.measureCount("docker.buildCache"), 1);
    // No rescan: what is gone drops out, what is left stays at its new size.
    EXPECT_THAT(idsOf(model.visibleItems()),
                ElementsAre(archives.id, rootYarn.id, slack.id, "docker.images", homebrew.id));
    EXPECT_EQ(model.sizes().at(homebrew.id).bytes, 1'000'000);
    EXPECT_EQ(model.selection(), selection);
    EXPECT_EQ(machine.catalogReadings(), 1);

    // The record counts the Trash as gained and names the item that failed.
    ASSERT_TRUE(waitUntil([&] { return !app().records().empty(); }));
    const std::vector<CleanupRecord> written = CleanupHistory::inFile(historyFile).load();
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written, app().records());
    EXPECT_EQ(written[0].source, "Cleanup");
    EXPECT_EQ(written[0].freedBytes, 1'514'000'000);
    EXPECT_THAT(written[0].items, ElementsAre("Derived Data", "Slack cache", "Disk images", "Images no container uses",
                                              "Build cache", "Homebrew downloads"));
    EXPECT_EQ(written[0].failures, 2);
    EXPECT_LT(std::chrono::system_clock::now() - written[0].date, std::chrono::minutes(1));

    // The next scan forgets the summary and reads everything afresh.
    model.scan();
    EXPECT_EQ(model.cleanSummary(), std::nullopt);
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    EXPECT_EQ(machine.catalogReadings(), 2);
    EXPECT_FALSE(model.selection().contains("docker.images"));
}

// A measure may end before the model has asked for its result, and then the
// result comes back at once: each scan must still list every item once.
TEST_F(CleanupFlow, ScansWhoseMeasuresEndAtOnceListEveryItemOnce)
{
    CleanupModel& model = start();
    const std::size_t expected = machine.catalog.size() + Docker::cleanupItems(machine.docker).size() + 1;
    for (int round = 0; round < 500; ++round) {
        SCOPED_TRACE(round);
        model.scan();
        ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
        const std::vector<std::string> ids = idsOf(model.items());
        ASSERT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size());
        ASSERT_EQ(ids.size(), expected);
    }
}

TEST_F(CleanupFlow, RequestsOutsideTheirPhaseAreDropped)
{
    CleanupModel& model = start();
    // Before any scan: a selection put in by hand is not cleaned.
    model.setItems({derivedData});
    model.setSizes({{derivedData.id, sizeOf(5'000'000)}});
    model.setSelection({derivedData.id});
    model.clean();
    model.cleanWithPassword(rootYarn);
    EXPECT_EQ(model.phase(), Phase::idle);

    model.scan();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    machine.holdCleaning();
    model.clean();
    ASSERT_TRUE(waitUntil([&] { return machine.performed().size() == 1; }));

    // A rescan, a second clean and the password road are all refused mid-clean.
    const std::vector<CleanupItem> itemsDuringClean = model.items();
    model.scan();
    model.clean();
    model.cleanWithPassword(rootYarn);
    EXPECT_EQ(model.phase(), Phase::cleaning);
    EXPECT_EQ(model.items(), itemsDuringClean);

    machine.letAllClean();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    EXPECT_EQ(machine.performed().size(), 5u);
    EXPECT_EQ(machine.catalogReadings(), 1);
    EXPECT_TRUE(machine.administratorCalls().empty());
    EXPECT_THAT(phases, ElementsAre(Phase::scanning, Phase::ready, Phase::cleaning, Phase::ready));
}

TEST_F(CleanupFlow, CleanWithPasswordEndsByTheAdministratorsAnswer)
{
    CleanupModel& model = startReady();
    const CleanupItem yarn = *model.item(rootYarn.id);
    const std::string yarnPath = "/usr/local/share/Library/Caches/Yarn";

    // A path the build's list does not name never reaches the prompt.
    CleanupItem elsewhere = yarn;
    elsewhere.action = CleanupAction::Delete{{"/usr/local/share/Library/Caches/Yarn/v6"}};
    model.cleanWithPassword(elsewhere);
    EXPECT_EQ(model.phase(), Phase::ready);
    EXPECT_TRUE(machine.administratorCalls().empty());

    // Dismissed: back to ready with no trace.
    machine.setAdministratorAnswer({AdminCleanup::Outcome::Kind::cancelled, {}});
    machine.holdCleaning();
    model.cleanWithPassword(yarn);
    EXPECT_EQ(model.phase(), Phase::cleaning);
    EXPECT_EQ(model.cleaningTitle(), QStringLiteral("Root's Yarn Cache"));
    machine.letAllClean();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    EXPECT_EQ(model.cleaningTitle(), std::nullopt);
    EXPECT_EQ(model.cleanSummary(), std::nullopt);
    EXPECT_THAT(idsOf(model.items(CleanupCategory::javascript)), ElementsAre(yarn.id));
    ASSERT_EQ(machine.administratorCalls().size(), 1u);
    EXPECT_THAT(machine.administratorCalls()[0].first, ElementsAre(yarnPath));
    EXPECT_EQ(machine.administratorCalls()[0].second, "Tarno needs your password to delete root's yarn cache.");

    // Refused for another reason: one failure on the first path.
    machine.setAdministratorAnswer({AdminCleanup::Outcome::Kind::failed, "The authorisation failed"});
    model.cleanWithPassword(yarn);
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    EXPECT_EQ(model.cleanSummary(), summaryOf(0, 0, 0, {{yarnPath, "The authorisation failed"}}));

    // Removed: the measured gain, and a record of it.
    machine.setAdministratorAnswer({});
    model.cleanWithPassword(yarn);
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    EXPECT_EQ(model.cleanSummary(), summaryOf(7'000'000));
    EXPECT_TRUE(model.items(CleanupCategory::javascript).empty());

    // The history is written in order, so one record means the two answers
    // before left none.
    ASSERT_TRUE(waitUntil([&] { return !app().records().empty(); }));
    const std::vector<CleanupRecord> written = CleanupHistory::inFile(historyFile).load();
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written[0].source, "Cleanup");
    EXPECT_EQ(written[0].freedBytes, 7'000'000);
    EXPECT_THAT(written[0].items, ElementsAre("Root's Yarn Cache"));
    EXPECT_EQ(written[0].failures, 0);
    EXPECT_EQ(app().records(), written);
    EXPECT_EQ(machine.administratorCalls().size(), 3u);
}

// The same road on real folders of a home laid out like a Mac.
TEST(CleanupFlowOnDisk, FreesWhatTheGuardAllowsAndReportsWhatItRefuses)
{
    TemporaryFolder root;
    const std::string home = root.makeFolder("home");
    // Keeps the guard's Trash inside the temporary home.
    test::ScopedEnvironment dataHome("XDG_DATA_HOME", home + "/.local/share");
    const std::string appCache = home + "/Library/Caches/com.example.Editor";
    const std::string project = home + "/Library/Developer/Xcode/DerivedData/Tarno-abcdef";
    root.makeFile("home/Library/Caches/com.example.Editor/blob", 200'000);
    root.makeFile("home/Library/Caches/com.example.Editor/Cache/deeper/page", 100'000);
    root.makeFile("home/Library/Developer/Xcode/DerivedData/Tarno-abcdef/Build/Products/app", 300'000);
    const std::string otherProject =
        root.makeFile("home/Library/Developer/Xcode/DerivedData/Other-123456/Build/app", 50'000);
    const std::string otherCache = root.makeFile("home/Library/Caches/com.example.Other/keep", 40'000);
    const std::string notes = root.makeFile("home/Documents/notes.txt", 60'000, 'n');

    const std::vector<CleanupItem> catalog{
        madeUpItem("apps.editor", "Editor cache", CleanupCategory::apps, Safety::safe,
                   CleanupAction::DeleteContents{{appCache}}),
        madeUpItem("xcode.derivedData", "Derived Data", CleanupCategory::xcode, Safety::safe,
                   CleanupAction::Delete{{project}}),
        // A catalog fault: the guard must stop it.
        madeUpItem("leftovers.documents", "Documents", CleanupCategory::leftovers, Safety::safe,
                   CleanupAction::Delete{{home + "/Documents"}}),
    };
    AppMachine machine = AppMachine::live(CleanupEnvironment::empty(home));
    machine.cleanup.catalog = [catalog](const CleanupEnvironment&) { return catalog; };

    AppModel app(machine);
    CleanupModel& model = *app.cleanup();
    model.scan();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));
    ASSERT_THAT(idsOf(model.selectedItems()), ElementsAre("apps.editor", "xcode.derivedData", "leftovers.documents"));
    const std::int64_t cacheBefore = model.sizes().at("apps.editor").bytes;
    const std::int64_t projectBefore = model.sizes().at("xcode.derivedData").bytes;
    EXPECT_GE(cacheBefore, 300'000);
    EXPECT_GE(projectBefore, 300'000);

    model.clean();
    ASSERT_TRUE(waitUntil([&] { return model.phase() == Phase::ready; }));

    EXPECT_TRUE(std::filesystem::is_empty(appCache));
    EXPECT_FALSE(test::exists(project));
    EXPECT_TRUE(test::exists(otherProject));
    EXPECT_TRUE(test::exists(otherCache));
    EXPECT_EQ(test::contentsOf(notes), std::string(60'000, 'n'));

    const std::int64_t cacheAfter = SizeScanner::measure({appCache}).bytes;
    EXPECT_EQ(model.sizes().at("apps.editor").bytes, cacheAfter);
    EXPECT_EQ(model.sizes().at("xcode.derivedData").bytes, 0);
    ASSERT_TRUE(model.cleanSummary().has_value());
    const CleanSummary& summary = *model.cleanSummary();
    EXPECT_EQ(summary.freed, cacheBefore - cacheAfter + projectBefore);
    EXPECT_EQ(summary.trashed, 0);
    ASSERT_EQ(summary.failures.size(), 1u);
    EXPECT_EQ(summary.failures[0].path, home + "/Documents");
    EXPECT_THAT(summary.failures[0].reason, HasSubstr("top-level folder"));
    EXPECT_THAT(idsOf(model.items(CleanupCategory::xcode)), ::testing::IsEmpty());
    EXPECT_THAT(idsOf(model.items(CleanupCategory::leftovers)), ElementsAre("leftovers.documents"));

    ASSERT_TRUE(waitUntil([&] { return !app.records().empty(); }));
    const std::vector<CleanupRecord> written = CleanupHistory(home).load();
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written[0].freedBytes, summary.freed);
    EXPECT_EQ(written[0].failures, 1);
}

} // namespace
} // namespace tarno
