#pragma once

#include "TarnoCore/Performance/DeveloperTools.hpp"
#include "TarnoCore/Performance/MemorySnapshot.hpp"
#include "TarnoCore/Performance/ProcessSampler.hpp"
#include "TarnoCore/Performance/StartupItems.hpp"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

using DeveloperTools::DeveloperTool;

// What the Performance section asks of the machine: the live machine, the
// demo machine, or one a test makes up. Everything but `now` and `reveal` is
// called off the main thread and may block.
struct PerformanceMachine {
    using TimePoint = std::chrono::system_clock::time_point;

    std::function<MemorySnapshot()> memory;
    // One sample from the section's own sampler: processor shares run from
    // the sampler's previous sample.
    std::function<ProcessSample()> sample;
    std::function<std::vector<DeveloperTool>(const ProcessSample& sample, const std::string& home)> findTools;
    // Stops a tool (SIGTERM, never a kill); whether that worked.
    std::function<bool(const DeveloperTool& tool)> stopTool;
    // Quits a group of processes: SIGTERM to each, or SIGKILL when forced.
    std::function<void(const ProcessGroup& group, bool force)> quitGroup;
    std::function<std::vector<StartupItem>(const std::string& home)> startupItems;
    // Nothing on success, else the reason for the user.
    std::function<std::optional<std::string>(const StartupItem& item, const std::string& home)> removeLeftover;
    // Watches the dev servers' folders for edits; the moments of the last
    // edits, and the folders only polled for want of kernel watches.
    std::function<void(const std::set<std::string>& folders)> watchFolders;
    std::function<std::map<std::string, TimePoint>()> folderChanges;
    std::function<std::set<std::string>()> polledFolders;
    std::function<TimePoint()> now;
    // The running program's own process, which is never offered to quit.
    std::int32_t ownPID = 0;
    std::function<void(const std::vector<std::string>& paths)> reveal;

    // This machine.
    static PerformanceMachine live();
};

} // namespace tarno
