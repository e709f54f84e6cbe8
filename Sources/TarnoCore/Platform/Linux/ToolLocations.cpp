// The platform's table of tool paths: every adapter reads its tool from here.

#include "TarnoCore/Platform/ToolLocations.hpp"

#include <sys/stat.h>
#include <unistd.h>

namespace tarno::Platform {

std::vector<std::string> dockerCandidates(const std::string& home)
{
    // The Mac's candidates stay first and in their order, so a home laid out
    // like a Mac finds its tool the way it would there.
    return {
        "/usr/local/bin/docker",
        "/opt/homebrew/bin/docker",
        home + "/.docker/bin/docker",
        "/Applications/Docker.app/Contents/Resources/bin/docker",
        "/usr/bin/docker",
        "/snap/bin/docker",
    };
}

std::vector<std::string> brewCandidates()
{
    return {"/opt/homebrew/bin/brew", "/usr/local/bin/brew", "/home/linuxbrew/.linuxbrew/bin/brew"};
}

std::string xcrun()
{
    return "/usr/bin/xcrun";
}

std::string git()
{
    return "/usr/bin/git";
}

std::vector<std::string> ghCandidates()
{
    return {"/opt/homebrew/bin/gh", "/usr/local/bin/gh", "/usr/bin/gh"};
}

std::string pkexec()
{
    return "/usr/bin/pkexec";
}

std::vector<std::string> flatpakCandidates(const std::string& searchPath)
{
    std::vector<std::string> candidates;
    std::size_t start = 0;
    for (;;) {
        const std::size_t colon = searchPath.find(':', start);
        const std::string folder = searchPath.substr(start, colon == std::string::npos ? colon : colon - start);
        // An empty or relative entry means the current folder: never a place to run a tool from.
        if (folder.starts_with('/'))
            candidates.push_back(folder + "/flatpak");
        if (colon == std::string::npos)
            break;
        start = colon + 1;
    }
    candidates.push_back("/usr/bin/flatpak");
    return candidates;
}

std::optional<std::string> firstExecutable(const std::vector<std::string>& candidates)
{
    for (const std::string& candidate : candidates) {
        // access() alone says yes to a folder one may enter.
        struct stat status {};
        if (::stat(candidate.c_str(), &status) == 0 && S_ISREG(status.st_mode)
            && ::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return std::nullopt;
}

} // namespace tarno::Platform
