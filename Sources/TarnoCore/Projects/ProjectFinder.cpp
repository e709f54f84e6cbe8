#include "TarnoCore/Projects/ProjectFinder.hpp"

#include "TarnoCore/Foundation/BulkWalker.hpp"
#include "TarnoCore/Platform/FolderListing.hpp"

#include <algorithm>
#include <map>
#include <unordered_map>

#include <sys/stat.h>

namespace tarno::ProjectFinder {

const std::vector<std::string>& projectMarkers()
{
    static const std::vector<std::string> markers = {
        ".git", "package.json", "pubspec.yaml", "Cargo.toml", "Package.swift",
        "build.gradle", "build.gradle.kts", "pyproject.toml", "go.mod",
    };
    return markers;
}

const std::vector<std::string>& usualFolders()
{
    static const std::vector<std::string> folders = {
        "Projects", "Developer", "Code", "code", "dev", "src", "repos", "workspace", "GitHub",
        "StudioProjects", "AndroidStudioProjects", "PycharmProjects", "IdeaProjects", "WebstormProjects",
        "GoLandProjects",
    };
    return folders;
}

const std::set<std::string, std::less<>>& notProjects()
{
    // Videos and Templates are the Linux desktop's own folders beside the Mac's.
    static const std::set<std::string, std::less<>> names = {
        "Library", "Applications", "Documents", "Desktop", "Downloads", "Movies", "Music", "Pictures", "Public",
        "Videos", "Templates",
    };
    return names;
}

std::vector<std::string> defaultRoots(const std::string& home)
{
    std::vector<std::string> roots;
    std::set<std::pair<dev_t, ino_t>> seen;
    // A real folder, once: "Code" and "code" are one folder on a volume that ignores case.
    const auto add = [&](const std::string& path) {
        struct stat status {};
        if (::lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_ino == 0)
            return;
        if (seen.insert({status.st_dev, status.st_ino}).second)
            roots.push_back(path);
    };
    for (const std::string& name : usualFolders())
        add(home + "/" + name);
    for (const std::string& name : Platform::visibleNames(home)) {
        if (notProjects().contains(name))
            continue;
        const std::string folder = home + "/" + name;
        const bool holdsMarker = std::any_of(projectMarkers().begin(), projectMarkers().end(), [&](const auto& marker) {
            struct stat status {};
            return ::lstat((folder + "/" + marker).c_str(), &status) == 0;
        });
        if (holdsMarker)
            add(folder);
    }
    return roots;
}

namespace {

const ArtifactKind* matchingKind(const BulkFolder& folder, const std::vector<const ArtifactKind*>& rows)
{
    for (const ArtifactKind* kind : rows) {
        for (const std::string& marker : kind->markers) {
            if (folder.contains(marker))
                return kind;
        }
    }
    return nullptr;
}

bool isProjectMarker(const BulkEntry& entry)
{
    return std::any_of(projectMarkers().begin(), projectMarkers().end(),
                       [&entry](const std::string& marker) { return entry.isNamed(marker); });
}

} // namespace

Found find(const std::vector<std::string>& roots, const std::function<bool()>& isCancelled)
{
    Found found;
    std::unordered_map<std::string, std::size_t> projectIndex;
    std::map<std::string, FoundArtifact> artifacts;
    bool cancelled = false;

    for (const std::string& root : roots) {
        if (cancelled)
            break;
        struct Enclosing {
            int depth;
            std::size_t project;
        };
        std::vector<Enclosing> stack;
        BulkWalker::walk(
            root,
            [&](BulkFolder& folder) {
                if (isCancelled()) {
                    cancelled = true;
                    return false;
                }
                while (!stack.empty() && stack.back().depth >= folder.depth)
                    stack.pop_back();

                std::optional<bool> repository; // set when this folder is a project
                const auto git = std::find_if(folder.entries.begin(), folder.entries.end(),
                                              [](const BulkEntry& entry) { return entry.isNamed(".git"); });
                if (git != folder.entries.end())
                    repository = git->kind == BulkEntry::Kind::directory;
                else if (folder.depth == 1)
                    repository = false; // every direct subfolder of a root is a project
                else if (folder.depth == 0
                         && std::any_of(folder.entries.begin(), folder.entries.end(), isProjectMarker))
                    repository = false;
                if (repository) {
                    auto [place, isNew] = projectIndex.try_emplace(folder.path, found.projects.size());
                    if (isNew)
                        found.projects.push_back(FoundProject{folder.path, *repository, std::nullopt});
                    stack.push_back(Enclosing{folder.depth, place->second});
                }

                for (std::size_t index = 0; index < folder.entries.size(); ++index) {
                    const BulkEntry& entry = folder.entries[index];
                    if (entry.kind == BulkEntry::Kind::file) {
                        if (stack.empty() || entry.isNamed(".DS_Store"))
                            continue;
                        const auto modified = std::chrono::system_clock::from_time_t(entry.modified);
                        auto& lastChange = found.projects[stack.back().project].lastChange;
                        if (!lastChange || *lastChange < modified)
                            lastChange = modified;
                        continue;
                    }
                    if (entry.kind != BulkEntry::Kind::directory)
                        continue;
                    if (entry.isNamed(".git")) {
                        folder.skipped.insert(index);
                        continue;
                    }
                    const auto rows = ArtifactKind::byFolder().find(
                        std::string_view(entry.namePointer, static_cast<std::size_t>(entry.nameLength)));
                    if (rows != ArtifactKind::byFolder().end()) {
                        if (const ArtifactKind* kind = matchingKind(folder, rows->second)) {
                            const std::string path = folder.pathOf(entry);
                            const std::string project =
                                stack.empty() ? folder.path : found.projects[stack.back().project].path;
                            artifacts.insert_or_assign(path, FoundArtifact{path, *kind, project});
                            folder.skipped.insert(index);
                            continue;
                        }
                    }
                    // A stray node_modules is no artifact, and still not worth entering.
                    if (entry.isNamed("node_modules"))
                        folder.skipped.insert(index);
                }
                return true;
            },
            [](const std::string&) {});
    }

    for (auto& [path, artifact] : artifacts)
        found.artifacts.push_back(std::move(artifact));
    return found;
}

} // namespace tarno::ProjectFinder
