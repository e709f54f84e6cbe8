// The platform table: later modules read every Linux location from here.

#include "TarnoCore/Platform/Locations.hpp"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <pwd.h>
#include <unistd.h>

namespace tarno::Platform {

namespace {

// Paths are kept without a trailing slash; the root folder stays "/".
std::string withoutTrailingSlash(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

bool isAbsolute(const char* path)
{
    return path != nullptr && path[0] == '/';
}

std::string homeFromPasswd()
{
    long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::string buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 16384, '\0');
    struct passwd record;
    struct passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &record, buffer.data(), buffer.size(), &found) != 0 || found == nullptr
        || !isAbsolute(found->pw_dir))
        return {};
    return found->pw_dir;
}

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::optional<std::string> fileText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    return std::move(text).str();
}

// The variable's value when it names an absolute folder; XDG says to ignore others.
std::optional<std::string> absoluteVariable(const EnvironmentLookup& environment, std::string_view name)
{
    std::optional<std::string> value = environment ? environment(name) : std::nullopt;
    if (!value || !isAbsolute(value->c_str()))
        return std::nullopt;
    return withoutTrailingSlash(*value);
}

} // namespace

std::optional<std::string> downloadFolderIn(std::string_view userDirs, const std::string& home)
{
    std::optional<std::string> found;
    std::size_t start = 0;
    while (start < userDirs.size()) {
        const std::size_t end = std::min(userDirs.find('\n', start), userDirs.size());
        const std::string_view line = trimmed(userDirs.substr(start, end - start));
        start = end + 1;
        const std::size_t equals = line.find('=');
        if (line.starts_with('#') || equals == std::string_view::npos
            || trimmed(line.substr(0, equals)) != "XDG_DOWNLOAD_DIR")
            continue;
        std::string_view value = trimmed(line.substr(equals + 1));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        std::string folder;
        if (value == "$HOME" || value.starts_with("$HOME/"))
            folder = home + std::string(value.substr(5));
        else if (value.starts_with('/'))
            folder = std::string(value);
        else
            continue;
        // The last line wins, as the shell that sources the file would have it.
        found = withoutTrailingSlash(folder);
    }
    return found;
}

UserFolders userFolders(const std::string& home, bool isOwnHome, const EnvironmentLookup& environment)
{
    const EnvironmentLookup none;
    const EnvironmentLookup& variables = isOwnHome ? environment : none;
    UserFolders folders;
    folders.cache = absoluteVariable(variables, "XDG_CACHE_HOME").value_or(home + "/.cache");
    folders.config = absoluteVariable(variables, "XDG_CONFIG_HOME").value_or(home + "/.config");
    folders.data = absoluteVariable(variables, "XDG_DATA_HOME").value_or(home + "/.local/share");
    folders.trash = folders.data + "/Trash";
    const std::optional<std::string> userDirs = fileText(folders.config + "/user-dirs.dirs");
    folders.downloads =
        (userDirs ? downloadFolderIn(*userDirs, home) : std::nullopt).value_or(home + "/Downloads");
    return folders;
}

UserFolders userFolders(const std::string& home)
{
    return userFolders(home, home == homeFolder(), [](std::string_view name) -> std::optional<std::string> {
        const char* value = std::getenv(std::string(name).c_str());
        return value ? std::optional<std::string>(value) : std::nullopt;
    });
}

GuardedPlaces guardedPlaces(const std::string& home, const UserFolders& folders)
{
    GuardedPlaces places{
        // The desktop's keyring, the browsers' certificate store, pass(1)'s
        // store and Docker's registry logins.
        .neverTouch = {".local/share/keyrings", ".pki", ".password-store", ".docker/config.json"},
        .personalTrees = {"Videos", "Templates"},
        // The base folders hold every program's settings and data; the Trash's
        // two halves must stay for other Trash readers; Flatpak apps keep
        // everything they have in .var/app.
        .keptFolders = {".config", ".local/share", ".local/state", ".var/app"},
    };
    const auto addInside = [&home](std::vector<std::string>& list, const std::string& path) {
        if (path.size() <= home.size() + 1 || !path.starts_with(home) || path[home.size()] != '/')
            return;
        std::string relative = path.substr(home.size() + 1);
        if (std::find(list.begin(), list.end(), relative) == list.end())
            list.push_back(std::move(relative));
    };
    addInside(places.neverTouch, folders.data + "/keyrings");
    addInside(places.personalTrees, folders.downloads);
    for (const std::string& kept : {folders.cache, folders.config, folders.data, folders.trash + "/files",
                                    folders.trash + "/info"})
        addInside(places.keptFolders, kept);
    return places;
}

std::string homeFolder()
{
    const char* fromEnvironment = std::getenv("HOME");
    if (isAbsolute(fromEnvironment))
        return withoutTrailingSlash(fromEnvironment);
    return withoutTrailingSlash(homeFromPasswd());
}

std::string trashFolder(const std::string& home, const std::optional<std::string>& dataHome)
{
    // The XDG rule: a data home that is empty or relative is to be ignored.
    if (dataHome && isAbsolute(dataHome->c_str()))
        return withoutTrailingSlash(*dataHome) + "/Trash";
    return home + "/.local/share/Trash";
}

std::string trashFolder(const std::string& home)
{
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    return trashFolder(home, dataHome ? std::optional<std::string>(dataHome) : std::nullopt);
}

const std::set<std::string, std::less<>>& sharedUserFolderEntries()
{
    // The freedesktop.org standards' own entries, and those of the toolkits and
    // services every desktop runs.
    static const std::set<std::string, std::less<>> entries = {
        "applications", "autostart",  "backgrounds", "dbus-1",   "dconf",        "desktop-directories",
        "environment.d", "flatpak",   "fontconfig",  "fonts",    "gtk-2.0",      "gtk-3.0",
        "gtk-4.0",      "icons",      "keyrings",    "menus",    "mime",         "mimeapps.list",
        "pulse",        "recently-used.xbel", "sounds", "systemd", "themes",     "thumbnails",
        "trash",        "user-dirs.dirs", "user-dirs.locale", "xdg-desktop-portal",
    };
    return entries;
}

std::string ownApplicationID()
{
    return "dev.tarno.Tarno";
}

// Qt files the application's cache under its organisation's name.
std::string ownCacheFolderName()
{
    return "Tarno";
}

std::string runningExecutablePath()
{
    char resolved[PATH_MAX];
    if (::realpath("/proc/self/exe", resolved) == nullptr)
        return {};
    return resolved;
}

// No privacy gate guards a Linux home; being able to list it is the whole question.
std::string privacyProbeFolder(const std::string& home)
{
    return home;
}

std::vector<std::string> globalNpmConfigFiles()
{
    // Homebrew's and a manual install's places, then Debian's npm and a prefix of /usr.
    return {"/opt/homebrew/etc/npmrc", "/usr/local/etc/npmrc", "/etc/npmrc", "/usr/etc/npmrc"};
}

std::optional<std::string> rootYarnCache()
{
    return "/usr/local/share/.cache/yarn";
}

std::optional<std::string> aptArchivesFolder()
{
    return "/var/cache/apt/archives";
}

// Application bundles are looked for where a Mac keeps them, which is also
// how the rules are tried on made-up homes; Linux's own formats have their
// own places.
std::string systemApplicationsFolder()
{
    return "/Applications";
}

std::vector<std::string> applicationFolders(const std::string& home)
{
    return {systemApplicationsFolder(), home + "/Applications", "/System/Applications"};
}

} // namespace tarno::Platform
