#pragma once

#include "TarnoCore/Apps/InstalledApps.hpp"
#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

// One thing on disk that belongs to an app, measured by itself.
struct AppPart {
    std::string path; // its identity
    std::int64_t bytes = 0;

    bool operator==(const AppPart&) const = default;
};

// What one removal did.
struct UninstallSummary {
    std::vector<std::string> apps; // the names of the apps that went, in the order of removal
    std::int64_t trashed = 0;      // bytes of all parts that went
    std::vector<CleanReport::Failure> failures;

    bool operator==(const UninstallSummary&) const = default;
};

// The removal of applications with what they keep: each open app is asked to
// quit, one after the other; the apps that closed go together (see
// AppRemover), then each removed app's other parts go to the Trash. An app
// that stays open is left alone entirely; an app counts as removed once it
// has gone itself, whatever happened to its other parts.
namespace AppUninstall {

struct Machine {
    // Asks the app's processes to quit and waits for them; true when none is left.
    std::function<bool(const InstalledApp& app)> quit;
    // Removes applications themselves.
    std::function<CleanReport(const std::vector<std::string>& paths)> removeApps;
    // Moves an app's other parts to the Trash; called for every removed app, with no paths too.
    std::function<CleanReport(const std::vector<std::string>& paths)> trash;
};

struct Progress {
    // What is being worked on: an app's name, "N apps", or nothing at the end.
    std::function<void(const std::string& name)> working;
    // An app has gone.
    std::function<void(const InstalledApp& app)> removed;
};

// The reason an app that would not quit stays.
std::string stillOpenReason(const std::string& name);

// Removes `apps`, in order. `parts` holds each app's parts by its path, the
// app itself first; the parts in `kept` stay. Blocks: call it off the main
// thread. Cancellation is looked at before each app is asked to quit.
UninstallSummary run(const std::vector<InstalledApp>& apps, const std::map<std::string, std::vector<AppPart>>& parts,
                     const std::set<std::string>& kept, const Machine& machine, const Progress& progress = {},
                     const std::function<bool()>& isCancelled = [] { return false; });

// The history's record of a removal, "Applications" its source.
CleanupRecord record(const UninstallSummary& summary, std::chrono::system_clock::time_point date);

} // namespace AppUninstall

} // namespace tarno
