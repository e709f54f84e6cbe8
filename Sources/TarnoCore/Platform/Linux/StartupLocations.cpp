// The XDG autostart and systemd user unit places, as the XDG base directory
// and autostart standards and systemd.unit(5) give them.

#include "TarnoCore/Platform/StartupLocations.hpp"

#include "TarnoCore/Platform/DesktopEntries.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace tarno::Platform {

namespace {

std::string variable(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

// The parts of a colon-separated value; with `absoluteOnly`, the relative
// ones are dropped, as XDG says to ignore them.
std::vector<std::string> split(std::string_view list, bool absoluteOnly)
{
    std::vector<std::string> parts;
    while (!list.empty()) {
        const std::size_t colon = list.find(':');
        std::string part(list.substr(0, colon));
        list = colon == std::string_view::npos ? std::string_view() : list.substr(colon + 1);
        while (part.size() > 1 && part.back() == '/')
            part.pop_back();
        if (!part.empty() && (!absoluteOnly || part.front() == '/'))
            parts.push_back(std::move(part));
    }
    return parts;
}

void appendOnce(std::vector<std::string>& list, std::string item)
{
    if (std::find(list.begin(), list.end(), item) == list.end())
        list.push_back(std::move(item));
}

} // namespace

StartupLocations StartupLocations::live(const std::string& home)
{
    std::vector<std::string> configDirs = split(variable("XDG_CONFIG_DIRS"), true);
    if (configDirs.empty())
        configDirs = {"/etc/xdg"};

    StartupLocations where{
        .allUsersLaunchAgents = "/Library/LaunchAgents",
        .systemLaunchDaemons = "/Library/LaunchDaemons",
        .systemAutostartFolders = {},
        .systemUnitFolder = "/etc/systemd/user",
        .unitFolders = {},
        .programSearchPath = split(variable("PATH"), true),
        .unitProgramSearchPath = {"/usr/local/sbin", "/usr/local/bin", "/usr/sbin", "/usr/bin", "/sbin", "/bin"},
        .currentDesktops = split(variable("XDG_CURRENT_DESKTOP"), false),
    };
    for (const std::string& dir : configDirs)
        appendOnce(where.systemAutostartFolders, dir + "/autostart");
    appendOnce(where.systemAutostartFolders, "/etc/xdg/autostart");

    // The generated, transient and control folders are left out: nothing
    // there is enabled by a link the user or the administrator made.
    for (const std::string& dir : configDirs)
        appendOnce(where.unitFolders, dir + "/systemd/user");
    appendOnce(where.unitFolders, where.systemUnitFolder);
    appendOnce(where.unitFolders, "/run/systemd/user");
    appendOnce(where.unitFolders, userFolders(home).data + "/systemd/user");
    for (const std::string& dir : sharedDataFolders())
        appendOnce(where.unitFolders, dir + "/systemd/user");
    appendOnce(where.unitFolders, "/usr/local/lib/systemd/user");
    appendOnce(where.unitFolders, "/usr/lib/systemd/user");

    // A login shell without PATH still finds the usual programs.
    if (where.programSearchPath.empty())
        where.programSearchPath = {"/usr/local/bin", "/usr/bin", "/bin"};
    return where;
}

std::string userLaunchAgentsFolder(const std::string& home)
{
    return home + "/Library/LaunchAgents";
}

std::string userAutostartFolder(const std::string& configFolder)
{
    return configFolder + "/autostart";
}

std::string userUnitFolder(const std::string& configFolder)
{
    return configFolder + "/systemd/user";
}

std::string launchctl()
{
    return "/bin/launchctl";
}

std::string systemctl()
{
    return "/usr/bin/systemctl";
}

} // namespace tarno::Platform
