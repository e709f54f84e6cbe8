#include "Tarno/ApplicationsMachine.hpp"

#include "Tarno/FileViewer.hpp"

#include "TarnoCore/Apps/AppInventory.hpp"
#include "TarnoCore/Apps/AppRemover.hpp"
#include "TarnoCore/Foundation/PrivacyAccess.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"
#include "TarnoCore/Platform/Locations.hpp"

namespace tarno {

ApplicationsMachine ApplicationsMachine::live()
{
    return ApplicationsMachine{
        .list = AppInventory::list,
        .ownBundleID = [] { return Platform::ownApplicationID(); },
        .hasFullDiskAccess = PrivacyAccess::hasFullDiskAccess,
        .footprint = AppInventory::parts,
        .measure = [](const std::string& path, const IsCancelled& isCancelled) {
            return SizeScanner::measure({path}, isCancelled).bytes;
        },
        .quit = [](const InstalledApp& app) { return AppInventory::quit(app); },
        .removeApps = [](const PathGuard& guardian, const std::vector<std::string>& paths) {
            return AppRemover::live(guardian).remove(paths);
        },
        .trash = [](const PathGuard& guardian, const std::vector<std::string>& paths) {
            return Cleaner{guardian}.perform(CleanupAction::Trash{paths});
        },
        .reveal = [](const std::vector<std::string>& paths) { FileViewer::reveal(paths); },
    };
}

} // namespace tarno
