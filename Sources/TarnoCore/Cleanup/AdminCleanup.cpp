#include "TarnoCore/Cleanup/AdminCleanup.hpp"

#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/AdministratorPrompt.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <algorithm>
#include <chrono>

namespace tarno::AdminCleanup {

namespace {

constexpr const char* notOnTheList = "not on the list of folders Tarno may remove";

bool allAllowed(const std::vector<std::string>& paths)
{
    return !paths.empty() && std::all_of(paths.begin(), paths.end(), isAllowed);
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

bool isAllowed(const std::string& path)
{
    if (allowedPaths().contains(path))
        return true;
    // The packages apt downloaded: each file by its name, never the folder,
    // its partial/ folder or its lock.
    static const std::optional<std::string> packages = Platform::aptArchivesFolder();
    if (!packages || !path.starts_with(*packages + "/"))
        return false;
    const std::string name = path.substr(packages->size() + 1);
    return name.size() > 4 && name.ends_with(".deb") && name.find('/') == std::string::npos;
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

Outcome remove(const std::vector<std::string>& paths, const std::string& prompt)
{
    if (!command(paths))
        return {Outcome::Kind::notAllowed, notOnTheList};
    // The argument list checks the list again as it is built, right before
    // anything reaches the tool.
    const std::optional<std::vector<std::string>> arguments = removalArguments(paths);
    if (!arguments)
        return {Outcome::Kind::notAllowed, notOnTheList};
    // polkit writes its own prompt, naming the program it is asked to run:
    // pkexec has no way to show the caller's words.
    (void)prompt;
    const std::optional<std::vector<std::string>> line = Platform::AdministratorPrompt::commandLine(*arguments);
    if (!line)
        return {Outcome::Kind::couldNotStart, Platform::AdministratorPrompt::answerFor(std::nullopt, {}).message};
    const std::vector<std::string> toolArguments(line->begin() + 1, line->end());
    const std::optional<Shell::Output> output =
        Shell::run(line->front(), toolArguments, {}, std::chrono::seconds(900));
    return outcomeOf(output ? Platform::AdministratorPrompt::answerFor(output->status, output->standardError)
                            : Platform::AdministratorPrompt::answerFor(std::nullopt, {}));
}

Outcome outcomeOf(const Platform::AdministratorPrompt::Answer& answer)
{
    using Kind = Platform::AdministratorPrompt::Answer::Kind;
    switch (answer.kind) {
    case Kind::done: return {};
    case Kind::dismissed: return {Outcome::Kind::cancelled, {}};
    case Kind::failed: return {Outcome::Kind::failed, answer.message};
    case Kind::couldNotStart: return {Outcome::Kind::couldNotStart, answer.message};
    }
    return {Outcome::Kind::failed, answer.message};
}

} // namespace tarno::AdminCleanup
