#pragma once

#include "TarnoCore/Cleanup/CleanupAction.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"
#include "TarnoCore/Projects/ProjectFinder.hpp"
#include "TarnoCore/Projects/SpaceAccounting.hpp"
#include "TarnoCore/Projects/Worktree.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace tarno {

// The rows of one pass over the user's projects, and the account that prices
// any selection of them.
struct ProjectScan {
    struct ArtifactRow {
        std::string path;
        ArtifactKind kind;
        std::string projectPath;
        std::optional<std::chrono::system_clock::time_point> projectLastChange;
        std::int64_t apparentBytes = 0;
        std::int64_t realBytes = 0; // what deleting this row alone frees
        std::int32_t owner = 0;     // its index in the account

        bool operator==(const ArtifactRow&) const = default;

        std::string projectName() const;  // the project folder's own name
        std::string relativePath() const; // path below the project
    };

    struct WorktreeRow {
        Worktree worktree;
        std::optional<std::chrono::system_clock::time_point> lastChange;
        bool isInUse = false; // a process works in it
        std::int64_t apparentBytes = 0;
        std::int64_t realBytes = 0;
        std::vector<std::string> generated; // the artifacts inside it
        std::vector<std::int32_t> owners;   // its own owner, then its artifacts'

        bool operator==(const WorktreeRow&) const = default;
    };

    std::vector<std::string> roots;
    std::vector<ArtifactRow> artifacts;
    std::vector<WorktreeRow> worktrees;
    SpaceAccount account;

    bool operator==(const ProjectScan&) const = default;

    // What deleting these rows together frees: shared data counts once, and
    // only when every row that holds it is chosen.
    std::int64_t freed(const std::set<std::string>& artifactPaths, const std::set<std::string>& worktreePaths) const;

    static CleanupAction action(const ArtifactRow& row);
    // Removal with git, the generated folders and clutter cleared first.
    static CleanupAction action(const WorktreeRow& row);

    // The scan without these rows; the account stays, so what is left is
    // priced by the owners of the rows that remain.
    ProjectScan removing(const std::set<std::string>& artifactPaths, const std::set<std::string>& worktreePaths) const;
};

namespace ProjectScanner {

struct FindingProjects {
    bool operator==(const FindingProjects&) const = default;
};
struct CheckingWorktrees {
    int repositories = 0;
    bool operator==(const CheckingWorktrees&) const = default;
};
struct Measuring {
    std::int64_t files = 0; // entries seen so far
    bool operator==(const Measuring&) const = default;
};
using Stage = std::variant<CheckingWorktrees, Measuring, FindingProjects>;

// What the scan asks of git; `live()` runs the real one.
struct Git {
    using Generated = std::function<std::vector<std::string>(const std::string& worktree)>;
    std::function<std::vector<std::string>(const std::string& repository)> paths;
    std::function<std::vector<Worktree>(const std::string& repository, const Generated&)> list;

    static Git live();
};

// The package stores of the home that projects link or clone from.
std::vector<std::string> cacheFolders(const std::string& home);

// Finds, checks and measures, all in one pass; blocks the caller. `stage`
// may be called from worker threads while measuring. A cancelled scan
// returns what it has, for the caller to drop.
ProjectScan scan(const std::vector<std::string>& roots,
                 const std::string& home,
                 const PathGuard& guardian,
                 const std::vector<std::string>& workingDirectories,
                 const std::function<void(const Stage&)>& stage,
                 const std::function<bool()>& isCancelled,
                 const Git& git = Git::live());

} // namespace ProjectScanner
} // namespace tarno
