#include "TarnoCore/Apps/AppImages.hpp"

#include "TarnoCore/Platform/DesktopEntries.hpp"
#include "TarnoCore/Platform/FileStatus.hpp"
#include "TarnoCore/Platform/FolderListing.hpp"

#include "TarnoCore/Foundation/NaturalOrder.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

namespace tarno::AppImages {

namespace {

constexpr std::string_view entrySuffix = ".desktop";
constexpr std::streamsize largestEntry = 1 << 20;

// A desktop entry of the data home that may belong to an AppImage.
struct Entry {
    std::string path;
    std::string id;                     // the file name without ".desktop"
    std::optional<std::string> program; // Exec's first argument
    std::optional<std::string> tryExec;
    std::optional<std::string> name;
    std::optional<std::string> icon;
};

// A file's name as people read it, and the version its maker put in it.
struct NameParts {
    std::string name;
    std::optional<std::string> version;
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool endsWithIgnoringCase(std::string_view text, std::string_view suffix)
{
    return text.size() >= suffix.size()
           && std::equal(suffix.begin(), suffix.end(), text.end() - static_cast<std::ptrdiff_t>(suffix.size()),
                         [](char a, char b) { return lowered(a) == lowered(b); });
}

// The text without a trailing "-x86_64" or the like, unless that is all of it.
std::string_view withoutArchitecture(std::string_view text)
{
    static constexpr std::array<std::string_view, 9> architectures = {
        "x86_64", "x86-64", "amd64", "x64", "aarch64", "arm64", "armhf", "i386", "i686"};
    for (const std::string_view architecture : architectures) {
        if (text.size() > architecture.size() + 1 && endsWithIgnoringCase(text, architecture)) {
            const char separator = text[text.size() - architecture.size() - 1];
            if (separator == '-' || separator == '_')
                return text.substr(0, text.size() - architecture.size() - 1);
        }
    }
    return text;
}

// "Obsidian-1.5.3.AppImage" is Obsidian 1.5.3: the name ends at the first
// "-" or "_" before a digit, and the architecture goes. The architecture is
// taken off first, so that the digits of "x86_64" do not start a version.
NameParts nameParts(std::string_view fileName)
{
    constexpr std::string_view extension = ".appimage";
    if (fileName.size() > extension.size() && endsWithIgnoringCase(fileName, extension))
        fileName.remove_suffix(extension.size());
    const std::string_view stem = withoutArchitecture(fileName);
    for (std::size_t i = 1; i + 1 < stem.size(); ++i) {
        if ((stem[i] == '-' || stem[i] == '_') && isDigit(stem[i + 1]))
            return {std::string(withoutArchitecture(stem.substr(0, i))),
                    std::string(withoutArchitecture(stem.substr(i + 1)))};
    }
    return {std::string(stem), std::nullopt};
}

std::optional<std::string> smallText(const std::string& path)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > largestEntry)
        return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string normal(const std::string& path)
{
    return std::filesystem::path(path).lexically_normal().string();
}

// The entries directly in "<dataHome>/applications", in plain name order.
std::vector<Entry> entries(const std::string& dataHome)
{
    std::vector<Entry> found;
    if (dataHome.empty())
        return found;
    const std::string folder = dataHome + "/applications";
    for (const std::string& fileName : Platform::visibleNames(folder)) {
        if (fileName.size() <= entrySuffix.size() || !fileName.ends_with(entrySuffix))
            continue;
        Entry entry;
        entry.path = folder + "/" + fileName;
        const std::optional<std::string> text = smallText(entry.path);
        if (!text)
            continue;
        entry.id = fileName.substr(0, fileName.size() - entrySuffix.size());
        if (const std::optional<std::vector<std::string>> command = Platform::desktopEntryCommand(*text))
            entry.program = normal(command->front());
        if (const std::optional<std::string> tryExec = Platform::desktopEntryTryExec(*text))
            entry.tryExec = normal(*tryExec);
        entry.name = Platform::desktopEntryName(*text);
        entry.icon = Platform::desktopEntryIcon(*text);
        found.push_back(std::move(entry));
    }
    return found;
}

bool isFile(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// The image files of an entry's icon that lie in the data home: every size
// of a named icon in its hicolor theme, or the file an absolute Icon names
// there. Anywhere else they are not the AppImage's own.
std::vector<std::string> iconFiles(const std::optional<std::string>& icon, const std::string& dataHome)
{
    if (!icon)
        return {};
    if (!icon->starts_with('/'))
        return Platform::hicolorIconFiles(dataHome, *icon);
    const std::string path = normal(*icon);
    const std::string home = normal(dataHome + "/");
    if (path.starts_with(home) && path.size() > home.size() && isFile(path))
        return {path};
    return {};
}

InstalledApp appImage(const std::string& folder, const std::string& fileName, const std::vector<Entry>& entries,
                      const std::string& dataHome)
{
    const std::string path = folder + "/" + fileName;
    const std::string normalPath = normal(path);
    NameParts parts = nameParts(fileName);
    InstalledApp app{
        .path = path,
        .name = std::move(parts.name),
        .bundleID = fileName,
        .version = std::move(parts.version),
        .lastOpened = std::nullopt,
        // Moving the file to the Trash takes write access to its folder.
        .needsPassword = ::access(folder.c_str(), W_OK) != 0,
        .kind = AppKind::appImage,
        .icon = std::nullopt,
        .ownFiles = {},
    };
    bool first = true;
    for (const Entry& entry : entries) {
        if (entry.program != normalPath && entry.tryExec != normalPath)
            continue;
        std::vector<std::string> icons = iconFiles(entry.icon, dataHome);
        if (first) {
            first = false;
            app.bundleID = entry.id;
            if (entry.name)
                app.name = *entry.name;
            if (entry.icon)
                app.icon = !entry.icon->starts_with('/') && !icons.empty() ? icons.front() : *entry.icon;
        }
        app.ownFiles.push_back(entry.path);
        app.ownFiles.insert(app.ownFiles.end(), std::make_move_iterator(icons.begin()),
                            std::make_move_iterator(icons.end()));
    }
    std::sort(app.ownFiles.begin(), app.ownFiles.end());
    app.ownFiles.erase(std::unique(app.ownFiles.begin(), app.ownFiles.end()), app.ownFiles.end());
    return app;
}

} // namespace

std::vector<InstalledApp> list(const std::vector<std::string>& folders, const std::string& dataHome)
{
    std::vector<InstalledApp> apps;
    const std::vector<Entry> known = entries(dataHome);
    for (const std::string& folder : folders) {
        for (const std::string& fileName : Platform::visibleNames(folder)) {
            if (Platform::isAppImage(folder + "/" + fileName))
                apps.push_back(appImage(folder, fileName, known, dataHome));
        }
    }
    std::stable_sort(apps.begin(), apps.end(),
                     [](const InstalledApp& a, const InstalledApp& b) { return NaturalOrder::less(a.name, b.name); });
    return apps;
}

} // namespace tarno::AppImages
