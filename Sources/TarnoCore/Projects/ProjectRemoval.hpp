#pragma once

#include "TarnoCore/Cleanup/CleanSummary.hpp"
#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"
#include "TarnoCore/Projects/ProjectScanner.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

// Removes chosen rows of a project scan, one after another, and says what
// went by looking at the disk afterwards: a row counts as removed only when
// nothing is left at its path, and the bytes freed are the account's price of
// the rows that went, never of those asked for.
namespace tarno::ProjectRemoval {

using IsCancelled = std::function<bool()>;

// What removal asks of the machine; both block.
struct Machine {
    // Carries out an action, every path put to the guard at that moment.
    std::function<CleanReport(const CleanupAction&, const IsCancelled&)> perform;
    // Whether anything, even a dangling link, stands at the path.
    std::function<bool(const std::string& path)> exists;

    // The real disk under the guard.
    static Machine live(const PathGuard& guardian);
};

struct Outcome {
    std::set<std::string> removedWorktrees;
    std::set<std::string> removedArtifacts;
    // Worktrees first ("Worktree {name}"), then artifacts ("{project}/{path}").
    std::vector<std::string> removedNames;
    CleanSummary summary;
    bool wasCancelled = false; // stopped before its last row
    bool operator==(const Outcome&) const = default;
};

// Whether anything, even a dangling link, stands at the path.
bool isPresent(const std::string& path);

// "api" for /work/api: the worktree's folder name.
std::string name(const ProjectScan::WorktreeRow& row);
// "shop/node_modules": the artifact below its project's name.
std::string name(const ProjectScan::ArtifactRow& row);

// Removes the worktrees, then the artifacts, in the given order. `started`
// is told each row's name before its removal. Cancellation is looked at
// before each row and handed to the removal under way.
Outcome remove(const ProjectScan& scan,
               const std::vector<ProjectScan::WorktreeRow>& worktrees,
               const std::vector<ProjectScan::ArtifactRow>& artifacts,
               const Machine& machine,
               const std::function<void(const std::string& name)>& started = {},
               const IsCancelled& isCancelled = [] { return false; });

// The history line: source "Projects", the freed bytes and what went.
CleanupRecord record(const Outcome& outcome, std::chrono::system_clock::time_point date);

} // namespace tarno::ProjectRemoval
