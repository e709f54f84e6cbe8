#include "TarnoCore/Projects/ProjectRemoval.hpp"

#include <sys/stat.h>

namespace tarno::ProjectRemoval {

Machine Machine::live(const PathGuard& guardian)
{
    return Machine{
        .perform = [cleaner = Cleaner{guardian}](const CleanupAction& action, const IsCancelled& isCancelled) {
            return cleaner.perform(action, isCancelled);
        },
        .exists = isPresent,
    };
}

bool isPresent(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

std::string name(const ProjectScan::WorktreeRow& row)
{
    const std::string& path = row.worktree.path;
    return path.substr(path.find_last_of('/') + 1);
}

std::string name(const ProjectScan::ArtifactRow& row)
{
    return row.projectName() + "/" + row.relativePath();
}

namespace {

// One row: removed, its failures kept, and whether it is gone now.
template <typename Row>
bool removeRow(const Row& row, const std::string& path, const std::string& rowName, const Machine& machine,
               const std::function<void(const std::string&)>& started, const IsCancelled& isCancelled,
               Outcome& outcome)
{
    if (started)
        started(rowName);
    const CleanReport report = machine.perform(ProjectScan::action(row), isCancelled);
    auto& failures = outcome.summary.failures;
    failures.insert(failures.end(), report.failures.begin(), report.failures.end());
    if (report.wasCancelled)
        outcome.wasCancelled = true;
    return !machine.exists(path);
}

} // namespace

Outcome remove(const ProjectScan& scan,
               const std::vector<ProjectScan::WorktreeRow>& worktrees,
               const std::vector<ProjectScan::ArtifactRow>& artifacts,
               const Machine& machine,
               const std::function<void(const std::string& name)>& started,
               const IsCancelled& isCancelled)
{
    Outcome outcome;
    const auto stop = [&] {
        if (!outcome.wasCancelled && isCancelled())
            outcome.wasCancelled = true;
        return outcome.wasCancelled;
    };
    for (const auto& row : worktrees) {
        if (stop())
            break;
        if (removeRow(row, row.worktree.path, name(row), machine, started, isCancelled, outcome)) {
            outcome.removedWorktrees.insert(row.worktree.path);
            outcome.removedNames.push_back("Worktree " + name(row));
        }
    }
    for (const auto& row : artifacts) {
        if (stop())
            break;
        if (removeRow(row, row.path, name(row), machine, started, isCancelled, outcome)) {
            outcome.removedArtifacts.insert(row.path);
            outcome.removedNames.push_back(name(row));
        }
    }
    outcome.summary.freed = scan.freed(outcome.removedArtifacts, outcome.removedWorktrees);
    return outcome;
}

CleanupRecord record(const Outcome& outcome, std::chrono::system_clock::time_point date)
{
    return CleanupRecord{
        .date = date,
        .source = "Projects",
        .freedBytes = outcome.summary.freed,
        .items = outcome.removedNames,
        .failures = static_cast<int>(outcome.summary.failures.size()),
    };
}

} // namespace tarno::ProjectRemoval
