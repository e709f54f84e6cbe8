#include "TarnoCore/Apps/AppInventory.hpp"

#include "TarnoCore/Apps/AppFootprint.hpp"
#include "TarnoCore/Apps/AppImages.hpp"
#include "TarnoCore/Apps/FlatpakApps.hpp"
#include "TarnoCore/Apps/RunningApps.hpp"
#include "TarnoCore/Foundation/NaturalOrder.hpp"
#include "TarnoCore/Platform/DesktopEntries.hpp"
#include "TarnoCore/Platform/Locations.hpp"
#include "TarnoCore/Platform/ProcessControl.hpp"

#include <algorithm>

namespace tarno::AppInventory {

std::vector<InstalledApp> list(const std::string& home, const std::set<std::string>& excluding)
{
    const Platform::UserFolders folders = Platform::userFolders(home);
    std::vector<InstalledApp> apps =
        InstalledApps::list({Platform::systemApplicationsFolder(), home + "/Applications"}, excluding);
    for (std::vector<InstalledApp> more :
         {FlatpakApps::list(Platform::flatpakAppFolders(folders.data), excluding),
          AppImages::list({home + "/Applications", home + "/.local/bin"}, folders.data)}) {
        for (InstalledApp& app : more) {
            if (!excluding.contains(app.bundleID))
                apps.push_back(std::move(app));
        }
    }
    std::stable_sort(apps.begin(), apps.end(),
                     [](const InstalledApp& a, const InstalledApp& b) { return NaturalOrder::less(a.name, b.name); });
    return apps;
}

std::vector<std::string> parts(const InstalledApp& app, const std::string& home, bool includeContainers,
                               const std::vector<std::string>& others)
{
    std::vector<std::string> found = app.ownFiles;
    for (std::string& path : AppFootprint::paths(app.bundleID, app.name, home, Platform::userFolders(home),
                                                 includeContainers, others)) {
        if (std::find(found.begin(), found.end(), path) == found.end())
            found.push_back(std::move(path));
    }
    return found;
}

bool quit(const InstalledApp& app, int passes, std::chrono::milliseconds interval)
{
    const std::vector<std::int32_t> running = RunningApps::pids(app);
    return running.empty() || Platform::ProcessControl::terminate(running, passes, interval).empty();
}

} // namespace tarno::AppInventory
