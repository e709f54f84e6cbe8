#include "TarnoCore/Projects/ProjectScanner.hpp"

#include "TarnoCore/Projects/Worktrees.hpp"

#include <algorithm>
#include <map>
#include <unordered_map>

#include <sys/stat.h>

namespace tarno {

namespace {

// The path itself or anything below it; "/a/bc" is not inside "/a/b".
bool isAtOrInside(std::string_view path, std::string_view folder)
{
    return path == folder || (path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/');
}

std::string lastComponent(const std::string& path)
{
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

std::string ProjectScan::ArtifactRow::projectName() const
{
    return lastComponent(projectPath);
}

std::string ProjectScan::ArtifactRow::relativePath() const
{
    const std::string prefix = projectPath + "/";
    return path.starts_with(prefix) ? path.substr(prefix.size()) : path;
}

std::int64_t ProjectScan::freed(const std::set<std::string>& artifactPaths,
                                const std::set<std::string>& worktreePaths) const
{
    std::set<std::int32_t> owners;
    for (const ArtifactRow& row : artifacts) {
        if (artifactPaths.contains(row.path))
            owners.insert(row.owner);
    }
    for (const WorktreeRow& row : worktrees) {
        if (worktreePaths.contains(row.worktree.path))
            owners.insert(row.owners.begin(), row.owners.end());
    }
    return account.freed(owners);
}

CleanupAction ProjectScan::action(const ArtifactRow& row)
{
    return CleanupAction{CleanupAction::Delete{{row.path}}};
}

CleanupAction ProjectScan::action(const WorktreeRow& row)
{
    std::vector<std::string> clearFirst = row.generated;
    clearFirst.insert(clearFirst.end(), row.worktree.clutter.begin(), row.worktree.clutter.end());
    return CleanupAction{CleanupAction::RemoveWorktree{row.worktree.repository, row.worktree.path, clearFirst}};
}

ProjectScan ProjectScan::removing(const std::set<std::string>& artifactPaths,
                                  const std::set<std::string>& worktreePaths) const
{
    ProjectScan left = *this;
    std::erase_if(left.artifacts, [&](const ArtifactRow& row) { return artifactPaths.contains(row.path); });
    std::erase_if(left.worktrees, [&](const WorktreeRow& row) { return worktreePaths.contains(row.worktree.path); });
    return left;
}

namespace ProjectScanner {

Git Git::live()
{
    return Git{
        .paths = [](const std::string& repository) { return Worktrees::paths(repository); },
        .list = [](const std::string& repository, const Generated& generated) {
            return Worktrees::list(repository, generated);
        },
    };
}

std::vector<std::string> cacheFolders(const std::string& home)
{
    std::vector<std::string> folders;
    for (const char* relative : {".bun/install/cache", "Library/pnpm/store", ".local/share/pnpm/store", ".yarn/berry/cache"}) {
        const std::string folder = home + "/" + relative;
        struct stat status {};
        if (::stat(folder.c_str(), &status) == 0)
            folders.push_back(folder);
    }
    return folders;
}

ProjectScan scan(const std::vector<std::string>& roots,
                 const std::string& home,
                 const PathGuard& guardian,
                 const std::vector<std::string>& workingDirectories,
                 const std::function<void(const Stage&)>& stage,
                 const std::function<bool()>& isCancelled,
                 const Git& git)
{
    stage(FindingProjects{});
    ProjectFinder::Found found = ProjectFinder::find(roots, isCancelled);

    std::vector<std::string> repositories;
    for (const FoundProject& project : found.projects) {
        if (project.isRepository)
            repositories.push_back(project.path);
    }

    // Worktrees often live beside their repository, outside every root, and
    // their build output must count too.
    std::set<std::string> projectPaths;
    for (const FoundProject& project : found.projects)
        projectPaths.insert(project.path);
    std::set<std::string> artifactPaths;
    for (const FoundArtifact& artifact : found.artifacts)
        artifactPaths.insert(artifact.path);
    for (const std::string& repository : repositories) {
        std::vector<std::string> outside;
        for (const std::string& path : git.paths(repository)) {
            if (!projectPaths.contains(path))
                outside.push_back(path);
        }
        if (outside.empty())
            continue;
        ProjectFinder::Found more = ProjectFinder::find(outside, isCancelled);
        for (FoundProject& project : more.projects) {
            if (projectPaths.insert(project.path).second)
                found.projects.push_back(std::move(project));
        }
        for (FoundArtifact& artifact : more.artifacts) {
            if (artifactPaths.insert(artifact.path).second)
                found.artifacts.push_back(std::move(artifact));
        }
    }
    std::sort(found.artifacts.begin(), found.artifacts.end(),
              [](const FoundArtifact& a, const FoundArtifact& b) { return a.path < b.path; });

    stage(CheckingWorktrees{static_cast<int>(repositories.size())});
    // The indices of the artifacts inside a worktree, in artifact order.
    const auto artifactsIn = [&](const std::string& worktree) {
        std::vector<std::size_t> inside;
        for (std::size_t index = 0; index < found.artifacts.size(); ++index) {
            if (isAtOrInside(found.artifacts[index].path, worktree))
                inside.push_back(index);
        }
        return inside;
    };
    const auto generatedIn = [&](const std::string& worktree) {
        std::vector<std::string> paths;
        for (const std::size_t index : artifactsIn(worktree))
            paths.push_back(found.artifacts[index].path);
        return paths;
    };
    std::vector<Worktree> usable;
    for (const std::string& repository : repositories) {
        for (Worktree& worktree : git.list(repository, generatedIn)) {
            if (!worktree.state.as<Worktree::State::Missing>() && isAllowed(guardian.checkDelete(worktree.path)))
                usable.push_back(std::move(worktree));
        }
    }

    // One owner per artifact (its index is the artifact's), then one per
    // worktree that leaves its artifacts to their own owners.
    std::vector<SpaceOwner> owners;
    for (const FoundArtifact& artifact : found.artifacts)
        owners.push_back(SpaceOwner{artifact.path, {}});
    for (const Worktree& worktree : usable) {
        const std::vector<std::string> inside = generatedIn(worktree.path);
        owners.push_back(SpaceOwner{worktree.path, {inside.begin(), inside.end()}});
    }
    ProjectScan result;
    result.roots = roots;
    result.account = SpaceAccounting::measure(
        owners, cacheFolders(home), [&](std::int64_t files) { stage(Measuring{files}); }, isCancelled);

    std::unordered_map<std::string, std::optional<std::chrono::system_clock::time_point>> lastChanges;
    for (const FoundProject& project : found.projects)
        lastChanges[project.path] = project.lastChange;
    const auto lastChangeOf = [&](const std::string& path) {
        const auto known = lastChanges.find(path);
        return known == lastChanges.end() ? std::nullopt : known->second;
    };
    const auto sumApparent = [&](const std::vector<std::int32_t>& of) {
        std::int64_t sum = 0;
        for (const std::int32_t owner : of)
            sum += result.account.apparent[static_cast<std::size_t>(owner)];
        return sum;
    };

    for (std::size_t index = 0; index < usable.size(); ++index) {
        ProjectScan::WorktreeRow row;
        row.worktree = usable[index];
        row.owners.push_back(static_cast<std::int32_t>(found.artifacts.size() + index));
        for (const std::size_t artifact : artifactsIn(row.worktree.path)) {
            row.generated.push_back(found.artifacts[artifact].path);
            row.owners.push_back(static_cast<std::int32_t>(artifact));
        }
        row.apparentBytes = sumApparent(row.owners);
        row.realBytes = result.account.freed({row.owners.begin(), row.owners.end()});
        row.lastChange = lastChangeOf(row.worktree.path);
        row.isInUse = std::any_of(workingDirectories.begin(), workingDirectories.end(),
                                  [&](const std::string& folder) { return isAtOrInside(folder, row.worktree.path); });
        result.worktrees.push_back(std::move(row));
    }

    for (std::size_t index = 0; index < found.artifacts.size(); ++index) {
        const FoundArtifact& artifact = found.artifacts[index];
        // Priced and removed with the worktree it lies in.
        const bool goesWithWorktree = std::any_of(usable.begin(), usable.end(), [&](const Worktree& worktree) {
            return worktree.canRemove() && isAtOrInside(artifact.path, worktree.path);
        });
        if (goesWithWorktree || !isAllowed(guardian.checkDelete(artifact.path)))
            continue;
        const auto owner = static_cast<std::int32_t>(index);
        result.artifacts.push_back(ProjectScan::ArtifactRow{
            artifact.path, artifact.kind, artifact.project, lastChangeOf(artifact.project),
            result.account.apparent[index], result.account.freed({owner}), owner});
    }

    std::stable_sort(result.artifacts.begin(), result.artifacts.end(), [](const auto& a, const auto& b) {
        return a.projectPath != b.projectPath ? a.projectPath < b.projectPath : a.realBytes > b.realBytes;
    });
    std::stable_sort(result.worktrees.begin(), result.worktrees.end(), [](const auto& a, const auto& b) {
        if (a.worktree.canRemove() != b.worktree.canRemove())
            return a.worktree.canRemove();
        return a.realBytes > b.realBytes;
    });
    return result;
}

} // namespace ProjectScanner
} // namespace tarno
