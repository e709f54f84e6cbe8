// Application entries as the freedesktop.org desktop entry and base directory
// standards describe them.

#include "TarnoCore/Platform/DesktopEntries.hpp"
#include "TarnoCore/Platform/FolderListing.hpp"

#include "TarnoCore/Platform/Text.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include <sys/stat.h>

namespace tarno::Platform {

namespace {

struct EntryGroup {
    std::optional<std::string> exec;
    std::optional<std::string> name;
    std::optional<std::string> icon;
    std::optional<std::string> tryExec;
    bool hidden = false;
};

// Calls `visit(key, value)` for each key of the [Desktop Entry] group, in
// order, until it returns false; other groups, such as the entry's extra
// actions, have an Exec of their own.
template <typename Visit>
void forEachEntryKey(std::string_view text, Visit visit)
{
    bool inGroup = false;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = Text::trimmed(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (line.starts_with('[')) {
            inGroup = line == "[Desktop Entry]";
            continue;
        }
        const std::size_t equals = line.find('=');
        if (!inGroup || line.starts_with('#') || equals == std::string_view::npos)
            continue;
        if (!visit(Text::trimmed(line.substr(0, equals)), Text::trimmed(line.substr(equals + 1))))
            return;
    }
}

// The keys of the [Desktop Entry] group that decide the command.
EntryGroup desktopEntryGroup(std::string_view text)
{
    EntryGroup group;
    forEachEntryKey(text, [&group](std::string_view key, std::string_view value) {
        if (key == "Exec" && !group.exec)
            group.exec = std::string(value);
        else if (key == "Name" && !group.name)
            group.name = std::string(value);
        else if (key == "Icon" && !group.icon)
            group.icon = std::string(value);
        else if (key == "TryExec" && !group.tryExec)
            group.tryExec = std::string(value);
        else if (key == "Hidden")
            group.hidden = value == "true";
        return true;
    });
    return group;
}

// The raw value of `key` in the [Desktop Entry] group, the first one given.
std::optional<std::string> groupValue(std::string_view text, std::string_view wanted)
{
    std::optional<std::string> found;
    forEachEntryKey(text, [&](std::string_view key, std::string_view value) {
        if (key == wanted)
            found = std::string(value);
        return !found;
    });
    return found;
}

// The escapes every string value of an entry may hold; \0 for a character
// that is not one. Others, such as \" and \$, are left for the quoting of Exec.
char decodedEscape(char c)
{
    switch (c) {
    case 's': return ' ';
    case 'n': return '\n';
    case 't': return '\t';
    case 'r': return '\r';
    case '\\': return '\\';
    default: return '\0';
    }
}

std::string unescaped(std::string_view value)
{
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char decoded = value[i] == '\\' && i + 1 < value.size() ? decodedEscape(value[i + 1]) : '\0';
        if (decoded != '\0') {
            text += decoded;
            ++i;
        } else {
            text += value[i];
        }
    }
    return text;
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Exec's arguments: separated by blanks, double quotes around an argument
// that holds blanks, with \" \` \$ and \\ inside them for the character
// itself. "%%" is a percent sign; any other "%" and a letter is a field code
// for what the launcher fills in, left out here, and so is an argument that
// was nothing else.
std::optional<std::vector<std::string>> arguments(std::string_view exec)
{
    std::vector<std::string> result;
    std::string current;
    bool started = false;
    bool quoted = false;
    for (std::size_t i = 0; i < exec.size(); ++i) {
        const char c = exec[i];
        const char next = i + 1 < exec.size() ? exec[i + 1] : '\0';
        if (quoted && c == '"') {
            quoted = false;
            continue;
        }
        if (quoted && c == '\\' && (next == '"' || next == '`' || next == '$' || next == '\\')) {
            current += next;
            ++i;
            continue;
        }
        if (!quoted && (c == ' ' || c == '\t' || c == '\n')) {
            if (started)
                result.push_back(std::move(current));
            current.clear();
            started = false;
            continue;
        }
        if (!quoted && c == '"') {
            quoted = true;
            started = true;
            continue;
        }
        if (c == '%' && (next == '%' || isLetter(next))) {
            if (next == '%') {
                current += '%';
                started = true;
            }
            ++i;
            continue;
        }
        current += c;
        started = true;
    }
    if (quoted)
        return std::nullopt;
    if (started)
        result.push_back(std::move(current));
    if (result.empty())
        return std::nullopt;
    return result;
}

std::optional<std::string> contents(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool isAbsolute(const char* path) { return path != nullptr && path[0] == '/'; }

// A string value of the group, escapes decoded; nothing when it is empty.
std::optional<std::string> nonEmpty(const std::optional<std::string>& value)
{
    if (!value)
        return std::nullopt;
    std::string text = unescaped(*value);
    if (text.empty())
        return std::nullopt;
    return text;
}

bool isFile(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// How large the images of an icon theme's size folder are: "48x48" and
// "24x24@2" by their pixels, "scalable" above any, anything else below.
std::uint64_t iconSizeRank(std::string_view folder)
{
    if (folder == "scalable")
        return std::numeric_limits<std::uint64_t>::max();
    std::uint32_t size = 0;
    if (std::from_chars(folder.data(), folder.data() + folder.size(), size).ec != std::errc())
        return 0;
    std::uint32_t scale = 1;
    if (const std::size_t at = folder.find('@'); at != std::string_view::npos
        && std::from_chars(folder.data() + at + 1, folder.data() + folder.size(), scale).ec != std::errc())
        scale = 1;
    return std::uint64_t{size} * std::max<std::uint32_t>(scale, 1);
}

constexpr std::string_view entrySuffix = ".desktop";

// The ids of the entries in `folder`: a file's name without ".desktop",
// prefixed with the names of the subfolders it lies in, joined by "-".
// Subfolders are followed a few levels down, never through a link.
void collectEntryIDs(const std::filesystem::path& folder, const std::string& prefix, int depth,
                     std::vector<std::string>& ids)
{
    std::error_code error;
    std::vector<std::pair<std::string, bool>> names;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        std::error_code typeError;
        names.emplace_back(it->path().filename().string(), it->is_directory(typeError) && !it->is_symlink(typeError));
    }
    std::sort(names.begin(), names.end());
    for (const auto& [name, isFolder] : names) {
        if (isFolder && depth > 0)
            collectEntryIDs(folder / name, prefix + name + "-", depth - 1, ids);
        else if (!isFolder && name.size() > entrySuffix.size() && name.ends_with(entrySuffix))
            ids.push_back(prefix + name.substr(0, name.size() - entrySuffix.size()));
    }
}

// $XDG_DATA_HOME, then $XDG_DATA_DIRS, with their defaults; relative paths
// are to be ignored.
std::vector<std::string> dataDirectories()
{
    std::vector<std::string> dirs;
    if (const char* dataHome = std::getenv("XDG_DATA_HOME"); isAbsolute(dataHome))
        dirs.emplace_back(dataHome);
    else if (const std::string home = homeFolder(); !home.empty())
        dirs.push_back(home + "/.local/share");

    const std::vector<std::string> shared = sharedDataFolders();
    dirs.insert(dirs.end(), shared.begin(), shared.end());
    return dirs;
}

} // namespace

std::vector<std::string> sharedDataFolders()
{
    std::vector<std::string> shared;
    std::string_view list = std::getenv("XDG_DATA_DIRS") ? std::getenv("XDG_DATA_DIRS") : "";
    while (!list.empty()) {
        const std::size_t colon = list.find(':');
        const std::string dir(list.substr(0, colon));
        list = colon == std::string_view::npos ? std::string_view() : list.substr(colon + 1);
        if (isAbsolute(dir.c_str()))
            shared.push_back(dir);
    }
    if (shared.empty())
        shared = {"/usr/local/share", "/usr/share"};
    return shared;
}

std::string_view dockerDesktopID() { return "docker-desktop"; }

std::optional<std::vector<std::string>> desktopApplicationCommand(std::string_view desktopID)
{
    return desktopApplicationCommand(desktopID, dataDirectories());
}

std::optional<std::vector<std::string>> desktopApplicationCommand(std::string_view desktopID,
                                                                  const std::vector<std::string>& dataDirs)
{
    if (desktopID.empty() || desktopID.find('/') != std::string_view::npos)
        return std::nullopt;
    for (const std::string& dir : dataDirs) {
        if (const std::optional<std::string> text =
                contents(dir + "/applications/" + std::string(desktopID) + ".desktop"))
            return desktopEntryCommand(*text);
    }
    return std::nullopt;
}

std::optional<std::vector<std::string>> desktopEntryCommand(std::string_view entryText)
{
    const EntryGroup group = desktopEntryGroup(entryText);
    if (group.hidden || !group.exec)
        return std::nullopt;
    return arguments(unescaped(*group.exec));
}

std::optional<std::string> desktopApplicationName(std::string_view desktopID, const std::vector<std::string>& dataDirs)
{
    if (desktopID.empty() || desktopID.find('/') != std::string_view::npos)
        return std::nullopt;
    for (const std::string& dir : dataDirs) {
        if (const std::optional<std::string> text =
                contents(dir + "/applications/" + std::string(desktopID) + ".desktop"))
            return desktopEntryName(*text);
    }
    return std::nullopt;
}

std::optional<std::string> desktopEntryName(std::string_view entryText)
{
    const EntryGroup group = desktopEntryGroup(entryText);
    if (!group.name)
        return std::nullopt;
    std::string name = unescaped(*group.name);
    if (name.empty())
        return std::nullopt;
    return name;
}

std::optional<std::string> desktopEntryIcon(std::string_view entryText)
{
    return nonEmpty(desktopEntryGroup(entryText).icon);
}

std::optional<std::string> desktopEntryTryExec(std::string_view entryText)
{
    return nonEmpty(desktopEntryGroup(entryText).tryExec);
}

std::optional<std::vector<std::string>> desktopEntryExec(std::string_view entryText)
{
    const EntryGroup group = desktopEntryGroup(entryText);
    if (!group.exec)
        return std::nullopt;
    return arguments(unescaped(*group.exec));
}

bool desktopEntryHidden(std::string_view entryText)
{
    return desktopEntryGroup(entryText).hidden;
}

std::optional<std::string> desktopEntryValue(std::string_view entryText, std::string_view key)
{
    const std::optional<std::string> value = groupValue(entryText, key);
    if (!value)
        return std::nullopt;
    return unescaped(*value);
}

std::vector<std::string> desktopEntryList(std::string_view entryText, std::string_view key)
{
    std::vector<std::string> items;
    const std::optional<std::string> value = groupValue(entryText, key);
    if (!value)
        return items;
    std::string raw;
    const auto finish = [&] {
        if (std::string item = unescaped(raw); !item.empty())
            items.push_back(std::move(item));
        raw.clear();
    };
    for (std::size_t i = 0; i < value->size(); ++i) {
        const char c = (*value)[i];
        if (c == '\\' && i + 1 < value->size()) {
            // "\;" is a semicolon inside an item; other escapes are the string's own.
            if ((*value)[i + 1] == ';')
                raw += ';';
            else
                raw.append(*value, i, 2);
            ++i;
        } else if (c == ';') {
            finish();
        } else {
            raw += c;
        }
    }
    finish();
    return items;
}

std::vector<std::string> hicolorIconFiles(const std::string& dataDir, std::string_view iconName)
{
    std::vector<std::string> files;
    if (iconName.empty() || iconName.find('/') != std::string_view::npos)
        return files;
    const std::string theme = dataDir + "/icons/hicolor";
    std::vector<std::pair<std::uint64_t, std::string>> found;
    for (const std::string& size : visibleNames(theme)) {
        for (const char* extension : {".svg", ".png"}) {
            std::string path = theme + "/" + size + "/apps/" + std::string(iconName) + extension;
            if (isFile(path))
                found.emplace_back(iconSizeRank(size), std::move(path));
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    for (auto& [rank, path] : found)
        files.push_back(std::move(path));
    return files;
}

std::vector<std::string> flatpakAppFolders(const std::string& dataHome)
{
    return {"/var/lib/flatpak/app", dataHome + "/flatpak/app"};
}

std::vector<std::string> flatpakExportFolders(const std::string& dataHome)
{
    return {"/var/lib/flatpak/exports/share", dataHome + "/flatpak/exports/share"};
}

std::vector<std::string> installedApplicationIDs(const std::vector<std::string>& flatpakFolders,
                                                 const std::vector<std::string>& dataDirs)
{
    std::vector<std::string> ids;
    for (const std::string& folder : flatpakFolders) {
        const std::vector<std::string> names = visibleNames(folder);
        ids.insert(ids.end(), names.begin(), names.end());
    }
    // The desktop entry standard lets entries sit in subfolders; two levels is
    // more than any distribution uses.
    for (const std::string& dir : dataDirs)
        collectEntryIDs(dir + "/applications", "", 2, ids);
    return ids;
}

} // namespace tarno::Platform
