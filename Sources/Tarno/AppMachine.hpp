#pragma once

#include "Tarno/CleanupMachine.hpp"
#include "Tarno/DuplicatesMachine.hpp"
#include "Tarno/ApplicationsMachine.hpp"
#include "Tarno/LargeFilesMachine.hpp"
#include "Tarno/PerformanceMachine.hpp"
#include "Tarno/ProjectsMachine.hpp"

#include "TarnoCore/Cleanup/CleanupRecord.hpp"
#include "TarnoCore/Performance/DiskUsage.hpp"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarno {

// Everything the application asks of the machine: what the models share (the
// home folder, the history, the disk) and one record per section. The live
// machine for the application, the demo machine for `--demo` and the
// snapshots, made-up ones for the tests. Every callable may be called from
// any thread and may block.
struct AppMachine {
    // Where the history of removals is kept.
    struct History {
        // Newest first; nothing when it cannot be read.
        std::function<std::vector<CleanupRecord>()> load;
        std::function<void(const CleanupRecord&)> append;

        // The history file at this path.
        static History inFile(const std::string& file);
    };

    std::string home;
    History history;
    // The capacity of the volume that holds a path.
    std::function<std::optional<DiskUsage>(const std::string& path)> disk;
    CleanupMachine cleanup;
    ProjectsMachine projects;
    LargeFilesMachine largeFiles;
    DuplicatesMachine duplicates;
    ApplicationsMachine applications;
    PerformanceMachine performance;

    // This machine, looked at through the given environment.
    static AppMachine live(CleanupEnvironment environment);
};

} // namespace tarno
