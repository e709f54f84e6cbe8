#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace tarno {

// Where an item is listed. The order of the cases is the order of the screens.
enum class CleanupCategory {
    xcode,
    android,
    javascript,
    flutter,
    docker,
    developerTools,
    apps,
    personalData,
    leftovers,
    downloads,
    trash,
};

inline constexpr std::array allCleanupCategories = {
    CleanupCategory::xcode,        CleanupCategory::android,   CleanupCategory::javascript,
    CleanupCategory::flutter,      CleanupCategory::docker,    CleanupCategory::developerTools,
    CleanupCategory::apps,         CleanupCategory::personalData, CleanupCategory::leftovers,
    CleanupCategory::downloads,    CleanupCategory::trash,
};

std::string_view rawValue(CleanupCategory category); // also its id
std::string_view title(CleanupCategory category);
std::string_view symbol(CleanupCategory category);
std::optional<CleanupCategory> cleanupCategory(std::string_view raw);

// How much a user should think before removing an item.
enum class Safety {
    safe,   // rebuilt or downloaded again when needed; selected by default
    review, // the user's call, shown as "Your call"
};

std::string_view rawValue(Safety safety);
std::optional<Safety> safety(std::string_view raw);

} // namespace tarno
