#include "TarnoCore/Cleanup/CleanupCategory.hpp"

namespace tarno {

namespace {

struct CategoryRow {
    CleanupCategory category;
    std::string_view raw;
    std::string_view title;
    std::string_view symbol;
};

// In the order of the cases, so a row's index is its category's index.
constexpr std::array<CategoryRow, allCleanupCategories.size()> categoryRows = {{
    {CleanupCategory::xcode, "xcode", "Xcode", "hammer"},
    {CleanupCategory::android, "android", "Android", "iphone.gen2"},
    {CleanupCategory::javascript, "javascript", "JavaScript", "curlybraces"},
    {CleanupCategory::flutter, "flutter", "Flutter and Dart", "bird"},
    {CleanupCategory::docker, "docker", "Docker", "shippingbox"},
    {CleanupCategory::developerTools, "developerTools", "Other developer tools", "wrench.and.screwdriver"},
    {CleanupCategory::apps, "apps", "Apps", "square.stack.3d.up"},
    {CleanupCategory::personalData, "personalData", "Backups and attachments", "externaldrive"},
    {CleanupCategory::leftovers, "leftovers", "Leftovers from removed apps", "archivebox"},
    {CleanupCategory::downloads, "downloads", "Installers in Downloads", "arrow.down.circle"},
    {CleanupCategory::trash, "trash", "Trash", "trash"},
}};

const CategoryRow& row(CleanupCategory category)
{
    return categoryRows[static_cast<std::size_t>(category)];
}

} // namespace

std::string_view rawValue(CleanupCategory category) { return row(category).raw; }

std::string_view title(CleanupCategory category) { return row(category).title; }

std::string_view symbol(CleanupCategory category) { return row(category).symbol; }

std::optional<CleanupCategory> cleanupCategory(std::string_view raw)
{
    for (const CategoryRow& candidate : categoryRows) {
        if (candidate.raw == raw)
            return candidate.category;
    }
    return std::nullopt;
}

std::string_view rawValue(Safety safety)
{
    switch (safety) {
    case Safety::safe:
        return "safe";
    case Safety::review:
        return "review";
    }
    return "review";
}

std::optional<Safety> safety(std::string_view raw)
{
    if (raw == "safe")
        return Safety::safe;
    if (raw == "review")
        return Safety::review;
    return std::nullopt;
}

} // namespace tarno
