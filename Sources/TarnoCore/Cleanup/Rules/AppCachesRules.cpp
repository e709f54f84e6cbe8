#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Platform/Locations.hpp"

#include <algorithm>
#include <map>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

bool isBelow(const std::string& path, const std::string& folder)
{
    if (folder.ends_with('/')) // the root folder
        return path.size() > folder.size() && path.starts_with(folder);
    return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

// What of a cache folder no other rule covers: the folder itself, or, when a
// rule took something inside it, its other children. A child that holds a
// claimed path is left whole to the rule that claimed it.
std::vector<std::string> unclaimedParts(const Builder& builder, const std::string& entry)
{
    if (builder.isClaimed(entry))
        return {};
    const std::vector<std::string>& claimed = builder.claimed();
    const auto holdsClaimed = [&claimed](const std::string& path) {
        return std::any_of(claimed.begin(), claimed.end(),
                           [&path](const std::string& taken) { return isBelow(taken, path); });
    };
    if (!holdsClaimed(entry))
        return {entry};
    std::vector<std::string> children = Builder::children(entry);
    std::erase_if(children, [&](const std::string& child) { return builder.isClaimed(child) || holdsClaimed(child); });
    return children;
}

} // namespace

void appCaches(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    const std::string library = env.home + "/Library/Caches";
    const std::string& cache = env.folders.cache;
    // One item per folder name, whichever of the two cache folders holds it.
    std::map<std::string, std::vector<std::string>> entries;
    for (const std::string& path : Builder::children(library, [](std::string_view name) {
             return !name.starts_with("com.apple.") && !name.starts_with('.');
         }))
        entries[path.substr(library.size() + 1)].push_back(path);
    // A cache folder set to the home, or above it, would hold the user's own files.
    if (cache != env.home && !isBelow(env.home, cache) && cache != library) {
        const std::string own = Platform::ownCacheFolderName();
        for (const std::string& path : Builder::children(cache, [&own](std::string_view name) {
                 return !name.starts_with('.') && name != own;
             }))
            entries[path.substr(cache.size() + 1)].push_back(path);
    }

    for (const auto& [folder, candidates] : entries) {
        std::vector<std::string> paths;
        for (const std::string& entry : candidates) {
            const std::vector<std::string> parts = unclaimedParts(builder, entry);
            paths.insert(paths.end(), parts.begin(), parts.end());
        }
        const std::string name = env.appName(folder).value_or(folder);
        builder.add("cache." + folder, name + " cache", CleanupCategory::apps, "The app rebuilds it as needed.",
                    Safety::safe, CleanupAction::Delete{paths}, 5000000);
    }
    builder.add("logs", "Logs", CleanupCategory::apps, "None. These are diagnostic logs.", Safety::safe,
                CleanupAction::DeleteContents{{env.home + "/Library/Logs"}});
}

} // namespace tarno::RuleFamilies
