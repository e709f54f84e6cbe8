#pragma once

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"
#include "TarnoCore/Cleanup/CleanupItem.hpp"
#include "TarnoCore/Cleanup/CleanupRun.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarno {

// What the Cleanup section asks of the machine, as values and callables: the
// live machine, the demo machine, or one a test makes up. Every callable may
// be called from any thread and may block.
struct CleanupMachine {
    using IsCancelled = std::function<bool()>;

    CleanupEnvironment environment;
    // The catalog's items for an environment.
    std::function<std::vector<CleanupItem>(const CleanupEnvironment&)> catalog;
    std::function<SizeResult(const CleanupItem&, const IsCancelled&)> measure;
    // Carries out an action, every path put to the guard first.
    std::function<CleanReport(const PathGuard&, const CleanupAction&, const IsCancelled&)> perform;
    // Removes root's paths after the platform's password prompt.
    CleanupRun::RemoveAsAdministrator removeAsAdministrator;
    std::function<bool(const std::string& home)> hasFullDiskAccess;
    // The command that opens Docker's desktop application; none when this
    // machine has none.
    std::optional<std::vector<std::string>> dockerApplication;
    // Starts a program and leaves it running; false when it could not start.
    std::function<bool(const std::vector<std::string>& command)> launch;

    // This machine, looked at through the given environment.
    static CleanupMachine live(CleanupEnvironment environment);

    // The road's view of this machine under one guard.
    CleanupRun::Machine road(const PathGuard& guardian) const;
};

} // namespace tarno
