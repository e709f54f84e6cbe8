#include "TarnoCore/Platform/FolderListing.hpp"

#include <algorithm>

#include <dirent.h>

namespace tarno::Platform {

std::vector<std::string> visibleNames(const std::string& folder)
{
    std::vector<std::string> names;
    DIR* listing = ::opendir(folder.c_str());
    if (listing == nullptr)
        return names;
    while (const dirent* entry = ::readdir(listing)) {
        if (entry->d_name[0] != '.')
            names.emplace_back(entry->d_name);
    }
    ::closedir(listing);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace tarno::Platform
