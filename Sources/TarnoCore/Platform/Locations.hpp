#pragma once

#include <optional>
#include <string>
#include <vector>

// Where this platform keeps the things the system reads and guards. Tables that
// name macOS locations stay in their own modules; this is what differs here.
namespace tarno::Platform {

// The user's home folder, without a trailing slash: $HOME when it is absolute,
// else the user database's entry; empty when neither names one.
std::string homeFolder();

// The folder of applications installed for every user ("/Applications"), and
// every folder where applications are looked for, the user's own among them.
std::string systemApplicationsFolder();
std::vector<std::string> applicationFolders(const std::string& home);

// The user's Trash folder: `dataHome` + "/Trash", or home + "/.local/share/Trash"
// when `dataHome` ($XDG_DATA_HOME) is absent, empty or not absolute.
std::string trashFolder(const std::string& home, const std::optional<std::string>& dataHome);

// The same for the running process's environment.
std::string trashFolder(const std::string& home);

// The running program's executable, with every link resolved; empty when
// the system does not say.
std::string runningExecutablePath();

// The folder whose listing tells whether the process has full disk access.
std::string privacyProbeFolder(const std::string& home);

// npm's global configuration files, in the order npm reads them.
std::vector<std::string> globalNpmConfigFiles();

// Where Yarn keeps its cache when it runs as root.
std::optional<std::string> rootYarnCache();

} // namespace tarno::Platform
