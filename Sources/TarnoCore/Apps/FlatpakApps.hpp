#pragma once

#include "TarnoCore/Apps/InstalledApps.hpp"

#include <set>
#include <string>
#include <vector>

// The Flatpak apps installed on the machine, read from Flatpak's own folders
// without running it. Nothing is reported: what cannot be read is passed
// over. Safe on any thread.
namespace tarno::FlatpakApps {

// The deployed apps of Flatpak's app folders (Platform::flatpakAppFolders:
// one "<id>" folder per app, with its deployment at "<id>/current/active")
// whose id is not in `excluding`, in the Finder's order of their names. The
// same id installed system-wide and for the user is listed twice.
std::vector<InstalledApp> list(const std::vector<std::string>& appFolders, const std::set<std::string>& excluding);

} // namespace tarno::FlatpakApps
