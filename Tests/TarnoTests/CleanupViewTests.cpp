#include "Tarno/CleanupScreen.hpp"
#include "Tarno/TarnoApp.hpp"

#include "Support/FileChecks.hpp"
#include "Support/TemporaryFolder.hpp"

#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"

#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSettings>
#include <QTest>

#include <gtest/gtest.h>

namespace tarno {
namespace {

using Phase = CleanupModel::Phase;
using test::TemporaryFolder;

// Clicks the middle of an item of the window, found by its object name.
bool clickItem(QQuickWindow* window, const char* name)
{
    auto* item = window->findChild<QQuickItem*>(QString::fromLatin1(name));
    if (item == nullptr || !item->isVisible() || !item->isEnabled())
        return false;
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
    return true;
}

// The whole road through the real window on a made-up home: the first scan
// starts by itself, the user confirms, the space goes, the summary shows and
// the history keeps the record.
LaunchOptions cleanupSection()
{
    LaunchOptions options;
    options.section = AppModel::Section::cleanup;
    return options;
}

TEST(CleanupView, ScanConfirmCleanAndSummaryThroughTheWindow)
{
    TemporaryFolder folder;
    const std::string home = folder.makeFolder("home");
    folder.makeFile("home/Library/Developer/Xcode/DerivedData/App-abc/Build/objects.o", 2 << 20);
    folder.makeFile("home/Library/Caches/CocoaPods/Pods/pod.tar", 1 << 20);
    folder.makeFile("home/Library/Developer/Xcode/Archives/2026/App.xcarchive/App", 1 << 20);
    folder.makeFile("home/Documents/notes.txt", 10);

    TarnoApp app(cleanupSection(),
                 std::make_unique<QSettings>(QString::fromStdString(folder / "Tarno.conf"), QSettings::IniFormat),
                 [&] { return AppMachine::live(CleanupEnvironment::empty(home)); });
    QQmlApplicationEngine engine;
    QQuickWindow* window = app.loadMainWindow(engine);
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    CleanupModel& model = *app.model()->cleanup();
    ASSERT_TRUE(QTest::qWaitFor([&] { return model.phase() == Phase::ready; }, 30'000));

    auto* screen = window->findChild<CleanupScreen*>();
    ASSERT_NE(screen, nullptr);
    ASSERT_EQ(screen->content(), CleanupScreen::Content::List);
    // DerivedData and CocoaPods are picked; the archives are the user's call.
    EXPECT_EQ(screen->footerText(), QStringLiteral("2 items selected"));
    const std::int64_t selectedBytes = model.sizes().at("xcode.derivedData").bytes + model.sizes().at("xcode.cocoapods").bytes;

    // Escape on the sheet is a cancel; the second time, Clean goes ahead.
    ASSERT_TRUE(clickItem(window, "cleanButton"));
    ASSERT_TRUE(model.isConfirmingClean());
    ASSERT_TRUE(QTest::qWaitFor([&] { return window->findChild<QQuickItem*>(QStringLiteral("confirmButton"))->isVisible(); }));
    window->requestActivate();
    QTest::keyClick(window, Qt::Key_Escape);
    EXPECT_FALSE(model.isConfirmingClean());
    EXPECT_EQ(model.phase(), Phase::ready);

    ASSERT_TRUE(clickItem(window, "cleanButton"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return window->findChild<QQuickItem*>(QStringLiteral("confirmButton"))->isVisible(); }));
    ASSERT_TRUE(clickItem(window, "confirmButton"));
    EXPECT_FALSE(model.isConfirmingClean());
    ASSERT_TRUE(QTest::qWaitFor([&] { return model.phase() == Phase::ready && model.cleanSummary(); }, 30'000));

    EXPECT_TRUE(test::exists(home + "/Library/Developer/Xcode/DerivedData"));
    EXPECT_FALSE(test::exists(home + "/Library/Developer/Xcode/DerivedData/App-abc"));
    EXPECT_FALSE(test::exists(home + "/Library/Caches/CocoaPods"));
    EXPECT_TRUE(test::exists(home + "/Library/Developer/Xcode/Archives/2026/App.xcarchive/App"));
    EXPECT_EQ(test::contentsOf(home + "/Documents/notes.txt"), std::string(10, 'x'));

    EXPECT_EQ(model.cleanSummary()->freed, selectedBytes);
    EXPECT_TRUE(screen->showsSummary());
    EXPECT_EQ(screen->summaryTitle(), QStringLiteral("Freed ") + QString::fromStdString(ByteFormat::string(selectedBytes)));
    // What was cleaned drops out of the list; the archives stay.
    EXPECT_EQ(model.visibleItems().size(), 1u);
    EXPECT_EQ(screen->footerText(), QStringLiteral("0 items selected"));

    ASSERT_TRUE(QTest::qWaitFor([&] { return !app.model()->records().empty(); }, 10'000));
    const std::vector<CleanupRecord> records = CleanupHistory(home).load();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records.front().source, "Cleanup");
    EXPECT_EQ(records.front().freedBytes, selectedBytes);
    EXPECT_EQ(records.front().items, (std::vector<std::string>{"Build data (DerivedData)", "CocoaPods cache"}));

    // Ctrl+R scans again, which takes the summary away.
    window->requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    QTest::keyClick(window, Qt::Key_R, Qt::ControlModifier);
    EXPECT_FALSE(model.cleanSummary().has_value());
    ASSERT_TRUE(QTest::qWaitFor([&] { return model.phase() == Phase::ready; }, 30'000));
}

} // namespace
} // namespace tarno
