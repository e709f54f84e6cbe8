#pragma once

#include "TarnoCore/Platform/Locations.hpp"

#include <optional>
#include <string>
#include <vector>

// Which items of a home belong to one application and to no other. A wrong
// answer removes another program's data, so the rule is strict: an item
// belongs when its name is the application's identifier, or that identifier
// and a dot and more, unless a longer identifier of another installed
// application claims it; a plain-name match counts only in a few folders, on
// the whole name, for names of three characters or more.
// Pure functions of their arguments and the disk; safe on any thread.
namespace tarno::AppFootprint {

// The absolute paths of the items that belong to the application, sorted,
// without duplicates. `name` is its plain name, or nothing to match by
// identifier alone. `folders` are the home's base folders, where Linux
// programs keep what a Mac keeps in the Library. `others` holds the
// identifiers of the other installed applications. The containers are read
// only when `includeContainers` is true.
std::vector<std::string> paths(const std::string& bundleID, const std::optional<std::string>& name,
                               const std::string& home, const Platform::UserFolders& folders, bool includeContainers,
                               const std::vector<std::string>& others);

// At least three dot-separated parts, none empty, the first starting with a
// letter, and nothing but ASCII letters, digits and "-".
bool looksLikeBundleID(const std::string& name);

// The maker's part of an identifier: its first two parts, in lower case.
std::string vendor(const std::string& bundleID);

// A name a person would recognise for an application that is gone.
std::string guessedName(const std::string& bundleID);

} // namespace tarno::AppFootprint
