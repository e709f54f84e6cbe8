#pragma once

#include "TarnoCore/Apps/InstalledApps.hpp"
#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

// What the Applications section asks of the machine: the live machine, the
// demo machine, or one a test makes up. Every callable but `reveal` is called
// off the main thread and may block.
struct ApplicationsMachine {
    using IsCancelled = std::function<bool()>;

    // The installed applications of every kind, in the order of their names,
    // less those whose identifier is in `excluding`.
    std::function<std::vector<InstalledApp>(const std::string& home, const std::set<std::string>& excluding)> list;
    // The identifier of the running program's own application, to leave out; empty when it has none.
    std::function<std::string()> ownBundleID;
    // Whether every folder of the home can be read.
    std::function<bool(const std::string& home)> hasFullDiskAccess;
    // What the app keeps besides itself, in the order to show; `others` are the
    // identifiers of the other installed applications.
    std::function<std::vector<std::string>(const InstalledApp& app, const std::string& home, bool includeContainers,
                                           const std::vector<std::string>& others)>
        footprint;
    // The bytes one path takes on disk.
    std::function<std::int64_t(const std::string& path, const IsCancelled& isCancelled)> measure;
    // Asks every running process of the app to quit and waits for them, up
    // to 10 seconds; true when none is left. Never forces them.
    std::function<bool(const InstalledApp& app)> quit;
    // Removes applications themselves (see AppRemover).
    std::function<CleanReport(const PathGuard& guardian, const std::vector<std::string>& paths)> removeApps;
    // Moves what an app kept to the Trash, every path put to the guard first.
    std::function<CleanReport(const PathGuard& guardian, const std::vector<std::string>& paths)> trash;
    // Shows the paths in the desktop's file viewer.
    std::function<void(const std::vector<std::string>& paths)> reveal;

    // This machine.
    static ApplicationsMachine live();
};

} // namespace tarno
