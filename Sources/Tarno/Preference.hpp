#pragma once

#include <QLatin1StringView>
#include <QVariantMap>

namespace tarno {

class Preferences;

// The preference keys, their registered defaults and the two start-up steps.
namespace Preference {

inline constexpr QLatin1StringView showInMenuBar{"showInMenuBar"};
inline constexpr QLatin1StringView alertWhenMemoryIsTight{"alertWhenMemoryIsTight"};
inline constexpr QLatin1StringView alertWhenDiskIsLow{"alertWhenDiskIsLow"};
inline constexpr QLatin1StringView weeklyReport{"weeklyReport"};
inline constexpr QLatin1StringView weeklyAutoClean{"weeklyAutoClean"};
inline constexpr QLatin1StringView alertWhenDevServerIsIdle{"alertWhenDevServerIsIdle"};
inline constexpr QLatin1StringView devServerIdleHours{"devServerIdleHours"};
inline constexpr QLatin1StringView stopIdleDevServers{"stopIdleDevServers"};
inline constexpr QLatin1StringView applePersistenceIgnoreState{"ApplePersistenceIgnoreState"};

// Every key with the value it has until the user changes it.
QVariantMap defaults();

// Makes defaults() the answer of `preferences` for keys its store does not hold.
void registerDefaults(Preferences& preferences);

// Brings back a menu bar item that the user dragged away.
void showMenuBarItemIfWanted(const Preferences& preferences);

} // namespace Preference
} // namespace tarno
