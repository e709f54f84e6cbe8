#pragma once

#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace tarno::test {

using RuleFamily = void (*)(CleanupCatalog::Builder&);

// What one rule family offers, after another rule has claimed `claimed` (whose item is left out).
inline std::vector<CleanupItem> familyItems(const CleanupEnvironment& env, RuleFamily family,
                                            const std::vector<std::string>& claimed = {})
{
    CleanupCatalog::Builder builder(env);
    if (!claimed.empty())
        builder.add("other.rule", "Another rule", CleanupCategory::developerTools, "", Safety::safe,
                    CleanupAction::Delete{claimed});
    family(builder);
    std::vector<CleanupItem> items = builder.takeItems();
    if (!claimed.empty() && !items.empty() && items.front().id == "other.rule")
        items.erase(items.begin());
    return items;
}

// The same on an otherwise empty machine with this home (which reads user-dirs.dirs when it is made).
inline std::vector<CleanupItem> familyItems(const std::string& home, RuleFamily family)
{
    return familyItems(CleanupEnvironment::empty(home), family);
}

// An item as a rule makes it, with nothing measured yet.
inline CleanupItem ruleItem(std::string id, std::string title, CleanupCategory category, std::string consequence,
                            Safety safety, CleanupAction action, std::int64_t minimumBytesToShow = 1)
{
    return CleanupItem{std::move(id), std::move(title), category, std::move(consequence), safety,
                       std::move(action), false, minimumBytesToShow, std::nullopt};
}

inline void writeText(const std::string& path, std::string_view text)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

inline std::vector<std::string> idsOf(const std::vector<CleanupItem>& items)
{
    std::vector<std::string> ids;
    for (const CleanupItem& item : items)
        ids.push_back(item.id);
    return ids;
}

// Every path of every item's action, in order.
inline std::vector<std::string> pathsOf(const std::vector<CleanupItem>& items)
{
    std::vector<std::string> paths;
    for (const CleanupItem& item : items) {
        const std::vector<std::string> more = item.action.paths();
        paths.insert(paths.end(), more.begin(), more.end());
    }
    return paths;
}

} // namespace tarno::test
