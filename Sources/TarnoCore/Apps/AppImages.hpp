#pragma once

#include "TarnoCore/Apps/InstalledApps.hpp"

#include <string>
#include <vector>

// The AppImages a user keeps: single files that carry an application, with
// whatever desktop entries and icons were installed for them. Nothing is
// reported: what cannot be read is passed over. Safe on any thread.
namespace tarno::AppImages {

// The AppImages directly in `folders` (not in their subfolders), in the
// Finder's order of their names. Their desktop entries and icons are looked
// for in `dataHome` ("<dataHome>/applications", "<dataHome>/icons/hicolor").
std::vector<InstalledApp> list(const std::vector<std::string>& folders, const std::string& dataHome);

} // namespace tarno::AppImages
