// The platform table: later modules read every Linux location from here.

#include "TarnoCore/Platform/Locations.hpp"

#include <climits>
#include <cstdlib>

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

} // namespace

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
    // Homebrew's and a manual install's places, then Debian's own npm.
    return {"/opt/homebrew/etc/npmrc", "/usr/local/etc/npmrc", "/etc/npmrc"};
}

std::optional<std::string> rootYarnCache()
{
    return "/usr/local/share/.cache/yarn";
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
