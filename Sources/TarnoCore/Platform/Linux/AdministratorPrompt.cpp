// polkit stands in for the Mac's administrator prompt: pkexec asks through
// the session's authentication agent and runs the command as root.

#include "TarnoCore/Platform/AdministratorPrompt.hpp"

#include "TarnoCore/Platform/Text.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"

#include <unistd.h>

namespace tarno::Platform::AdministratorPrompt {

namespace {

// pkexec's own exit statuses; any other is the command's.
constexpr int dismissedStatus = 126;
constexpr int notAuthorizedStatus = 127;

} // namespace

std::optional<std::vector<std::string>> commandLine(const std::vector<std::string>& command)
{
    // pkexec without a program would start a root shell.
    if (command.empty())
        return std::nullopt;
    const std::string tool = pkexec();
    // A tool that is not there must not look like pkexec's own "not authorized".
    if (::access(tool.c_str(), X_OK) != 0)
        return std::nullopt;
    std::vector<std::string> line{tool};
    line.insert(line.end(), command.begin(), command.end());
    return line;
}

Answer answerFor(std::optional<int> status, std::string_view standardError)
{
    if (!status)
        return {Answer::Kind::couldNotStart, "pkexec could not be started"};
    if (*status == 0)
        return {};
    if (*status == dismissedStatus)
        return {Answer::Kind::dismissed, {}};
    const std::string reason(Text::trimmed(standardError));
    if (*status == notAuthorizedStatus && reason.empty())
        return {Answer::Kind::failed, "not authorized"};
    return {Answer::Kind::failed, reason};
}

} // namespace tarno::Platform::AdministratorPrompt
