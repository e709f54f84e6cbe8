#pragma once

#include "TarnoCore/Cleanup/CleanupCatalog.hpp"

#include <set>
#include <string>
#include <string_view>
#include <vector>

// The catalog's rule families, private to the catalog. Each looks under the
// environment's home and offers what it finds through the builder; the
// catalog runs them in its fixed order.
namespace tarno::RuleFamilies {

// Xcode's build data, device support, previews, simulators and archives, CocoaPods.
void xcode(CleanupCatalog::Builder& builder);

// Gradle, Android Studio's caches, and each emulator.
void android(CleanupCatalog::Builder& builder);

// Whether the system image that the emulator folder's config.ini names is
// installed in the home's Android SDK. A configuration that cannot be read, or
// names no image, counts as an image that exists.
bool avdSystemImageExists(const std::string& avd, const std::string& home);

// Device backups and the copies Mail makes of opened attachments; only with
// Full Disk Access, as both live where the system guards the user's privacy.
void personalData(CleanupCatalog::Builder& builder);

// One row per code editor: the folders it leaves behind when it is removed.
struct Editor {
    std::string name;
    std::vector<std::string> bundleIDs;
    // Desktop entry and Flatpak ids under which Linux installs the editor.
    std::vector<std::string> linuxIDs;
    std::vector<std::string> paths; // below the home
    std::string configFolder;       // below the config base folder
};
const std::vector<Editor>& editors();

// The settings and extensions of code editors that are no longer installed.
void leftovers(CleanupCatalog::Builder& builder);

// What applications that are gone left under their identifiers, one item per application.
void deletedApps(CleanupCatalog::Builder& builder);

// The installers' extensions, in lower case.
const std::set<std::string, std::less<>>& installerExtensions();

// Installers and disk images in the downloads folder, one item per file.
void downloads(CleanupCatalog::Builder& builder);

// Everything in the user's Trash.
void trash(CleanupCatalog::Builder& builder);

// Each application's cache that no other rule covers, and the logs. Runs last.
void appCaches(CleanupCatalog::Builder& builder);

} // namespace tarno::RuleFamilies
