#pragma once

#include "TarnoCore/Apps/InstalledApps.hpp"
#include "TarnoCore/Platform/ProcessTable.hpp"

#include <cstdint>
#include <vector>

// Which running processes belong to an installed application, so it can be
// asked to quit before it is removed. Reads the process table only; safe on
// any thread.
namespace tarno::RunningApps {

// The processes of `app` that are still running, in increasing pid order,
// never the calling process itself: for a bundle those whose executable lies
// inside it, for a Flatpak app those in its sandbox, for an AppImage those
// its runtime started (their APPIMAGE names the file).
std::vector<std::int32_t> pids(const InstalledApp& app, const Platform::ProcessTable& table = {});

} // namespace tarno::RunningApps
