#include "Tarno/Preference.hpp"

#include "Tarno/Preferences.hpp"

namespace tarno::Preference {

QVariantMap defaults()
{
    return {
        {showInMenuBar, true},
        {alertWhenMemoryIsTight, true},
        {alertWhenDiskIsLow, true},
        {weeklyReport, true},
        {weeklyAutoClean, false},
        {alertWhenDevServerIsIdle, true},
        {devServerIdleHours, 2},
        {stopIdleDevServers, false},
        {applePersistenceIgnoreState, true},
    };
}

void registerDefaults(Preferences& preferences)
{
    preferences.registerDefaults(defaults());
}

void showMenuBarItemIfWanted(const Preferences&)
{
    // Nothing to undo here: a tray icon cannot be dragged away, so the store
    // keeps no hidden-item key to clear.
}

} // namespace tarno::Preference
