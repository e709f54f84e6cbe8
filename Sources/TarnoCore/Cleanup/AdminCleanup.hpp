#pragma once

#include "TarnoCore/Platform/AdministratorPrompt.hpp"

#include <optional>
#include <set>
#include <string>
#include <vector>

// The few leftovers that belong to root. The system holds no privileges of
// its own: it asks the platform to run one fixed command as the
// administrator, and only for the paths of a list fixed at build time,
// whatever the catalog says.
namespace tarno::AdminCleanup {

// The path in single quotes for a POSIX shell, each single quote in it
// written as '\''.
std::string quotedForShell(const std::string& path);

// Exact paths; a path below a member is not on the list.
const std::set<std::string>& allowedPaths();

// Whether the path is on the list, or is a package file (a name ending in
// ".deb") directly in the platform's folder of downloaded system packages.
bool isAllowed(const std::string& path);

// "/bin/rm -rf -- '<path>' ..." with each path quoted for the shell; none when
// the list is empty or any path is not allowed. This is also the text a user
// may paste into a terminal.
std::optional<std::string> command(const std::vector<std::string>& paths);

// The same removal as an argument list for running without a shell; none on
// the same conditions as command().
std::optional<std::vector<std::string>> removalArguments(const std::vector<std::string>& paths);

// The AppleScript that runs the command with administrator privileges,
// showing the prompt as written.
std::string script(const std::string& command, const std::string& prompt);

// How a removal as the administrator ended.
struct Outcome {
    enum class Kind { removed, cancelled, notAllowed, couldNotStart, failed };
    Kind kind = Kind::removed;
    std::string message; // words for the user when it neither removed nor was cancelled

    bool operator==(const Outcome&) const = default;
};

// Removes the paths as the administrator after the platform's password
// prompt. Blocks for as long as the user takes: call it off the main thread.
Outcome remove(const std::vector<std::string>& paths, const std::string& prompt);

// What the platform's answer means for the caller.
Outcome outcomeOf(const Platform::AdministratorPrompt::Answer& answer);

} // namespace tarno::AdminCleanup
