#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Apps/AppFootprint.hpp"
#include "TarnoCore/Foundation/PrivacyAccess.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <set>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

std::string lowercased(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

bool isAtOrBelow(const std::string& path, const std::string& folder)
{
    return path == folder || (path.starts_with(folder) && path.size() > folder.size() && path[folder.size()] == '/');
}

// A helper's identifier, such as com.acme.app.helper, belongs to com.acme.app.
bool isTaken(const std::string& id, const std::vector<std::string>& by)
{
    return std::any_of(by.begin(), by.end(), [&id](const std::string& taken) {
        return id == taken || (id.size() > taken.size() && id.starts_with(taken) && id[taken.size()] == '.');
    });
}

// Folders kept by identifier, with what the system puts after it.
struct IdentifierFolder {
    std::string path;
    std::vector<std::string> suffixes;
    bool needsFullDiskAccess = false;
};

std::vector<IdentifierFolder> identifierFolders(const std::string& home)
{
    return {
        {home + "/Library/Saved Application State", {".savedState"}, false},
        {home + "/Library/HTTPStorages", {".binarycookies"}, false},
        {home + "/Library/WebKit", {}, false},
        {home + "/Library/Containers", {}, true},
        // Flatpak keeps all of a sandboxed app's data under its app id.
        {home + "/.var/app", {}, false},
    };
}

std::string withoutFirstSuffix(const std::string& name, const std::vector<std::string>& suffixes)
{
    for (const std::string& suffix : suffixes) {
        if (name.ends_with(suffix))
            return name.substr(0, name.size() - suffix.size());
    }
    return name;
}

// The first three dot-separated parts, which name the application; helpers add more.
std::string firstThreeParts(const std::string& id)
{
    std::size_t end = 0;
    for (int part = 0; part < 3 && end != std::string::npos; ++part)
        end = id.find('.', part == 0 ? 0 : end + 1);
    return end == std::string::npos ? id : id.substr(0, end);
}

std::vector<std::string> lowercased(const std::vector<std::string>& ids)
{
    std::vector<std::string> lower;
    for (const std::string& id : ids)
        lower.push_back(lowercased(id));
    return lower;
}

// The identifiers of applications that are gone but left data in the
// identifier folders, each shortened to the application's own, in order.
std::vector<std::string> candidates(const Builder& builder, bool fullDisk)
{
    const CleanupEnvironment& env = builder.env();
    const std::vector<std::string> installed = lowercased(env.installedBundleIDs());
    // Any application of a maker that is still here, this one's included, may share its data.
    std::set<std::string> vendors{AppFootprint::vendor(Platform::ownApplicationID())};
    for (const std::string& id : installed)
        vendors.insert(AppFootprint::vendor(id));
    // The editors' own rule speaks for them.
    std::vector<std::string> known;
    for (const Editor& editor : editors()) {
        for (const std::vector<std::string>* ids : {&editor.bundleIDs, &editor.linuxIDs}) {
            for (const std::string& id : *ids)
                known.push_back(lowercased(id));
        }
    }

    std::map<std::string, std::string> byKey;
    for (const IdentifierFolder& folder : identifierFolders(env.home)) {
        if (folder.needsFullDiskAccess && !fullDisk)
            continue;
        for (const std::string& path : Builder::children(folder.path)) {
            const std::string name = withoutFirstSuffix(path.substr(folder.path.size() + 1), folder.suffixes);
            if (!AppFootprint::looksLikeBundleID(name))
                continue;
            const std::string lower = lowercased(name);
            if (lower.starts_with("com.apple.") || lower.starts_with("group.") || lower.starts_with("systemgroup."))
                continue;
            if (vendors.contains(AppFootprint::vendor(name)) || isTaken(lower, installed) || isTaken(lower, known))
                continue;
            const std::string shortened = firstThreeParts(name);
            byKey.emplace(lowercased(shortened), shortened); // the first spelling stays
        }
    }
    std::vector<std::string> ids;
    for (const auto& [key, id] : byKey)
        ids.push_back(id);
    std::sort(ids.begin(), ids.end());
    return ids;
}

} // namespace

const std::vector<Editor>& editors()
{
    static const std::vector<Editor> table = {
        {"Cursor", {"com.todesktop.230313mzl4w4u92"}, {"cursor"}, {".cursor", "Library/Application Support/Cursor"},
         "Cursor"},
        {"Trae", {"com.trae.app"}, {"trae"}, {".trae", "Library/Application Support/Trae"}, "Trae"},
        {"Windsurf", {"com.exafunction.windsurf"}, {"windsurf"}, {".windsurf", "Library/Application Support/Windsurf"},
         "Windsurf"},
        {"Visual Studio Code", {"com.microsoft.VSCode"}, {"code", "com.visualstudio.code", "code_code"},
         {".vscode", "Library/Application Support/Code"}, "Code"},
    };
    return table;
}

void leftovers(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    for (const Editor& editor : editors()) {
        std::vector<std::string> ids = editor.bundleIDs;
        ids.insert(ids.end(), editor.linuxIDs.begin(), editor.linuxIDs.end());
        if (env.isAppInstalled({editor.name}, ids))
            continue; // the editor is here and its folders are in use
        std::vector<std::string> paths;
        for (const std::string& path : editor.paths)
            paths.push_back(env.home + "/" + path);
        paths.push_back(env.folders.config + "/" + editor.configFolder);
        builder.add("leftover." + editor.name, editor.name + " extensions and settings", CleanupCategory::leftovers,
                    editor.name + " is not installed. Reinstalling it later starts with a clean slate.", Safety::review,
                    CleanupAction::Delete{paths});
    }
}

void deletedApps(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    const bool fullDisk = PrivacyAccess::hasFullDiskAccess(env.home);
    // Caches are the business of the app caches' rule, which rates them safe.
    const std::vector<std::string> cacheFolders = {env.home + "/Library/Caches", env.folders.cache};
    for (const std::string& id : candidates(builder, fullDisk)) {
        if (env.isAppInstalled({}, {id}))
            continue;
        std::vector<std::string> paths = AppFootprint::paths(id, std::nullopt, env.home, env.folders, fullDisk, {});
        std::erase_if(paths, [&](const std::string& path) {
            const auto inCache = [&path](const std::string& cache) { return isAtOrBelow(path, cache); };
            return builder.isClaimed(path) || std::any_of(cacheFolders.begin(), cacheFolders.end(), inCache);
        });
        builder.add("leftover.app." + id, AppFootprint::guessedName(id) + " settings and data",
                    CleanupCategory::leftovers,
                    id + " is not installed. Reinstalling it later starts with a clean slate.", Safety::review,
                    CleanupAction::Trash{paths}, 1000000);
    }
}

} // namespace tarno::RuleFamilies
