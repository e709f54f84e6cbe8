#pragma once

#include "TarnoCore/Cleanup/CleanupItem.hpp"
#include "TarnoCore/Cleanup/Tools/Docker.hpp"
#include "TarnoCore/Cleanup/Tools/Simulators.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarno {

// The machine as the catalog sees it. Every callable may be called from any thread.
struct CleanupEnvironment {
    std::string home; // no trailing slash
    Platform::UserFolders folders; // the home's cache, config, data, downloads and Trash folders
    // Identifiers are bundle identifiers, and on Linux also Flatpak app ids
    // and desktop entry ids: they name applications the same way.
    std::function<bool(const std::vector<std::string>& names, const std::vector<std::string>& bundleIDs)> isAppInstalled;
    std::function<std::optional<std::string>(const std::string& bundleID)> appName;
    std::function<std::vector<std::string>()> installedBundleIDs;
    std::function<std::vector<SimulatorDevice>()> simulators;
    std::vector<std::string> globalNpmConfigFiles;
    std::optional<std::string> rootYarnCache;
    std::optional<std::string> aptArchives; // the package manager's downloads, outside the home
    // The tools are asked by running them: slow, so they can be stopped.
    std::function<DockerStatus(const std::function<bool()>& isCancelled)> docker;
    std::function<std::vector<CleanupItem>(const std::function<bool()>& isCancelled)> toolItems;
    // What a rule that goes by age takes as the present.
    std::function<std::chrono::system_clock::time_point()> now;

    // This machine.
    static CleanupEnvironment live();

    // This machine, with the catalog looking at another home folder.
    static CleanupEnvironment live(std::string home);

    // A machine with the given home and nothing else: no apps, no tools, no
    // folders outside the home; its folders are the defaults under the home,
    // and its clock is the real one.
    static CleanupEnvironment empty(std::string home);
};

} // namespace tarno
