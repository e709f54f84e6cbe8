#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

// What an installed application is on disk, which decides how it is removed.
enum class AppKind {
    bundle,   // a ".app" folder, moved to the Trash
    flatpak,  // a Flatpak app's folder, uninstalled by Flatpak
    appImage, // one AppImage file, moved to the Trash
};

// One application and what the system needs to know of it.
struct InstalledApp {
    std::string path;                   // the ".app" bundle, Flatpak app folder or AppImage file; its identity
    std::string name;                   // the bundle's file name without ".app", or the name the app shows
    std::string bundleID;               // CFBundleIdentifier or the Flatpak app id; never empty
    std::optional<std::string> version; // CFBundleShortVersionString, or the newest release the app lists
    std::optional<std::chrono::system_clock::time_point> lastOpened;
    bool needsPassword = false;         // the current user cannot write to where `path` lies
    AppKind kind = AppKind::bundle;
    std::optional<std::string> icon;    // an image file, or a name in the desktop's icon theme
    std::vector<std::string> ownFiles;  // what it installed for itself elsewhere: an AppImage's desktop entry and icon

    bool operator==(const InstalledApp&) const = default;
};

// Finds the application bundles in folders and reads their Info.plist. Nothing
// is reported: what cannot be read is passed over. Safe on any thread.
namespace InstalledApps {

using LastOpened = std::function<std::optional<std::chrono::system_clock::time_point>(const std::string& path)>;

// When the app at `path` was last used, as the system's file index knows it.
std::optional<std::chrono::system_clock::time_point> spotlightLastOpened(const std::string& path);

// The bundles in `folders` with a non-empty identifier that is not in
// `excluding`, in the Finder's order of their names.
std::vector<InstalledApp> list(const std::vector<std::string>& folders, const std::set<std::string>& excluding,
                               const LastOpened& lastOpened = spotlightLastOpened);

// The identifier of every bundle that has one as a string, empty ones
// included, in the order of `bundles`; duplicates kept.
std::vector<std::string> bundleIDs(const std::vector<std::string>& folders);

// The first bundle in `folders` whose identifier is `bundleID`.
std::optional<std::string> bundleWithID(const std::vector<std::string>& folders, const std::string& bundleID);

// Paths of the bundles: each folder in order, its entries in plain name
// order, a "Name.app" folder as it is and the ".app" folders one level
// down in any other folder. Links are neither bundles nor searched.
std::vector<std::string> bundles(const std::vector<std::string>& folders);

// Where the cleanup catalog looks for installed applications.
std::vector<std::string> cleanupFolders(const std::string& home);

} // namespace InstalledApps

} // namespace tarno
