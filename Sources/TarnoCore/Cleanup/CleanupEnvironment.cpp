#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"

#include "TarnoCore/Apps/InstalledApps.hpp"
#include "TarnoCore/Cleanup/Tools/Homebrew.hpp"
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

} // namespace

CleanupEnvironment CleanupEnvironment::live() { return live(Platform::homeFolder()); }

CleanupEnvironment CleanupEnvironment::live(std::string home)
{
    CleanupEnvironment env = empty(std::move(home));
    env.folders = Platform::userFolders(env.home);
    // Applications are looked for where a Mac keeps them, which is also how the
    // rules are tried on made-up homes. The folders are read on every call, so
    // an app removed meanwhile is seen as gone. The tools are asked for real, each time.
    env.isAppInstalled = [home = env.home](const std::vector<std::string>& names,
                                           const std::vector<std::string>& bundleIDs) {
        for (const std::string& name : names) {
            if (exists(Platform::systemApplicationsFolder() + "/" + name + ".app")
                || exists(home + "/Applications/" + name + ".app"))
                return true;
        }
        if (bundleIDs.empty())
            return false;
        const std::vector<std::string> installed = InstalledApps::bundleIDs(InstalledApps::cleanupFolders(home));
        return std::any_of(bundleIDs.begin(), bundleIDs.end(), [&](const std::string& id) {
            return !id.empty() && std::find(installed.begin(), installed.end(), id) != installed.end();
        });
    };
    env.appName = [home = env.home](const std::string& bundleID) -> std::optional<std::string> {
        const auto bundle = InstalledApps::bundleWithID(InstalledApps::cleanupFolders(home), bundleID);
        if (!bundle)
            return std::nullopt;
        return std::filesystem::path(*bundle).stem().string(); // "Name.app" gives "Name"
    };
    env.installedBundleIDs = [home = env.home] { return InstalledApps::bundleIDs(InstalledApps::cleanupFolders(home)); };
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
