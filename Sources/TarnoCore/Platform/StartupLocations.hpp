#pragma once

#include <string>
#include <vector>

// Where the things a machine starts on its own are declared, and what decides
// whether their programs can run. The user's own folders follow from the
// home (its config folder); everything else is one record, so that a test can
// point it at made-up folders.
namespace tarno::Platform {

struct StartupLocations {
    // launchd's property lists for every user: agents, then daemons.
    std::string allUsersLaunchAgents; // "/Library/LaunchAgents"
    std::string systemLaunchDaemons;  // "/Library/LaunchDaemons"

    // XDG autostart entries for every user: each of $XDG_CONFIG_DIRS +
    // "/autostart", then "/etc/xdg/autostart"; the first folder that holds a
    // name hides it in the later ones.
    std::vector<std::string> systemAutostartFolders;

    // The folder whose *.wants and *.requires links enable user units for
    // every user: "/etc/systemd/user".
    std::string systemUnitFolder;

    // Where systemd's user manager finds a unit by name after the user's own
    // config folder, in its order: $XDG_CONFIG_DIRS, /etc, /run, the user's
    // data folder, $XDG_DATA_DIRS, /usr/local/lib, /usr/lib.
    std::vector<std::string> unitFolders;

    // $PATH's absolute folders: where an autostart entry's bare program is looked for.
    std::vector<std::string> programSearchPath;

    // The fixed folders where systemd looks for an ExecStart without a "/".
    std::vector<std::string> unitProgramSearchPath;

    // $XDG_CURRENT_DESKTOP's names ("ubuntu", "GNOME"); empty when unknown.
    std::vector<std::string> currentDesktops;

    bool operator==(const StartupLocations&) const = default;

    // This machine's, for the user whose home this is (the user's data
    // folder is one of the unit folders).
    static StartupLocations live(const std::string& home);
};

// The user's own folders: launchd agents below the home, autostart entries
// and user units below the home's config folder (UserFolders::config).
std::string userLaunchAgentsFolder(const std::string& home);
std::string userAutostartFolder(const std::string& configFolder);
std::string userUnitFolder(const std::string& configFolder);

// The tools that take an item out of its manager before its file goes:
// launchd's (absent on Linux, where it simply fails to start) and systemd's.
std::string launchctl();
std::string systemctl();

} // namespace tarno::Platform
