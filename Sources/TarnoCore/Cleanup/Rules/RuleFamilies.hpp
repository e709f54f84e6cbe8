#pragma once

#include "TarnoCore/Cleanup/CleanupCatalog.hpp"

#include <cstdint>
#include <optional>
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
// installed in the home's Android SDK (Library/Android/sdk or Android/Sdk). A configuration that cannot be read, or
// names no image, counts as an image that exists.
bool avdSystemImageExists(const std::string& avd, const std::string& home);

// The system image folder ("image.sysdir.1") of a config.ini's text, relative
// to the SDK; nothing when no line names one.
std::optional<std::string> avdSystemImage(std::string_view configuration);

// npm's cache, Yarn's (the user's and root's), Puppeteer's and Playwright's
// browsers, node-gyp and TypeScript.
void javascript(CleanupCatalog::Builder& builder);

// The cache folder that npm's configuration names: the first "cache" line of
// home + "/.npmrc", then of each global file, decides. "~" and "${HOME}" stand
// for the home; a folder outside the home gives nothing.
std::optional<std::string> npmCacheFolder(const std::string& home, const std::vector<std::string>& globalConfigFiles);

// The folder of the first "cache" line of one .npmrc's text, quotes taken off
// and the home put in for "~" and "${HOME}"; nothing when no line sets it.
std::optional<std::string> npmrcCacheSetting(std::string_view npmrc, const std::string& home);

// Dart's analysis cache, pub's and Shorebird's caches, and each Flutter SDK
// but the one fvm uses by default.
void flutter(CleanupCatalog::Builder& builder);

// The Flutter version of the SDK folder: its "version" file, else the
// framework version that bin/cache/flutter.version.json records.
std::optional<std::string> flutterVersion(const std::string& sdk);

// The framework version of a flutter.version.json's text.
std::optional<std::string> flutterVersionInJson(std::string_view json);

// Homebrew's, JetBrains', pip's, Go's, Cargo's, KraftKit's, Docker Scout's
// and Maven's caches, and the packages apt downloaded.
void developerTools(CleanupCatalog::Builder& builder);

// The settings and logs that an IDE left behind when it updated itself.
void oldSettings(CleanupCatalog::Builder& builder);

// A settings folder's name as a product and a version: "PyCharm2024.1-backup"
// gives ("PyCharm", [2024, 1]). A name without a product or a number gives nothing.
struct IdeVersion {
    std::string product;
    std::vector<std::int64_t> version;

    bool operator==(const IdeVersion&) const = default;
};
std::optional<IdeVersion> ideVersion(const std::string& folder);

// Claude Code's conversations not touched for 30 days, and Chrome's on-device model.
void assistants(CleanupCatalog::Builder& builder);
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
