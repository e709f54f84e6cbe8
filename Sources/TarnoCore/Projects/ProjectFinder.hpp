#pragma once

#include "TarnoCore/Projects/ArtifactKind.hpp"

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

struct FoundProject {
    std::string path;
    bool isRepository = false; // holds a .git folder (a .git file, as in a linked worktree, does not count)
    std::optional<std::chrono::system_clock::time_point> lastChange; // newest of the project's own files

    bool operator==(const FoundProject&) const = default;
};

struct FoundArtifact {
    std::string path;
    ArtifactKind kind;
    std::string project; // the innermost project around it

    bool operator==(const FoundArtifact&) const = default;
};

// Finds developers' projects below the chosen folders and the build output
// inside them. Measures nothing, removes nothing.
namespace ProjectFinder {

struct Found {
    std::vector<FoundProject> projects;   // in the order they were met
    std::vector<FoundArtifact> artifacts; // by path

    bool operator==(const Found&) const = default;
};

// Names whose presence makes a folder a project.
const std::vector<std::string>& projectMarkers();
// Folders of the home where projects are usually kept.
const std::vector<std::string>& usualFolders();
// Folders of the home that are never roots by themselves.
const std::set<std::string, std::less<>>& notProjects();

// The usual folders that exist, then every other folder of the home that holds
// a project marker; each folder once (by file number), never a link.
std::vector<std::string> defaultRoots(const std::string& home);

// Walks the roots; an artifact is recorded and never entered, so sizes and
// dates below it are left to others.
Found find(const std::vector<std::string>& roots, const std::function<bool()>& isCancelled);

} // namespace ProjectFinder
} // namespace tarno
