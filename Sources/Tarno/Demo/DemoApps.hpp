#pragma once

#include "Tarno/ApplicationsMachine.hpp"

#include "TarnoCore/Apps/InstalledApps.hpp"

#include <vector>

// The demo developer's applications: a dozen of each kind (bundles, Flatpak
// apps, AppImages), with what each keeps in the home. One of them stays open
// when asked to quit, and some are installed for every user.
namespace tarno::Demo {

// Every application of the demo machine, in the order of their names.
std::vector<InstalledApp> installedApps();

// The section's part: the applications above, removals in memory.
ApplicationsMachine applicationsMachine();

} // namespace tarno::Demo
