#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// Where this platform keeps the things the system reads and guards. Tables that
// name macOS locations stay in their own modules; this is what differs here.
namespace tarno::Platform {

// The user's home folder, without a trailing slash: $HOME when it is absolute,
// else the user database's entry; empty when neither names one.
std::string homeFolder();

// The base folders of a home where the desktop's programs keep their files.
// Every Linux location of the catalog is one of these plus a fixed name.
struct UserFolders {
    std::string cache;     // ~/.cache
    std::string config;    // ~/.config
    std::string data;      // ~/.local/share
    std::string downloads; // ~/Downloads, or where user-dirs.dirs moved it
    std::string trash;     // the freedesktop Trash: data + "/Trash"

    bool operator==(const UserFolders&) const = default;
};

// Entries of the config, data and cache folders that the desktop's programs
// share, in lower case: the user's fonts, icons, keyrings, Trash, application
// entries… An application whose plain name happens to be one of them
// ("Fonts") owns none of them.
const std::set<std::string, std::less<>>& sharedUserFolderEntries();

// A variable of the environment, or nothing when it is not set.
using EnvironmentLookup = std::function<std::optional<std::string>(std::string_view name)>;

// The base folders of `home`. For the running user's own home the XDG
// variables count (an absolute value moves a folder; an empty or relative one
// is ignored); for any other home, named with --home, in a test or on the demo
// machine, they are the defaults under that home, whatever the variables say.
// The downloads folder comes from XDG_DOWNLOAD_DIR in config + "/user-dirs.dirs"
// in either case.
UserFolders userFolders(const std::string& home, bool isOwnHome, const EnvironmentLookup& environment);

// The same for this process: its own home is Platform::homeFolder().
UserFolders userFolders(const std::string& home);

// XDG_DOWNLOAD_DIR of a user-dirs.dirs text: "$HOME/…" or an absolute path,
// quoted or not. Nothing when the line is missing or names no absolute folder.
std::optional<std::string> downloadFolderIn(std::string_view userDirs, const std::string& home);

// What the path guard protects on this platform besides its fixed tables,
// each relative to the home; places outside the home are left out, as
// nothing there passes the guard anyway.
struct GuardedPlaces {
    std::vector<std::string> neverTouch;    // keys and passwords: not even what is inside
    std::vector<std::string> personalTrees; // the user's own files
    std::vector<std::string> keptFolders;   // may be emptied, never removed whole

    bool operator==(const GuardedPlaces&) const = default;
};
GuardedPlaces guardedPlaces(const std::string& home, const UserFolders& folders);

// The folder of applications installed for every user ("/Applications"), and
// every folder where applications are looked for, the user's own among them.
std::string systemApplicationsFolder();
std::vector<std::string> applicationFolders(const std::string& home);

// The user's Trash folder: `dataHome` + "/Trash", or home + "/.local/share/Trash"
// when `dataHome` ($XDG_DATA_HOME) is absent, empty or not absolute.
std::string trashFolder(const std::string& home, const std::optional<std::string>& dataHome);

// The same for the running process's environment.
std::string trashFolder(const std::string& home);

// This application's own identifier, under which it keeps its settings and
// by whose vendor every application of its maker is recognised.
std::string ownApplicationID();

// The folder below the cache base folder where the application keeps its own cache.
std::string ownCacheFolderName();

// The running program's executable, with every link resolved; empty when
// the system does not say.
std::string runningExecutablePath();

// The folder whose listing tells whether the process has full disk access.
std::string privacyProbeFolder(const std::string& home);

// npm's global configuration files, in the order npm reads them.
std::vector<std::string> globalNpmConfigFiles();

// Where Yarn keeps its cache when it runs as root.
std::optional<std::string> rootYarnCache();

// Where the system's package manager keeps the packages it downloaded;
// nothing on a platform without one.
std::optional<std::string> aptArchivesFolder();

} // namespace tarno::Platform
