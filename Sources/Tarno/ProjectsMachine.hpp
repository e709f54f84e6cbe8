#pragma once

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"
#include "TarnoCore/Projects/ProjectRemoval.hpp"
#include "TarnoCore/Projects/ProjectScanner.hpp"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarno {

// What the Projects section asks of the machine: the live machine, the demo
// machine, or one a test makes up. Every callable may block; the scan, the
// working folders and the removal are called off the main thread, the rest on
// it.
struct ProjectsMachine {
    using IsCancelled = std::function<bool()>;
    using Roots = std::vector<std::string>;

    // Where the folders to search are kept between launches.
    struct RememberedRoots {
        std::function<std::optional<Roots>()> load; // none when never chosen
        std::function<void(const Roots&)> store;
    };

    // The folders a project scan starts from when the user has chosen none.
    std::function<Roots(const std::string& home)> defaultRoots;
    // The current folders of running processes: a worktree with one is in use.
    std::function<std::vector<std::string>()> workingDirectories;
    std::function<ProjectScan(const Roots& roots, const std::string& home, const PathGuard& guardian,
                              const std::vector<std::string>& workingDirectories,
                              const std::function<void(const ProjectScanner::Stage&)>& stage,
                              const IsCancelled& isCancelled)>
        scan;
    // Carries out a row's removal, every path put to the guard first.
    std::function<CleanReport(const PathGuard&, const CleanupAction&, const IsCancelled&)> perform;
    // Whether anything stands at the path, even a dangling link.
    std::function<bool(const std::string& path)> exists;
    // Asks the user for folders, starting in `start`; none when dismissed.
    std::function<std::optional<Roots>(const std::string& start)> chooseFolders;
    // Shows the path selected in the desktop's file viewer.
    std::function<void(const std::string& path)> reveal;
    // Only for the user's own home: another home's choices are not kept.
    std::optional<RememberedRoots> rememberedRoots;

    // This machine, for the user's own home.
    static ProjectsMachine live();

    // The removal's view of this machine under one guard.
    ProjectRemoval::Machine removal(const PathGuard& guardian) const;
};

} // namespace tarno
