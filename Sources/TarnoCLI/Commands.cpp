#include "Commands.hpp"

#include <fmt/core.h>
#include <fmt/format.h>

#include <algorithm>
#include <variant>

namespace tarno::cli {

namespace {

constexpr std::string_view overallUsage =
    "tarno-cli COMMAND [OPTION...] [OPERAND...] (tarno-cli --help lists the commands)";

const Command* commandNamed(std::string_view name)
{
    const std::vector<Command>& all = commands();
    const auto found =
        std::find_if(all.begin(), all.end(), [name](const Command& command) { return command.syntax->name == name; });
    return found == all.end() ? nullptr : &*found;
}

std::vector<const CommandSyntax*> allSyntaxes()
{
    std::vector<const CommandSyntax*> syntaxes;
    for (const Command& command : commands())
        syntaxes.push_back(command.syntax);
    return syntaxes;
}

// Prints text that is the whole answer, and succeeds.
int printed(const std::string& text)
{
    fmt::print("{}", text);
    return successStatus;
}

} // namespace

const std::vector<Command>& commands()
{
    static const std::vector<Command> all{
        {&measureSyntax, runMeasure}, {&catalogSyntax, runCatalog}, {&scanSyntax, runScan},
        {&guardSyntax, runGuard},     {&cleanSyntax, runClean},     {&historySyntax, runHistory},
        {&memorySyntax, runMemory},   {&diskSyntax, runDisk},       {&processesSyntax, runProcesses},
        {&projectsSyntax, runProjects}, {&duplicatesSyntax, runDuplicates}, {&largeSyntax, runLarge},
        {&appsSyntax, runApps},       {&uninstallSyntax, runUninstall}, {&toolsSyntax, runTools},
        {&stopSyntax, runStop},       {&startupSyntax, runStartup},
    };
    return all;
}

int runCommandLine(const std::vector<std::string>& arguments)
{
    if (arguments.empty())
        return reportUsageError("missing command", overallUsage);
    const std::string& first = arguments.front();
    const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());

    if (first == "--version" || first == "--help" || first == "-h") {
        if (!rest.empty())
            return reportUsageError(fmt::format("unexpected operand '{}'", rest.front()), overallUsage);
        return printed(first == "--version" ? versionText() : helpText(allSyntaxes()));
    }
    if (first == "help") {
        if (rest.empty())
            return printed(helpText(allSyntaxes()));
        const Command* command = rest.size() == 1 ? commandNamed(rest.front()) : nullptr;
        if (command == nullptr)
            return reportUsageError(fmt::format("no command named '{}'", fmt::join(rest, " ")), overallUsage);
        return printed(commandHelp(*command->syntax));
    }

    const Command* command = commandNamed(first);
    if (command == nullptr) {
        const bool looksLikeOption = first.size() > 1 && first.front() == '-';
        return reportUsageError(fmt::format("unknown {} '{}'", looksLikeOption ? "option" : "command", first),
                                overallUsage);
    }
    // The command's own parse reports its usage errors; asking for help is answered here.
    const std::variant<ParsedArguments, UsageError> parsed = parse(*command->syntax, rest);
    if (const ParsedArguments* given = std::get_if<ParsedArguments>(&parsed); given != nullptr && given->help)
        return printed(commandHelp(*command->syntax));
    return command->run(rest);
}

} // namespace tarno::cli
