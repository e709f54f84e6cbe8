#include "TarnoCore/Cleanup/Cleaner.hpp"

#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/Text.hpp"
#include "TarnoCore/Platform/Locations.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"
#include "TarnoCore/Platform/Trash.hpp"
#include "TarnoCore/Platform/TreeRemoval.hpp"

#include <chrono>

#include <sys/stat.h>

namespace tarno {

namespace {

using Platform::TreeRemoval::Outcome;

constexpr std::chrono::seconds toolTimeLimit{300};

// What has already gone needs no removing. A final link counts as there.
bool isThere(const std::string& path)
{
    struct stat status;
    return !path.empty() && ::lstat(path.c_str(), &status) == 0;
}

bool isSymbolicLink(const std::string& path)
{
    struct stat status;
    return !path.empty() && ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

bool isInside(const std::string& path, const std::string& folder)
{
    return path == folder || (path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/');
}

std::string withoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

void record(CleanReport& report, const std::string& path, const Outcome& outcome)
{
    switch (outcome.status) {
    case Outcome::Status::done:
        ++report.removed;
        break;
    case Outcome::Status::absent:
        break;
    case Outcome::Status::failed:
        report.failures.push_back({path, outcome.reason});
        break;
    }
}

// The actions of one perform call, against one guard.
class Performer {
public:
    explicit Performer(const PathGuard& guardian)
        : m_guardian(guardian)
    {
    }

    CleanReport operator()(const CleanupAction::Delete& action) const
    {
        CleanReport report;
        for (const std::string& path : action.paths)
            deletePath(path, PathGuard::normalize(path), report);
        return report;
    }

    CleanReport operator()(const CleanupAction::DeleteContents& action) const
    {
        CleanReport report;
        for (const std::string& folder : action.paths)
            emptyFolder(folder, report);
        return report;
    }

    CleanReport operator()(const CleanupAction::Trash& action) const
    {
        CleanReport report;
        const std::string trash = Platform::trashFolder(m_guardian.home());
        for (const std::string& path : action.paths) {
            const std::string target = PathGuard::normalize(path);
            if (!isThere(target))
                continue;
            if (refused(path, m_guardian.checkTrash(target), report))
                continue;
            record(report, path, Platform::Trash::moveToTrash(target, trash, std::chrono::system_clock::now()));
        }
        return report;
    }

    // The tool is no path to delete: the guard has nothing to say about it.
    CleanReport operator()(const CleanupAction::Run& action) const
    {
        const auto output = Shell::run(action.tool, action.arguments, {}, toolTimeLimit);
        if (!output)
            return {0, {{action.tool, "could not be started"}}};
        if (output->succeeded())
            return {1, {}};
        std::string reason(Text::trimmed(output->standardError));
        if (reason.empty())
            reason = "exit code " + std::to_string(output->status);
        return {0, {{action.tool, reason}}};
    }

    CleanReport operator()(const CleanupAction::RemoveWorktree& action) const
    {
        CleanReport report;
        // The worktree must be removable before anything inside it is touched.
        if (refused(action.path, m_guardian.checkDelete(action.path), report))
            return report;

        // Compared once normalised, so no ".." or link takes a path out of the worktree.
        const std::string worktree = PathGuard::normalize(action.path);
        for (const std::string& path : action.clearFirst) {
            const std::string target = PathGuard::normalize(path);
            if (isInside(target, worktree))
                deletePath(path, target, report);
        }

        // No --force: git keeps a worktree that holds uncommitted work, and says so.
        const auto output = Shell::run(Platform::git(), {"-C", action.repository, "worktree", "remove", worktree},
                                       {{"GIT_TERMINAL_PROMPT", "0"}}, toolTimeLimit);
        if (!output) {
            report.failures.push_back({action.path, "git could not be started"});
        } else if (output->succeeded()) {
            ++report.removed;
        } else {
            const std::string reason(Text::trimmed(output->standardError));
            report.failures.push_back({action.path, reason.empty() ? "git refused" : reason});
        }
        return report;
    }

private:
    bool refused(const std::string& path, const PathGuard::Verdict& verdict, CleanReport& report) const
    {
        const auto* refusal = std::get_if<PathGuard::Refused>(&verdict);
        if (refusal)
            report.failures.push_back({path, refusal->reason});
        return refusal != nullptr;
    }

    // Reports under `path` and removes `target`, its normalised form: the
    // guard judges exactly what is removed.
    void deletePath(const std::string& path, const std::string& target, CleanReport& report) const
    {
        if (!isThere(target))
            return;
        if (refused(path, m_guardian.checkDelete(target), report))
            return;
        record(report, path, Platform::TreeRemoval::remove(target));
    }

    void emptyFolder(const std::string& folder, CleanReport& report) const
    {
        // Emptying what a link points to is refused outright.
        const std::string target = PathGuard::normalize(folder);
        if (isSymbolicLink(target)) {
            report.failures.push_back({folder, "is a symbolic link"});
            return;
        }
        const auto listing = Platform::TreeRemoval::listFolder(target);
        if (listing.failure) {
            report.failures.push_back({folder, *listing.failure});
            return;
        }
        // Entries are reached through the folder as listed, not resolved
        // again: a folder turned into a link since is not followed.
        const std::string shown = withoutTrailingSlashes(folder);
        for (const std::string& name : listing.names)
            deletePath(shown + "/" + name, target + "/" + name, report);
    }

    const PathGuard& m_guardian;
};

} // namespace

CleanReport Cleaner::perform(const CleanupAction& action, const std::function<bool()>& /*isCancelled*/) const
{
    return std::visit(Performer(guardian), action.value);
}

} // namespace tarno
