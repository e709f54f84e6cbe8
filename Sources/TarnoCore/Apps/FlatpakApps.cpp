#include "TarnoCore/Apps/FlatpakApps.hpp"

#include "TarnoCore/Apps/AppFootprint.hpp"
#include "TarnoCore/Platform/DesktopEntries.hpp"
#include "TarnoCore/Platform/FolderListing.hpp"

#include "TarnoCore/Foundation/NaturalOrder.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno::FlatpakApps {

namespace {

// Desktop entries and metainfo files are a few kilobytes; anything far
// larger is not one.
constexpr std::streamsize largestText = 1 << 20;

// A real folder: a link to one does not count.
bool isFolder(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// A folder, or a link to one: how Flatpak marks the deployment in use.
bool isDeployed(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<std::string> smallText(const std::string& path)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > largestText)
        return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// The value of the attribute `name` in the text of one XML start tag.
std::optional<std::string> attribute(std::string_view tag, std::string_view name)
{
    for (std::size_t position = tag.find(name); position != std::string_view::npos;
         position = tag.find(name, position + name.size())) {
        // A whole attribute name: "subversion" is not "version".
        if (position == 0 || !isBlank(tag[position - 1]))
            continue;
        std::size_t at = position + name.size();
        while (at < tag.size() && isBlank(tag[at]))
            ++at;
        if (at >= tag.size() || tag[at] != '=')
            continue;
        ++at;
        while (at < tag.size() && isBlank(tag[at]))
            ++at;
        if (at >= tag.size() || (tag[at] != '"' && tag[at] != '\''))
            continue;
        const std::size_t end = tag.find(tag[at], at + 1);
        if (end == std::string_view::npos)
            return std::nullopt;
        return std::string(tag.substr(at + 1, end - at - 1));
    }
    return std::nullopt;
}

// The version of the first <release> of a metainfo file, where AppStream
// lists the newest release first. Comments are passed over.
std::optional<std::string> newestRelease(std::string_view xml)
{
    constexpr std::string_view release = "<release";
    std::size_t position = 0;
    for (;;) {
        const std::size_t comment = xml.find("<!--", position);
        const std::size_t tag = xml.find(release, position);
        if (tag == std::string_view::npos)
            return std::nullopt;
        if (comment < tag) {
            const std::size_t commentEnd = xml.find("-->", comment + 4);
            if (commentEnd == std::string_view::npos)
                return std::nullopt;
            position = commentEnd + 3;
            continue;
        }
        position = tag + release.size();
        if (position >= xml.size() || xml[position] == '>' || xml[position] == '/')
            return std::nullopt; // a release without attributes
        // "<releases>" opens the list; only a <release> tag itself counts.
        if (!isBlank(xml[position]))
            continue;
        const std::size_t end = xml.find('>', position);
        if (end == std::string_view::npos)
            return std::nullopt;
        std::optional<std::string> version = attribute(xml.substr(position, end - position), "version");
        if (version && version->empty())
            return std::nullopt;
        return version;
    }
}

std::optional<std::string> versionOf(const std::string& deployment, const std::string& id)
{
    const std::string share = deployment + "/files/share/";
    for (const std::string& file : {share + "metainfo/" + id + ".metainfo.xml", share + "metainfo/" + id + ".appdata.xml",
                                    share + "appdata/" + id + ".appdata.xml"}) {
        if (const std::optional<std::string> xml = smallText(file))
            return newestRelease(*xml);
    }
    return std::nullopt;
}

// An icon name the app exports an image for becomes that image's path, as
// the desktop finds it among the exports; otherwise the entry's value stays.
std::optional<std::string> iconOf(const std::string& deployment, const std::optional<std::string>& icon)
{
    if (!icon || icon->starts_with('/'))
        return icon;
    const std::vector<std::string> files = Platform::hicolorIconFiles(deployment + "/export/share", *icon);
    return files.empty() ? icon : std::optional(files.front());
}

} // namespace

std::vector<InstalledApp> list(const std::vector<std::string>& appFolders, const std::set<std::string>& excluding)
{
    std::vector<InstalledApp> apps;
    for (const std::string& folder : appFolders) {
        // Uninstalling removes the app's folder from this one, which takes
        // write access to it; the system's installation is root's.
        const bool needsPassword = ::access(folder.c_str(), W_OK) != 0;
        for (const std::string& id : Platform::visibleNames(folder)) {
            const std::string path = folder + "/" + id;
            const std::string deployment = path + "/current/active";
            if (excluding.contains(id) || !isFolder(path) || !isDeployed(deployment))
                continue;
            const std::optional<std::string> entry =
                smallText(deployment + "/export/share/applications/" + id + ".desktop");
            std::optional<std::string> name = entry ? Platform::desktopEntryName(*entry) : std::nullopt;
            apps.push_back(InstalledApp{
                .path = path,
                .name = name ? std::move(*name) : AppFootprint::guessedName(id),
                .bundleID = id,
                .version = versionOf(deployment, id),
                .lastOpened = std::nullopt,
                .needsPassword = needsPassword,
                .kind = AppKind::flatpak,
                .icon = iconOf(deployment, entry ? Platform::desktopEntryIcon(*entry) : std::nullopt),
                .ownFiles = {},
            });
        }
    }
    std::stable_sort(apps.begin(), apps.end(),
                     [](const InstalledApp& a, const InstalledApp& b) { return NaturalOrder::less(a.name, b.name); });
    return apps;
}

} // namespace tarno::FlatpakApps
