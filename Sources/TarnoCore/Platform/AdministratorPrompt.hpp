#pragma once

#include "TarnoCore/Foundation/Shell.hpp"

#include <optional>
#include <string>
#include <vector>

// The platform's way of running one command as the administrator after
// asking for a password. On Linux that is polkit's pkexec.
namespace tarno::Platform::AdministratorPrompt {

// Runs the command (an absolute tool followed by its arguments, no shell) as
// the administrator, with the prompt where the platform can show it, for at
// most 900 seconds. None on success; "cancelled" when the user dismissed the
// prompt; else a message for the user.
std::optional<std::string> run(const std::vector<std::string>& command, const std::string& prompt);

// What the prompt tool's outcome means for the user; absent output is a tool
// that could not be started.
std::optional<std::string> messageFor(const std::optional<Shell::Output>& output);

} // namespace tarno::Platform::AdministratorPrompt
