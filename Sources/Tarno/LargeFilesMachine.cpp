#include "Tarno/LargeFilesMachine.hpp"

#include "Tarno/FileViewer.hpp"

#include "TarnoCore/Foundation/PrivacyAccess.hpp"
#include "TarnoCore/Platform/Locations.hpp"

namespace tarno {

LargeFilesMachine LargeFilesMachine::live()
{
    return LargeFilesMachine{
        .find = LargeFileFinder::find,
        .hasFullDiskAccess = PrivacyAccess::hasFullDiskAccess,
        .excludedFolders = [](const std::string& home, bool hasFullDiskAccess) {
            // What lies in the Trash is already on its way out: listing it
            // would offer to move it to where it is.
            std::set<std::string> excluded = {Platform::trashFolder(home)};
            if (!hasFullDiskAccess)
                excluded.merge(PrivacyAccess::appContainerFolders(home));
            return excluded;
        },
        .appDataFolders = [](const std::string& home) {
            return LargeFileFinder::appDataFolders(home, Platform::userFolders(home));
        },
        .perform = [](const PathGuard& guardian, const CleanupAction& action) {
            return Cleaner{guardian}.perform(action);
        },
        .reveal = [](const std::vector<std::string>& paths) { FileViewer::reveal(paths); },
    };
}

} // namespace tarno
