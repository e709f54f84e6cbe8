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
    case Outcome::Status::denied:
        report.failures.push_back({path, outcome.reason, CleanReport::Failure::Kind::failed});
        break;
    case Outcome::Status::cancelled:
        report.wasCancelled = true;
        break;
    }
}

// What a tool's run came to, under `path` in the report.
void record(CleanReport& report, const std::string& path, const std::optional<Shell::Output>& output,
            const std::string& notStarted)
{
    if (!output) {
        report.failures.push_back({path, notStarted, CleanReport::Failure::Kind::failed});
    } else if (output->wasCancelled) {
        report.wasCancelled = true;
    } else if (output->succeeded()) {
        ++report.removed;
    } else {
        std::string reason(Text::trimmed(output->standardError));
        if (reason.empty())
            reason = "exit code " + std::to_string(output->status);
        report.failures.push_back({path, reason, CleanReport::Failure::Kind::failed});
    }
}

// The actions of one perform call, against one guard.
class Performer {
public:
    Performer(const PathGuard& guardian, const std::function<bool()>& isCancelled)
        : m_guardian(guardian)
        , m_isCancelled(isCancelled)
    {
    }

    CleanReport operator()(const CleanupAction::Delete& action) const
    {
        CleanReport report;
        for (const std::string& path : action.paths) {
            if (stopped(report))
                break;
            deletePath(path, PathGuard::normalize(path), report);
        }
        return report;
    }

    CleanReport operator()(const CleanupAction::DeleteContents& action) const
    {
        CleanReport report;
        for (const std::string& folder : action.paths) {
            if (stopped(report))
                break;
            emptyFolder(folder, report);
        }
        return report;
    }

    CleanReport operator()(const CleanupAction::Trash& action) const
    {
        CleanReport report;
        const std::string trash = Platform::trashFolder(m_guardian.home());
        for (const std::string& path : action.paths) {
            if (stopped(report))
                break;
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
        CleanReport report;
        if (!stopped(report))
            record(report, action.tool, Shell::run(action.tool, action.arguments, {}, toolTimeLimit, m_isCancelled),
                   "could not be started");
        return report;
    }

    CleanReport operator()(const CleanupAction::RemoveWorktree& action) const
    {
        CleanReport report;
        // The worktree must be removable before anything inside it is touched.
        if (stopped(report) || refused(action.path, m_guardian.checkDelete(action.path), report))
            return report;

        // Compared once normalised, so no ".." or link takes a path out of the worktree.
        const std::string worktree = PathGuard::normalize(action.path);
        for (const std::string& path : action.clearFirst) {
            if (stopped(report))
                return report;
            const std::string target = PathGuard::normalize(path);
            if (isInside(target, worktree))
                deletePath(path, target, report);
        }
        if (stopped(report))
            return report;

        // No --force: git keeps a worktree that holds uncommitted work, and says so.
        const auto output = Shell::run(Platform::git(), {"-C", action.repository, "worktree", "remove", worktree},
                                       {{"GIT_TERMINAL_PROMPT", "0"}}, toolTimeLimit, m_isCancelled);
        if (output && !output->succeeded() && !output->wasCancelled && Text::trimmed(output->standardError).empty())
            report.failures.push_back({action.path, "git refused", CleanReport::Failure::Kind::failed});
        else
            record(report, action.path, output, "git could not be started");
        return report;
    }

private:
    // Whether to stop before the next path; a report cut short says so.
    bool stopped(CleanReport& report) const
    {
        if (!report.wasCancelled && m_isCancelled && m_isCancelled())
            report.wasCancelled = true;
        return report.wasCancelled;
    }

    bool refused(const std::string& path, const PathGuard::Verdict& verdict, CleanReport& report) const
    {
        const auto* refusal = std::get_if<PathGuard::Refused>(&verdict);
        if (refusal)
            report.failures.push_back({path, refusal->reason, CleanReport::Failure::Kind::refused});
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
        record(report, path, Platform::TreeRemoval::remove(target, m_isCancelled));
    }

    void emptyFolder(const std::string& folder, CleanReport& report) const
    {
        // Emptying what a link points to is refused outright.
        const std::string target = PathGuard::normalize(folder);
        if (isSymbolicLink(target)) {
            report.failures.push_back({folder, "is a symbolic link", CleanReport::Failure::Kind::refused});
            return;
        }
        const auto listing = Platform::TreeRemoval::listFolder(target);
        if (listing.failure) {
            report.failures.push_back({folder, *listing.failure, CleanReport::Failure::Kind::failed});
            return;
        }
        // Entries are reached through the folder as listed, not resolved
        // again: a folder turned into a link since is not followed.
        const std::string shown = withoutTrailingSlashes(folder);
        for (const std::string& name : listing.names) {
            if (stopped(report))
                return;
            deletePath(shown + "/" + name, target + "/" + name, report);
        }
    }

    const PathGuard& m_guardian;
    const std::function<bool()>& m_isCancelled;
};

} // namespace

std::set<std::string> CleanReport::failedPaths() const
{
    std::set<std::string> paths;
    for (const Failure& failure : failures)
        paths.insert(failure.path);
    return paths;
}

CleanReport Cleaner::perform(const CleanupAction& action, const std::function<bool()>& isCancelled) const
{
    return std::visit(Performer(guardian, isCancelled), action.value);
}

} // namespace tarno
