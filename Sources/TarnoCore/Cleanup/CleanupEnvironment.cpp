#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"

#include "TarnoCore/Apps/InstalledApps.hpp"
#include "TarnoCore/Cleanup/Tools/Homebrew.hpp"
#include "TarnoCore/Platform/DesktopEntries.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <algorithm>
#include <filesystem>

#include <sys/stat.h>

namespace tarno {

namespace {

// An application reached through a link counts; a dangling link does not.
bool exists(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

// The folders whose desktop entries name the applications installed here,
// Flatpak's exported ones included.
std::vector<std::string> entryFolders(const Platform::UserFolders& folders)
{
    std::vector<std::string> dirs{folders.data};
    const std::vector<std::string> shared = Platform::sharedDataFolders();
    const std::vector<std::string> exports = Platform::flatpakExportFolders(folders.data);
    dirs.insert(dirs.end(), shared.begin(), shared.end());
    dirs.insert(dirs.end(), exports.begin(), exports.end());
    return dirs;
}

// Bundles where a Mac keeps them, then Flatpak apps and desktop entries.
std::vector<std::string> installedIDs(const std::string& home, const Platform::UserFolders& folders)
{
    std::vector<std::string> ids = InstalledApps::bundleIDs(InstalledApps::cleanupFolders(home));
    const std::vector<std::string> linux =
        Platform::installedApplicationIDs(Platform::flatpakAppFolders(folders.data), entryFolders(folders));
    ids.insert(ids.end(), linux.begin(), linux.end());
    return ids;
}

} // namespace

CleanupEnvironment CleanupEnvironment::live() { return live(Platform::homeFolder()); }

CleanupEnvironment CleanupEnvironment::live(std::string home)
{
    CleanupEnvironment env = empty(std::move(home));
    env.folders = Platform::userFolders(env.home);
    // Applications are looked for where a Mac keeps them, which is also how the
    // rules are tried on made-up homes. The folders are read on every call, so
    // an app removed meanwhile is seen as gone. The tools are asked for real, each time.
    env.isAppInstalled = [home = env.home, folders = env.folders](const std::vector<std::string>& names,
                                                                  const std::vector<std::string>& bundleIDs) {
        for (const std::string& name : names) {
            if (exists(Platform::systemApplicationsFolder() + "/" + name + ".app")
                || exists(home + "/Applications/" + name + ".app"))
                return true;
        }
        if (bundleIDs.empty())
            return false;
        const std::vector<std::string> installed = installedIDs(home, folders);
        return std::any_of(bundleIDs.begin(), bundleIDs.end(), [&](const std::string& id) {
            return !id.empty() && std::find(installed.begin(), installed.end(), id) != installed.end();
        });
    };
    env.appName = [home = env.home, folders = env.folders](const std::string& bundleID) -> std::optional<std::string> {
        if (const auto bundle = InstalledApps::bundleWithID(InstalledApps::cleanupFolders(home), bundleID))
            return std::filesystem::path(*bundle).stem().string(); // "Name.app" gives "Name"
        return Platform::desktopApplicationName(bundleID, entryFolders(folders));
    };
    env.installedBundleIDs = [home = env.home, folders = env.folders] { return installedIDs(home, folders); };
    env.simulators = [] { return Simulators::list(); };
    env.globalNpmConfigFiles = Platform::globalNpmConfigFiles();
    env.rootYarnCache = Platform::rootYarnCache();
    env.aptArchives = Platform::aptArchivesFolder();
    env.docker = [home = env.home](const std::function<bool()>& isCancelled) {
        return Docker::status(Docker::cliCandidates(home), isCancelled);
    };
    env.toolItems = [](const std::function<bool()>& isCancelled) {
        std::vector<CleanupItem> items;
        if (std::optional<CleanupItem> homebrew = Homebrew::cleanupItem(isCancelled))
            items.push_back(std::move(*homebrew));
        return items;
    };
    return env;
}

CleanupEnvironment CleanupEnvironment::empty(std::string home)
{
    Platform::UserFolders folders = Platform::userFolders(home, false, {});
    return CleanupEnvironment{
        .home = std::move(home),
        .folders = std::move(folders),
        .isAppInstalled = [](const std::vector<std::string>&, const std::vector<std::string>&) { return false; },
        .appName = [](const std::string&) -> std::optional<std::string> { return std::nullopt; },
        .installedBundleIDs = [] { return std::vector<std::string>{}; },
        .simulators = [] { return std::vector<SimulatorDevice>{}; },
        .globalNpmConfigFiles = {},
        .rootYarnCache = std::nullopt,
        .aptArchives = std::nullopt,
        .docker = [](const std::function<bool()>&) { return DockerStatus::notInstalled(); },
        .toolItems = [](const std::function<bool()>&) { return std::vector<CleanupItem>{}; },
        .now = [] { return std::chrono::system_clock::now(); },
    };
}

} // namespace tarno
