#include "Tarno/Preference.hpp"
#include "Tarno/Preferences.hpp"

#include "Support/TemporaryFolder.hpp"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace tarno {
namespace {

using test::TemporaryFolder;

QString storePath(const TemporaryFolder& folder)
{
    return QString::fromStdString(folder / "Tarno.conf");
}

std::unique_ptr<QSettings> storeIn(const TemporaryFolder& folder)
{
    return std::make_unique<QSettings>(storePath(folder), QSettings::IniFormat);
}

TEST(Preferences, RegisteredDefaultsAnswerWithoutBeingWritten)
{
    TemporaryFolder folder;
    Preferences preferences(storeIn(folder));
    EXPECT_FALSE(preferences.value(Preference::showInMenuBar).isValid());

    Preference::registerDefaults(preferences);
    EXPECT_TRUE(preferences.boolValue(Preference::showInMenuBar));
    EXPECT_TRUE(preferences.showInMenuBar());
    EXPECT_TRUE(preferences.boolValue(Preference::alertWhenMemoryIsTight));
    EXPECT_TRUE(preferences.boolValue(Preference::alertWhenDiskIsLow));
    EXPECT_TRUE(preferences.boolValue(Preference::weeklyReport));
    EXPECT_FALSE(preferences.boolValue(Preference::weeklyAutoClean));
    EXPECT_TRUE(preferences.boolValue(Preference::alertWhenDevServerIsIdle));
    EXPECT_EQ(preferences.intValue(Preference::devServerIdleHours), 2);
    EXPECT_FALSE(preferences.boolValue(Preference::stopIdleDevServers));
    EXPECT_TRUE(preferences.boolValue(QStringLiteral("ApplePersistenceIgnoreState")));
    EXPECT_EQ(Preference::defaults().size(), 9);
    EXPECT_FALSE(preferences.value(QStringLiteral("noSuchKey")).isValid());

    preferences.sync();
    EXPECT_TRUE(QSettings(storePath(folder), QSettings::IniFormat).allKeys().isEmpty());
}

TEST(Preferences, StoredValuesOutliveTheInstanceAndBeatDefaults)
{
    TemporaryFolder folder;
    {
        Preferences preferences(storeIn(folder));
        Preference::registerDefaults(preferences);
        preferences.setValue(Preference::weeklyAutoClean, true);
        preferences.setValue(Preference::devServerIdleHours, 5);
        preferences.setShowInMenuBar(false);
    }

    Preferences preferences(storeIn(folder));
    Preference::registerDefaults(preferences);
    EXPECT_TRUE(preferences.boolValue(Preference::weeklyAutoClean));
    EXPECT_EQ(preferences.intValue(Preference::devServerIdleHours), 5);
    EXPECT_FALSE(preferences.showInMenuBar());
    EXPECT_TRUE(preferences.boolValue(Preference::weeklyReport));

    preferences.removeValue(Preference::showInMenuBar);
    EXPECT_TRUE(preferences.showInMenuBar());
}

TEST(Preferences, SignalsOnlyWhenTheAnswerChanges)
{
    TemporaryFolder folder;
    {
        Preferences writer(storeIn(folder));
        writer.setValue(Preference::showInMenuBar, true);
    }

    // The stored value comes back from disk as text; setting the same value is no change.
    Preferences preferences(storeIn(folder));
    QSignalSpy menuBar(&preferences, &Preferences::showInMenuBarChanged);
    QSignalSpy values(&preferences, &Preferences::valueChanged);
    preferences.setShowInMenuBar(true);
    EXPECT_EQ(menuBar.count(), 0);

    // A default under a stored value changes no answer; defaults of unset keys do.
    Preference::registerDefaults(preferences);
    EXPECT_EQ(menuBar.count(), 0);
    EXPECT_EQ(values.count(), Preference::defaults().size() - 1);

    preferences.setShowInMenuBar(false);
    EXPECT_EQ(menuBar.count(), 1);
    preferences.setShowInMenuBar(false);
    EXPECT_EQ(menuBar.count(), 1);

    values.clear();
    preferences.setValue(Preference::weeklyReport, false);
    EXPECT_EQ(menuBar.count(), 1);
    ASSERT_EQ(values.count(), 1);
    EXPECT_EQ(values.at(0).at(0).toString(), QStringLiteral("weeklyReport"));

    // Forgetting the stored false falls back to the default true.
    preferences.removeValue(Preference::showInMenuBar);
    EXPECT_EQ(menuBar.count(), 2);
    EXPECT_TRUE(preferences.showInMenuBar());
}

} // namespace
} // namespace tarno
