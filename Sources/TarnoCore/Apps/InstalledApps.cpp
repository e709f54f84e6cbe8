#include "TarnoCore/Apps/InstalledApps.hpp"

#include "TarnoCore/Platform/FolderListing.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include "TarnoCore/Foundation/NaturalOrder.hpp"
#include "TarnoCore/Foundation/PropertyList.hpp"

#include <algorithm>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno::InstalledApps {

namespace {

constexpr std::string_view bundleSuffix = ".app";

bool endsWith(const std::string& text, std::string_view suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// A real folder: a link to one does not count.
bool isFolder(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The entry names of a folder without the hidden ones, in plain order; none
// when it cannot be listed.
std::vector<std::string> children(const std::string& folder)
{
    return Platform::visibleNames(folder);
}

// The bundle's Info.plist, binary or XML, when it is a dictionary.
std::optional<PropertyList::Dictionary> readInfo(const std::string& bundle)
{
    return PropertyList::readDictionary(bundle + "/Contents/Info.plist");
}

// Moving a folder to another folder takes write access to the folder that
// holds it and, for its ".." entry, to the folder itself.
bool canMove(const std::string& path)
{
    const std::string parent = std::filesystem::path(path).parent_path().string();
    return ::access(path.c_str(), W_OK) == 0 && ::access(parent.c_str(), W_OK) == 0;
}

// The bundle's own icon: CFBundleIconFile in its Resources, ".icns" when
// the name has no extension; nothing when there is no such file.
std::optional<std::string> iconFile(const std::string& bundle, const PropertyList::Dictionary& info)
{
    std::optional<std::string> name = info.string("CFBundleIconFile");
    if (!name || name->empty() || name->find('/') != std::string::npos)
        return std::nullopt;
    if (name->find('.') == std::string::npos)
        *name += ".icns";
    std::string path = bundle + "/Contents/Resources/" + *name;
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return path;
}

std::optional<std::string> bundleIDOf(const std::string& bundle)
{
    const std::optional<PropertyList::Dictionary> info = readInfo(bundle);
    return info ? info->string("CFBundleIdentifier") : std::nullopt;
}

} // namespace

std::optional<std::chrono::system_clock::time_point> spotlightLastOpened(const std::string& /*path*/)
{
    // Linux keeps no record of when an application was last used, so there is
    // never an answer here; the Mac's Spotlight index is what this stands for.
    return std::nullopt;
}

std::vector<InstalledApp> list(const std::vector<std::string>& folders, const std::set<std::string>& excluding,
                               const LastOpened& lastOpened)
{
    std::vector<InstalledApp> apps;
    for (const std::string& path : bundles(folders)) {
        const std::optional<PropertyList::Dictionary> info = readInfo(path);
        if (!info)
            continue;
        std::optional<std::string> bundleID = info->string("CFBundleIdentifier");
        if (!bundleID || bundleID->empty() || excluding.contains(*bundleID))
            continue;
        std::string name = std::filesystem::path(path).filename().string();
        name.resize(name.size() - bundleSuffix.size());
        apps.push_back(InstalledApp{
            .path = path,
            .name = std::move(name),
            .bundleID = std::move(*bundleID),
            .version = info->string("CFBundleShortVersionString"),
            .lastOpened = lastOpened ? lastOpened(path) : std::nullopt,
            .needsPassword = !canMove(path),
            .kind = AppKind::bundle,
            .icon = iconFile(path, *info),
            .ownFiles = {},
        });
    }
    std::stable_sort(apps.begin(), apps.end(),
                     [](const InstalledApp& a, const InstalledApp& b) { return NaturalOrder::less(a.name, b.name); });
    return apps;
}

std::vector<std::string> bundleIDs(const std::vector<std::string>& folders)
{
    std::vector<std::string> ids;
    for (const std::string& path : bundles(folders)) {
        if (std::optional<std::string> id = bundleIDOf(path))
            ids.push_back(std::move(*id));
    }
    return ids;
}

std::optional<std::string> bundleWithID(const std::vector<std::string>& folders, const std::string& bundleID)
{
    if (bundleID.empty())
        return std::nullopt;
    for (const std::string& path : bundles(folders)) {
        if (bundleIDOf(path) == bundleID)
            return path;
    }
    return std::nullopt;
}

std::vector<std::string> bundles(const std::vector<std::string>& folders)
{
    std::vector<std::string> paths;
    for (const std::string& folder : folders) {
        for (const std::string& name : children(folder)) {
            const std::string path = folder + "/" + name;
            if (!isFolder(path))
                continue;
            if (endsWith(name, bundleSuffix)) {
                // A bundle's contents, helper apps included, are its own.
                paths.push_back(path);
                continue;
            }
            // A folder such as Utilities: one level down and no deeper.
            for (const std::string& inner : children(path)) {
                const std::string innerPath = path + "/" + inner;
                if (endsWith(inner, bundleSuffix) && isFolder(innerPath))
                    paths.push_back(innerPath);
            }
        }
    }
    return paths;
}

std::vector<std::string> cleanupFolders(const std::string& home)
{
    return Platform::applicationFolders(home);
}

} // namespace tarno::InstalledApps
