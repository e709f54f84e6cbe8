#include "Tarno/AppModel.hpp"

#include "TarnoCore/Cleanup/CleanupHistory.hpp"

#include "Support/TemporaryFolder.hpp"
#include "TarnoTests/MadeUpMachine.hpp"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

namespace tarno {
namespace {

using Section = AppModel::Section;

using test::MadeUpMachine;
using test::madeUpItem;
using test::TemporaryFolder;
using test::waitUntil;

// What would make a quit wait: measuring and the tools' answers held until
// they are cancelled, a clean in the middle. Destroying the model must cancel and return at once.
TEST(AppModel, GoingAwayMidScanOrMidCleanIsPromptAndKeepsTheRecordOfWhatWasCleaned)
{
    TemporaryFolder folder;
    const std::string home = folder.makeFolder("home");
    MadeUpMachine machine(home);
    const CleanupItem first = madeUpItem("a", "First", CleanupCategory::apps, Safety::safe,
                                         CleanupAction::Delete{{home + "/a"}});
    const CleanupItem second = madeUpItem("b", "Second", CleanupCategory::apps, Safety::safe,
                                          CleanupAction::Delete{{home + "/b"}});
    machine.catalog = {first, second};
    machine.setSize(first.id, 1'000);
    machine.setSize(second.id, 2'000);

    {
        auto app = std::make_unique<AppModel>(machine.machine(folder / "history.json"));
        machine.holdMeasuring();
        app->cleanup()->scan();
        ASSERT_TRUE(waitUntil([&] { return machine.measuringNow().size() == 2; }));
        QElapsedTimer clock;
        clock.start();
        app.reset();
        EXPECT_LT(clock.elapsed(), 1000) << "the held measures must see the cancellation";
        machine.letAllMeasure();
    }
    {
        auto app = std::make_unique<AppModel>(machine.machine(folder / "history.json"));
        CleanupModel& cleanup = *app->cleanup();
        cleanup.scan();
        ASSERT_TRUE(waitUntil([&] { return cleanup.phase() == CleanupModel::Phase::ready; }));
        machine.holdCleaning();
        cleanup.clean();
        ASSERT_TRUE(waitUntil([&] { return machine.performed().size() == 1; }));
        // The first item is under way; the second must not start after the quit.
        std::thread letGo([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            machine.letAllClean();
        });
        app.reset();
        letGo.join();
        EXPECT_EQ(machine.performed(), std::vector<std::string>{first.id});
        const std::vector<CleanupRecord> written = CleanupHistory::inFile(folder / "history.json").load();
        ASSERT_EQ(written.size(), 1u);
        EXPECT_EQ(written[0].items, std::vector<std::string>{first.title});
        EXPECT_EQ(written[0].freedBytes, 1'000);
    }
    EXPECT_FALSE(machine.gateTimedOut());
}

TEST(AppModel, SectionNumbersAsQmlSeesThem)
{
    AppModel model(AppMachine::live(CleanupEnvironment::empty("/home/someone")));
    EXPECT_EQ(model.sectionNumber(), 0);

    model.setSectionNumber(3);
    EXPECT_EQ(model.section(), Section::largeFiles);
    EXPECT_EQ(model.shownSectionNumber(), 3);

    // None selected: the detail area shows the overview.
    model.setSectionNumber(-1);
    EXPECT_EQ(model.section(), std::nullopt);
    EXPECT_EQ(model.sectionNumber(), -1);
    EXPECT_EQ(model.shownSectionNumber(), 0);

    model.setSectionNumber(7);
    EXPECT_EQ(model.section(), std::nullopt);

    model.setPerformanceTabNumber(2);
    EXPECT_EQ(model.performanceTab(), AppModel::PerformanceTab::startup);
    model.setPerformanceTabNumber(3);
    EXPECT_EQ(model.performanceTab(), AppModel::PerformanceTab::startup);
}

TEST(AppModel, EnumerationsRoundTripTheirRawStrings)
{
    for (Section candidate : allSections)
        EXPECT_EQ(section(rawValue(candidate)), candidate);
    EXPECT_EQ(section(u"Overview"), std::nullopt);

    QStringList tabs;
    for (AppModel::PerformanceTab candidate : allPerformanceTabs) {
        tabs.append(rawValue(candidate));
        EXPECT_EQ(performanceTab(rawValue(candidate)), candidate);
    }
    EXPECT_EQ(tabs, (QStringList{QStringLiteral("Apps"), QStringLiteral("Developer Tools"), QStringLiteral("Startup Items")}));
    EXPECT_EQ(performanceTab(u"apps"), std::nullopt);
}

} // namespace
} // namespace tarno
