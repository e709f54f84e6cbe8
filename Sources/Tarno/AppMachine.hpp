#pragma once

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"
#include "TarnoCore/Cleanup/CleanupItem.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"
#include "TarnoCore/Performance/DiskUsage.hpp"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarno {

// Everything the application model asks of the machine, as values and
// callables: the live machine for the application, a made-up one for tests
// and demonstrations. Every callable may be called from any thread and may
// block.
struct AppMachine {
    CleanupEnvironment environment;
    // The catalog's items for an environment.
    std::function<std::vector<CleanupItem>(const CleanupEnvironment&)> catalog;
    std::function<SizeResult(const CleanupItem&)> measure;
    // Carries out an action, every path put to the guard first.
    std::function<CleanReport(const PathGuard&, const CleanupAction&)> perform;
    // Removes root's paths after the platform's password prompt: none on
    // success, "cancelled", or a message for the user.
    std::function<std::optional<std::string>(const std::vector<std::string>& paths, const std::string& prompt)>
        removeAsAdministrator;
    std::function<bool(const std::string& home)> hasFullDiskAccess;
    // The capacity of the volume that holds a path.
    std::function<std::optional<DiskUsage>(const std::string& path)> disk;
    std::string historyFile;
    // The command that opens Docker's desktop application; none when this
    // machine has none.
    std::optional<std::vector<std::string>> dockerApplication;
    // Starts a program and leaves it running; false when it could not start.
    std::function<bool(const std::vector<std::string>& command)> launch;

    // This machine, looked at through the given environment.
    static AppMachine live(CleanupEnvironment environment);
};

} // namespace tarno
