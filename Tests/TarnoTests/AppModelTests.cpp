#include "Tarno/AppModel.hpp"

#include <QSignalSpy>

#include <gtest/gtest.h>

#include <functional>

namespace tarno {
namespace {

using Section = AppModel::Section;

SizeResult sizeOf(std::int64_t bytes)
{
    SizeResult size;
    size.bytes = bytes;
    size.files = 1;
    return size;
}

TEST(AppModel, StartsWithTheInitialValues)
{
    AppModel model(AppMachine::live(CleanupEnvironment::empty("/home/someone")));
    EXPECT_EQ(model.environment().home, "/home/someone");
    EXPECT_EQ(model.section(), Section::overview);
    EXPECT_EQ(model.performanceTab(), AppModel::PerformanceTab::apps);
    EXPECT_FALSE(model.isConfirmingClean());
    EXPECT_EQ(model.cleanupPhase(), AppModel::CleanupPhase::idle);
    EXPECT_TRUE(model.items().empty());
    EXPECT_TRUE(model.sizes().empty());
    EXPECT_TRUE(model.selection().empty());
    EXPECT_EQ(model.cleaningTitle(), std::nullopt);
    EXPECT_TRUE(model.hasFullDiskAccess());
    EXPECT_EQ(model.dockerStatus(), DockerStatus::notInstalled());
    EXPECT_EQ(model.largeFilePhase(), AppModel::SearchPhase::idle);
    EXPECT_EQ(model.filesExamined(), 0);
    EXPECT_EQ(model.largeFileThreshold(), 500'000'000);
}

// Setting the current value again emits nothing; a new value emits once.
void expectSignalOnlyOnChange(AppModel& model, void (AppModel::*signal)(), const char* name,
                              const std::function<void()>& setCurrent, const std::function<void()>& setNew)
{
    SCOPED_TRACE(name);
    QSignalSpy spy(&model, signal);
    setCurrent();
    EXPECT_EQ(spy.count(), 0);
    setNew();
    EXPECT_EQ(spy.count(), 1);
    setNew();
    EXPECT_EQ(spy.count(), 1);
}

TEST(AppModel, PropertiesSignalOnlyOnRealChange)
{
    AppModel model(AppMachine::live(CleanupEnvironment::empty("/home/someone")));
    CleanupItem item;
    item.id = "xcode.derivedData";
    item.title = "Derived data";

    expectSignalOnlyOnChange(model, &AppModel::sectionChanged, "section",
        [&] { model.setSection(Section::overview); }, [&] { model.setSection(std::nullopt); });
    expectSignalOnlyOnChange(model, &AppModel::sectionChanged, "section number",
        [&] { model.setSectionNumber(-1); }, [&] { model.setSectionNumber(6); });
    expectSignalOnlyOnChange(model, &AppModel::performanceTabChanged, "performanceTab",
        [&] { model.setPerformanceTab(AppModel::PerformanceTab::apps); },
        [&] { model.setPerformanceTab(AppModel::PerformanceTab::startup); });
    expectSignalOnlyOnChange(model, &AppModel::isConfirmingCleanChanged, "isConfirmingClean",
        [&] { model.setConfirmingClean(false); }, [&] { model.setConfirmingClean(true); });
    expectSignalOnlyOnChange(model, &AppModel::cleanupPhaseChanged, "cleanupPhase",
        [&] { model.setCleanupPhase(AppModel::CleanupPhase::idle); },
        [&] { model.setCleanupPhase(AppModel::CleanupPhase::scanning); });
    expectSignalOnlyOnChange(model, &AppModel::itemsChanged, "items",
        [&] { model.setItems({}); }, [&] { model.setItems({item}); });
    expectSignalOnlyOnChange(model, &AppModel::sizesChanged, "sizes",
        [&] { model.setSizes({}); }, [&] { model.setSizes({{item.id, sizeOf(4096)}}); });
    expectSignalOnlyOnChange(model, &AppModel::selectionChanged, "selection",
        [&] { model.setSelection({}); }, [&] { model.setSelection({item.id}); });
    expectSignalOnlyOnChange(model, &AppModel::cleaningTitleChanged, "cleaningTitle",
        [&] { model.setCleaningTitle(std::nullopt); }, [&] { model.setCleaningTitle(QStringLiteral("Derived data")); });
    expectSignalOnlyOnChange(model, &AppModel::hasFullDiskAccessChanged, "hasFullDiskAccess",
        [&] { model.setHasFullDiskAccess(true); }, [&] { model.setHasFullDiskAccess(false); });
    expectSignalOnlyOnChange(model, &AppModel::dockerStatusChanged, "dockerStatus",
        [&] { model.setDockerStatus(DockerStatus::notInstalled()); },
        [&] { model.setDockerStatus(DockerStatus::running("/usr/bin/docker", {.images = 1})); });
    expectSignalOnlyOnChange(model, &AppModel::largeFilePhaseChanged, "largeFilePhase",
        [&] { model.setLargeFilePhase(AppModel::SearchPhase::idle); },
        [&] { model.setLargeFilePhase(AppModel::SearchPhase::searching); });
    expectSignalOnlyOnChange(model, &AppModel::filesExaminedChanged, "filesExamined",
        [&] { model.setFilesExamined(0); }, [&] { model.setFilesExamined(1200); });
    expectSignalOnlyOnChange(model, &AppModel::largeFileThresholdChanged, "largeFileThreshold",
        [&] { model.setLargeFileThreshold(500'000'000); }, [&] { model.setLargeFileThreshold(100'000'000); });

    // A change inside a value is a change: same id, new size.
    QSignalSpy sizes(&model, &AppModel::sizesChanged);
    model.setSizes({{item.id, sizeOf(8192)}});
    EXPECT_EQ(sizes.count(), 1);
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
