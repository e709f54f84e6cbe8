#include "TarnoCore/Cleanup/CleanupCatalog.hpp"

#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include <algorithm>
#include <utility>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno::CleanupCatalog {

namespace {

bool exists(const std::string& path)
{
    // lstat does not follow a final link, so a dangling link exists.
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

std::vector<std::string> existing(const std::vector<std::string>& candidates)
{
    std::vector<std::string> kept;
    std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(kept), exists);
    return kept;
}

std::string parentFolder(const std::string& path)
{
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

// Whether this user may remove the entry: the folder holding it must be
// writable and searchable, and a sticky folder only lets the owner of the
// entry or of the folder remove it.
bool isDeletable(const std::string& path)
{
    const std::string parent = parentFolder(path);
    if (::access(parent.c_str(), W_OK | X_OK) != 0)
        return false;
    struct stat parentStatus {};
    if (::stat(parent.c_str(), &parentStatus) != 0)
        return false;
    if ((parentStatus.st_mode & S_ISVTX) == 0)
        return true;
    const uid_t user = ::geteuid();
    if (user == 0 || parentStatus.st_uid == user)
        return true;
    struct stat entryStatus {};
    return ::lstat(path.c_str(), &entryStatus) == 0 && entryStatus.st_uid == user;
}

bool isWritable(const std::string& path) { return ::access(path.c_str(), W_OK) == 0; }

bool anyFails(const std::vector<std::string>& paths, bool (*test)(const std::string&))
{
    return std::any_of(paths.begin(), paths.end(), [test](const std::string& path) { return !test(path); });
}

std::size_t categoryIndex(CleanupCategory category) { return static_cast<std::size_t>(category); }

} // namespace

std::vector<std::string> Builder::children(const std::string& path,
                                           const std::function<bool(std::string_view name)>& predicate)
{
    std::vector<std::string> names;
    DIR* folder = ::opendir(path.c_str());
    if (folder == nullptr)
        return names;
    while (const dirent* entry = ::readdir(folder)) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        if (predicate(name))
            names.emplace_back(name);
    }
    ::closedir(folder);

    std::sort(names.begin(), names.end());
    for (std::string& name : names)
        name = path + "/" + name;
    return names;
}

void Builder::add(std::string id, std::string title, CleanupCategory category, std::string consequence,
                  Safety safety, CleanupAction::Delete candidates, std::int64_t minimumBytesToShow)
{
    std::vector<std::string> kept = existing(candidates.paths);
    if (kept.empty())
        return;
    const bool requiresAdmin = anyFails(kept, isDeletable);
    append(CleanupItem{std::move(id), std::move(title), category, std::move(consequence), safety,
                       CleanupAction::Delete{kept}, requiresAdmin, minimumBytesToShow, std::nullopt},
           kept);
}

void Builder::add(std::string id, std::string title, CleanupCategory category, std::string consequence,
                  Safety safety, CleanupAction::DeleteContents candidates, std::int64_t minimumBytesToShow)
{
    std::vector<std::string> kept = existing(candidates.paths);
    if (kept.empty())
        return;
    const bool requiresAdmin = anyFails(kept, isWritable);
    append(CleanupItem{std::move(id), std::move(title), category, std::move(consequence), safety,
                       CleanupAction::DeleteContents{kept}, requiresAdmin, minimumBytesToShow, std::nullopt},
           kept);
}

void Builder::add(std::string id, std::string title, CleanupCategory category, std::string consequence,
                  Safety safety, CleanupAction::Trash candidates, std::int64_t minimumBytesToShow)
{
    std::vector<std::string> kept = existing(candidates.paths);
    if (kept.empty())
        return;
    // Moving to the Trash is something the user can always ask for.
    append(CleanupItem{std::move(id), std::move(title), category, std::move(consequence), safety,
                       CleanupAction::Trash{kept}, false, minimumBytesToShow, std::nullopt},
           kept);
}

void Builder::addRun(std::string id, std::string title, CleanupCategory category, std::string consequence,
                     Safety safety, CleanupAction::Run action, std::int64_t minimumBytesToShow)
{
    std::vector<std::string> kept = existing(action.affects);
    if (kept.empty())
        return;
    action.affects = kept;
    append(CleanupItem{std::move(id), std::move(title), category, std::move(consequence), safety, std::move(action),
                       false, minimumBytesToShow, std::nullopt},
           kept);
}

bool Builder::isClaimed(std::string_view path) const
{
    return std::any_of(m_claimed.begin(), m_claimed.end(), [path](const std::string& claimed) {
        if (!path.starts_with(claimed))
            return false;
        return path.size() == claimed.size() || path[claimed.size()] == '/';
    });
}

void Builder::append(CleanupItem item, const std::vector<std::string>& kept)
{
    m_claimed.insert(m_claimed.end(), kept.begin(), kept.end());
    m_items.push_back(std::move(item));
}

void sortByCategory(std::vector<CleanupItem>& items)
{
    // Stable, so items of one category keep the order in which they were added.
    std::stable_sort(items.begin(), items.end(), [](const CleanupItem& left, const CleanupItem& right) {
        return categoryIndex(left.category) < categoryIndex(right.category);
    });
}

std::vector<CleanupItem> items(const CleanupEnvironment& env)
{
    Builder builder(env);
    // The rule families run in a fixed order because a later family sees what
    // the earlier ones claimed: xcode, android, javascript, flutter,
    // developerTools, oldSettings, assistants, personalData, leftovers,
    // deletedApps, downloads, trash, appCaches (last, so that it offers only
    // what no other rule covers).
    RuleFamilies::xcode(builder);
    RuleFamilies::android(builder);
    RuleFamilies::javascript(builder);
    RuleFamilies::flutter(builder);
    RuleFamilies::developerTools(builder);
    RuleFamilies::oldSettings(builder);
    RuleFamilies::assistants(builder);
    RuleFamilies::personalData(builder);
    RuleFamilies::leftovers(builder);
    RuleFamilies::deletedApps(builder);
    RuleFamilies::downloads(builder);
    RuleFamilies::trash(builder);
    RuleFamilies::appCaches(builder);
    std::vector<CleanupItem> result = builder.takeItems();
    sortByCategory(result);
    return result;
}

} // namespace tarno::CleanupCatalog
