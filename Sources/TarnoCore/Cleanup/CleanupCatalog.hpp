#pragma once

#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"
#include "TarnoCore/Cleanup/CleanupItem.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tarno::CleanupCatalog {

// Collects the items of one catalog run, so that no path is offered twice.
class Builder {
public:
    explicit Builder(const CleanupEnvironment& env) : m_env(env) {}

    const CleanupEnvironment& env() const { return m_env; }
    const std::vector<CleanupItem>& items() const { return m_items; }
    const std::vector<std::string>& claimed() const { return m_claimed; }
    std::vector<CleanupItem> takeItems() { return std::move(m_items); }

    // Full paths of the folder's entries whose name passes, sorted by name.
    // An unreadable or missing folder gives nothing. Hidden entries are included.
    static std::vector<std::string> children(
        const std::string& path,
        const std::function<bool(std::string_view name)>& predicate = [](std::string_view) { return true; });

    // Offers a path-based item. Keeps the candidate paths that exist (a
    // dangling link exists), adds nothing when none does, works out
    // requiresAdmin from what the user may do to the kept paths, and claims them.
    void add(std::string id, std::string title, CleanupCategory category, std::string consequence, Safety safety,
             CleanupAction::Delete candidates, std::int64_t minimumBytesToShow = 1);
    void add(std::string id, std::string title, CleanupCategory category, std::string consequence, Safety safety,
             CleanupAction::DeleteContents candidates, std::int64_t minimumBytesToShow = 1);
    void add(std::string id, std::string title, CleanupCategory category, std::string consequence, Safety safety,
             CleanupAction::Trash candidates, std::int64_t minimumBytesToShow = 1);

    // Offers a tool's item, built as given but for its affected paths: keeps
    // those that exist and claims them, and adds nothing when none does.
    // Running the tool never asks for an administrator.
    void addRun(std::string id, std::string title, CleanupCategory category, std::string consequence, Safety safety,
                CleanupAction::Run action, std::int64_t minimumBytesToShow = 1);

    // True when the path is claimed or lies inside a claimed path.
    bool isClaimed(std::string_view path) const;

private:
    void append(CleanupItem item, const std::vector<std::string>& kept);

    const CleanupEnvironment& m_env;
    std::vector<CleanupItem> m_items;
    std::vector<std::string> m_claimed;
};

// Orders items category by category, and within a category in the order of adding.
void sortByCategory(std::vector<CleanupItem>& items);

// Everything on this machine the catalog knows how to clean, sorted. Tool
// adapters' items are not included: the cleanup flow adds them.
std::vector<CleanupItem> items(const CleanupEnvironment& env);

} // namespace tarno::CleanupCatalog
