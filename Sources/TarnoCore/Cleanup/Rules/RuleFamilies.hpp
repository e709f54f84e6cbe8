#pragma once

#include "TarnoCore/Cleanup/CleanupCatalog.hpp"

#include <cstdint>
#include <optional>
#include <string>
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

// npm's cache, Yarn's (the user's and root's), Puppeteer's and Playwright's
// browsers, node-gyp and TypeScript.
void javascript(CleanupCatalog::Builder& builder);

// The cache folder that npm's configuration names: the first "cache" line of
// home + "/.npmrc", then of each global file, decides. "~" and "${HOME}" stand
// for the home; a folder outside the home gives nothing.
std::optional<std::string> npmCacheFolder(const std::string& home, const std::vector<std::string>& globalConfigFiles);

// Dart's analysis cache, pub's and Shorebird's caches, and each Flutter SDK
// but the one fvm uses by default.
void flutter(CleanupCatalog::Builder& builder);

// The Flutter version of the SDK folder: its "version" file, else the
// framework version that bin/cache/flutter.version.json records.
std::optional<std::string> flutterVersion(const std::string& sdk);

} // namespace tarno::RuleFamilies
