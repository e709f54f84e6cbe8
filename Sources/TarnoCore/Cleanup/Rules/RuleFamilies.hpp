#pragma once

#include "TarnoCore/Cleanup/CleanupCatalog.hpp"

#include <string>

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

} // namespace tarno::RuleFamilies
