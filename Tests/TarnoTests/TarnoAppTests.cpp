#include "Tarno/TarnoApp.hpp"

#include "Support/TemporaryFolder.hpp"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSettings>
#include <QTest>

#include <gtest/gtest.h>

namespace tarno {
namespace {

using Section = AppModel::Section;
using test::TemporaryFolder;

class TarnoAppTest : public testing::Test {
protected:
    TarnoAppTest() { m_folder.makeFolder("home"); }

    std::unique_ptr<TarnoApp> makeApp(LaunchOptions options)
    {
        return std::make_unique<TarnoApp>(std::move(options), std::make_unique<QSettings>(storePath(), QSettings::IniFormat),
                                          [this] { return AppMachine::live(CleanupEnvironment::empty(m_folder / "home")); });
    }
    QString storePath() const { return QString::fromStdString(m_folder / "Tarno.conf"); }

    TemporaryFolder m_folder;
};

TEST_F(TarnoAppTest, StartsWithDefaultsRegisteredAndNoTrayToKeepItAlive)
{
    auto app = makeApp({});
    EXPECT_EQ(app->model()->home(), m_folder / "home");
    EXPECT_TRUE(app->preferences()->showInMenuBar());
    app->preferences()->sync();
    EXPECT_TRUE(QSettings(storePath(), QSettings::IniFormat).allKeys().isEmpty());

    // The offscreen platform has no system tray: with the item wanted, the
    // process must still end with its last window.
    EXPECT_FALSE(app->isMenuBarItemShown());
    EXPECT_TRUE(QGuiApplication::quitOnLastWindowClosed());
    app->preferences()->setShowInMenuBar(false);
    app->preferences()->setShowInMenuBar(true);
    EXPECT_TRUE(QGuiApplication::quitOnLastWindowClosed());
}

TEST_F(TarnoAppTest, LaunchOptionsApplyOnceWhenTheContentFirstAppears)
{
    LaunchOptions options;
    options.section = Section::cleanup;
    options.appearance = LaunchOptions::Appearance::dark;
    auto app = makeApp(options);
    app->setDarkAppearance(false);
    EXPECT_EQ(app->model()->section(), Section::overview);

    app->mainContentAppeared();
    EXPECT_EQ(app->model()->section(), Section::cleanup);
    EXPECT_TRUE(app->darkAppearance());
    // The first scan starts by itself, with a reading of the disk.
    EXPECT_EQ(app->model()->cleanup()->phase(), CleanupModel::Phase::scanning);
    EXPECT_TRUE(QTest::qWaitFor([&] {
        return app->model()->cleanup()->phase() == CleanupModel::Phase::ready && app->model()->disk().has_value();
    }, 30'000));

    app->model()->setSection(Section::projects);
    app->setDarkAppearance(false);
    app->mainContentAppeared();
    EXPECT_EQ(app->model()->section(), Section::projects);
    EXPECT_FALSE(app->darkAppearance());

    // Without the options, appearing leaves both alone.
    auto plain = makeApp({});
    plain->setDarkAppearance(true);
    plain->mainContentAppeared();
    EXPECT_EQ(plain->model()->section(), Section::overview);
    EXPECT_TRUE(plain->darkAppearance());
}

TEST_F(TarnoAppTest, MainWindowFollowsTheModelBothWaysAndTakesShortcuts)
{
    LaunchOptions options;
    options.section = Section::duplicates;
    auto app = makeApp(options);
    QQmlApplicationEngine engine;
    QQuickWindow* window = app->loadMainWindow(engine);
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    EXPECT_EQ(window->objectName(), QStringLiteral("main"));
    EXPECT_EQ(window->title(), QStringLiteral("Tarno"));
    // The window's content applied --section as it appeared.
    EXPECT_EQ(app->model()->section(), Section::duplicates);

    auto* sidebar = window->findChild<QQuickItem*>(QStringLiteral("sidebar"));
    ASSERT_NE(sidebar, nullptr);
    EXPECT_EQ(sidebar->property("count").toInt(), 7);
    EXPECT_EQ(sidebar->property("currentIndex").toInt(), 4);

    app->model()->setSection(Section::performance);
    EXPECT_EQ(sidebar->property("currentIndex").toInt(), 6);
    app->model()->setSection(std::nullopt);
    EXPECT_EQ(sidebar->property("currentIndex").toInt(), -1);

    // A click on a row selects its section.
    QQuickItem* row = nullptr;
    ASSERT_TRUE(QMetaObject::invokeMethod(sidebar, "itemAtIndex", Q_RETURN_ARG(QQuickItem*, row), Q_ARG(int, 2)));
    ASSERT_NE(row, nullptr);
    const QPointF centre = row->mapToScene(QPointF(row->width() / 2, row->height() / 2));
    QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
    EXPECT_EQ(app->model()->section(), Section::projects);

    window->requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    QTest::keyClick(window, Qt::Key_4, Qt::ControlModifier);
    EXPECT_EQ(app->model()->section(), Section::largeFiles);
    QTest::keyClick(window, Qt::Key_1, Qt::ControlModifier);
    EXPECT_EQ(app->model()->section(), Section::overview);
    QTest::keyClick(window, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(window->isVisible());

    // The menu bar item's "Open Tarno" brings it back.
    app->showMainWindow();
    EXPECT_TRUE(window->isVisible());
}

} // namespace
} // namespace tarno
