// ~/.config/user-dirs.dirs, which xdg-user-dirs writes and users edit.

#include "FuzzSupport.hpp"

#include "TarnoCore/Platform/Locations.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::optional<std::string> folder = Platform::downloadFolderIn(Fuzz::text(data, size), "/home/fuzz");
    if (!folder)
        return 0;
    // The downloads folder is guarded as the user's own: it must be one absolute path.
    Fuzz::require(folder->starts_with('/'));
    Fuzz::require(folder->size() == 1 || !folder->ends_with('/'));
    Fuzz::require(folder->find('\n') == std::string::npos);
    return 0;
}
