#include "TarnoCore/Cleanup/AdminCleanup.hpp"

#include "TarnoCore/Platform/AdministratorPrompt.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <algorithm>

namespace tarno::AdminCleanup {

namespace {

constexpr const char* notOnTheList = "not on the list of folders Tarno may remove";

bool allAllowed(const std::vector<std::string>& paths)
{
    const std::set<std::string>& allowed = allowedPaths();
    return !paths.empty() && std::all_of(paths.begin(), paths.end(), [&allowed](const std::string& path) {
        return allowed.contains(path);
    });
}

std::string appleScriptLiteral(const std::string& text)
{
    std::string literal = "\"";
    for (const char character : text) {
        if (character == '\\')
            literal += "\\\\";
        else if (character == '"')
            literal += "\\\"";
        else
            literal += character;
    }
    return literal + "\"";
}

} // namespace

std::string quotedForShell(const std::string& path)
{
    std::string quoted = "'";
    for (const char character : path) {
        if (character == '\'')
            quoted += "'\\''";
        else
            quoted += character;
    }
    return quoted + "'";
}

const std::set<std::string>& allowedPaths()
{
    // Root's Yarn cache, where this platform's environment says it is, so that
    // the catalog's item for it can take the password road here. The Mac's
    // place stays on the list as well: it is the list's reference member, and
    // no one but a root-run Yarn on a Mac-like layout ever creates it.
    static const std::set<std::string> paths = [] {
        std::set<std::string> members{"/usr/local/share/Library/Caches/Yarn"};
        if (const std::optional<std::string> rootYarn = Platform::rootYarnCache())
            members.insert(*rootYarn);
        return members;
    }();
    return paths;
}

std::optional<std::string> command(const std::vector<std::string>& paths)
{
    if (!allAllowed(paths))
        return std::nullopt;
    std::string text = "/bin/rm -rf --";
    for (const std::string& path : paths)
        text += " " + quotedForShell(path);
    return text;
}

std::optional<std::vector<std::string>> removalArguments(const std::vector<std::string>& paths)
{
    if (!allAllowed(paths))
        return std::nullopt;
    std::vector<std::string> arguments{"/bin/rm", "-rf", "--"};
    arguments.insert(arguments.end(), paths.begin(), paths.end());
    return arguments;
}

std::string script(const std::string& command, const std::string& prompt)
{
    return "do shell script " + appleScriptLiteral(command) + " with prompt " + appleScriptLiteral(prompt)
        + " with administrator privileges";
}

std::optional<std::string> remove(const std::vector<std::string>& paths, const std::string& prompt)
{
    if (!command(paths))
        return notOnTheList;
    // The argument list checks the list again as it is built, right before
    // anything reaches the tool.
    const std::optional<std::vector<std::string>> arguments = removalArguments(paths);
    if (!arguments)
        return notOnTheList;
    return Platform::AdministratorPrompt::run(*arguments, prompt);
}

} // namespace tarno::AdminCleanup
