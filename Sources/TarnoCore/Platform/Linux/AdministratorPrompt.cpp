// polkit stands in for the Mac's administrator prompt: pkexec asks through
// the session's authentication agent and runs the command as root.

#include "TarnoCore/Platform/AdministratorPrompt.hpp"

#include "TarnoCore/Foundation/Text.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"

#include <chrono>

#include <unistd.h>

namespace tarno::Platform::AdministratorPrompt {

namespace {

// pkexec's own exit statuses; any other is the command's.
constexpr int dismissedStatus = 126;
constexpr int notAuthorizedStatus = 127;

constexpr const char* notStarted = "pkexec could not be started";

} // namespace

// polkit writes its own prompt, naming the program it is asked to run; pkexec
// has no way to show the caller's words, so the prompt is not used here.
std::optional<std::string> run(const std::vector<std::string>& command, const std::string& /*prompt*/)
{
    // pkexec without a program would start a root shell.
    if (command.empty())
        return "nothing to run";
    const std::string tool = pkexec();
    // A tool that is not there must not look like pkexec's own "not authorized".
    if (::access(tool.c_str(), X_OK) != 0)
        return notStarted;
    return messageFor(Shell::run(tool, command, {}, std::chrono::seconds(900)));
}

std::optional<std::string> messageFor(const std::optional<Shell::Output>& output)
{
    if (!output)
        return notStarted;
    if (output->status == 0)
        return std::nullopt;
    // The word by which the cleanup flow tells a dismissed prompt from a failure.
    if (output->status == dismissedStatus)
        return "cancelled";
    const std::string reason(Text::trimmed(output->standardError));
    if (output->status == notAuthorizedStatus && reason.empty())
        return "not authorized";
    return reason;
}

} // namespace tarno::Platform::AdministratorPrompt
