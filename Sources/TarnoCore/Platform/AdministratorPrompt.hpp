#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The platform's way of running one command as the administrator after
// asking for a password. On Linux that is polkit's pkexec. The platform says
// how to ask and what the answer means; the caller runs it.
namespace tarno::Platform::AdministratorPrompt {

// How a run of the prompt tool ended.
struct Answer {
    enum class Kind {
        done,          // the command ran and succeeded
        dismissed,     // the user closed the prompt
        failed,        // the prompt refused, or the command failed: `message` says how
        couldNotStart, // the prompt tool is missing or could not be started
    };
    Kind kind = Kind::done;
    std::string message; // words for the user when failed or couldNotStart

    bool operator==(const Answer&) const = default;
};

// The argument vector that runs `command` (an absolute tool followed by its
// arguments, no shell) as the administrator after the prompt; none when the
// command is empty or the prompt tool is not there.
std::optional<std::vector<std::string>> commandLine(const std::vector<std::string>& command);

// What the prompt tool's exit status and standard error mean; no status is a
// tool that could not be started.
Answer answerFor(std::optional<int> status, std::string_view standardError);

} // namespace tarno::Platform::AdministratorPrompt
