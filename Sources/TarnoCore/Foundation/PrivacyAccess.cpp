#include "TarnoCore/Foundation/PrivacyAccess.hpp"

#include "TarnoCore/Platform/Locations.hpp"

#include <cerrno>

#include <dirent.h>

namespace tarno::PrivacyAccess {

namespace {

// True when the folder opens and reads to its end; what it holds is not used.
bool canList(const std::string& folder)
{
    DIR* listing = ::opendir(folder.c_str());
    if (listing == nullptr)
        return false;
    bool succeeded = true;
    for (;;) {
        errno = 0;
        if (::readdir(listing) != nullptr)
            continue;
        succeeded = errno == 0;
        break;
    }
    ::closedir(listing);
    return succeeded;
}

} // namespace

bool hasFullDiskAccess(const std::string& home)
{
    return canList(Platform::privacyProbeFolder(home));
}

std::set<std::string> appContainerFolders(const std::string& home)
{
    return {home + "/Library/Containers", home + "/Library/Group Containers"};
}

} // namespace tarno::PrivacyAccess
