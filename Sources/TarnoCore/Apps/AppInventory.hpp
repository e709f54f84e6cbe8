#pragma once

#include "TarnoCore/Apps/InstalledApps.hpp"

#include <chrono>
#include <set>
#include <string>
#include <vector>

// The applications of one home, of every kind this platform installs whole:
// ".app" bundles, Flatpak apps (the system's and the user's) and AppImages.
// What the Applications section and `tarno-cli apps` both list.
namespace tarno::AppInventory {

// Bundles in the system's and the home's Applications folders, Flatpak apps,
// and AppImages in the home's Applications and .local/bin, in the order of
// their names, less those whose identifier is in `excluding`.
std::vector<InstalledApp> list(const std::string& home, const std::set<std::string>& excluding);

// What the app keeps besides itself, in the order to show: what it installed
// for itself, then its footprint in the home. `others` are the identifiers
// of the other installed applications.
std::vector<std::string> parts(const InstalledApp& app, const std::string& home, bool includeContainers,
                               const std::vector<std::string>& others);

// Asks every running process of the app to quit (never forcing one) and
// waits for them, `passes` looks `interval` apart; true when none is left.
bool quit(const InstalledApp& app, int passes = 40, std::chrono::milliseconds interval = std::chrono::milliseconds(250));

} // namespace tarno::AppInventory
