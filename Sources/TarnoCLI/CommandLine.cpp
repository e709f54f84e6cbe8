#include "CommandLine.hpp"

#include <fmt/core.h>

#include <cstdio>

namespace tarno::cli {

const CommandSyntax measureSyntax{
    .name = "measure",
    .usage = "tarno-cli measure [--json] PATH...",
    .flags = {"--json"},
    .valueOptions = {},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax catalogSyntax{
    .name = "catalog",
    .usage = "tarno-cli catalog [--home DIR] [--measure] [--json]",
    .flags = {"--measure", "--json"},
    .valueOptions = {"--home"},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax scanSyntax{
    .name = "scan",
    .usage = "tarno-cli scan [--home DIR]",
    .flags = {},
    .valueOptions = {"--home"},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax guardSyntax{
    .name = "guard",
    .usage = "tarno-cli guard delete|trash|app [--home DIR] PATH...",
    .flags = {},
    .valueOptions = {"--home"},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax cleanSyntax{
    .name = "clean",
    .usage = "tarno-cli clean [--home DIR] [--dry-run] [--yes] ID...",
    .flags = {"--dry-run", "--yes"},
    .valueOptions = {"--home"},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax historySyntax{
    .name = "history",
    .usage = "tarno-cli history [--home DIR] [--json]",
    .flags = {"--json"},
    .valueOptions = {"--home"},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax memorySyntax{
    .name = "memory",
    .usage = "tarno-cli memory [--json]",
    .flags = {"--json"},
    .valueOptions = {},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax diskSyntax{
    .name = "disk",
    .usage = "tarno-cli disk [--json] [PATH]",
    .flags = {"--json"},
    .valueOptions = {},
    .needsOperands = false,
    .takesOperands = true,
};

const CommandSyntax processesSyntax{
    .name = "processes",
    .usage = "tarno-cli processes [--json] [--samples N]",
    .flags = {"--json"},
    .valueOptions = {"--samples"},
    .needsOperands = false,
    .takesOperands = false,
};

std::optional<std::string> ParsedArguments::option(const std::string& name) const
{
    const auto found = options.find(name);
    if (found == options.end())
        return std::nullopt;
    return found->second;
}

std::optional<ParsedArguments> parseArguments(const CommandSyntax& syntax, const std::vector<std::string>& arguments)
{
    ParsedArguments parsed;
    bool optionsEnded = false;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        const bool looksLikeOption = argument.size() > 1 && argument.front() == '-';
        if (optionsEnded || !looksLikeOption) {
            if (!syntax.takesOperands) {
                reportUsageError(fmt::format("unexpected operand '{}'", argument), syntax.usage);
                return std::nullopt;
            }
            parsed.operands.push_back(argument);
        } else if (argument == "--") {
            optionsEnded = true;
        } else if (syntax.flags.contains(argument)) {
            parsed.flags.insert(argument);
        } else if (syntax.valueOptions.contains(argument)) {
            if (index + 1 == arguments.size()) {
                reportUsageError(fmt::format("option '{}' needs a value", argument), syntax.usage);
                return std::nullopt;
            }
            parsed.options[argument] = arguments[++index];
        } else {
            reportUsageError(fmt::format("unknown option '{}'", argument), syntax.usage);
            return std::nullopt;
        }
    }
    if (syntax.needsOperands && parsed.operands.empty()) {
        reportUsageError("missing operand", syntax.usage);
        return std::nullopt;
    }
    return parsed;
}

int reportUsageError(std::string_view problem, std::string_view usage)
{
    fmt::print(stderr, "tarno-cli: {}; usage: {}\n", problem, usage);
    return usageErrorStatus;
}

std::string helpText()
{
    return fmt::format("Usage:\n"
                       "  {}\n"
                       "      How much disk the paths take together, hard links counted once.\n"
                       "  {}\n"
                       "      What the cleanup catalog offers for the home folder, with sizes on --measure.\n"
                       "  {}\n"
                       "      The cleanup report: what can go, by category, with sizes.\n"
                       "  {}\n"
                       "      What the path guard says about removing, trashing or trashing an app at each path.\n"
                       "  {}\n"
                       "      Cleans the catalog items with these ids after confirmation, and records it in the\n"
                       "      history. Exit status 1 when it was not confirmed or a path could not be removed.\n"
                       "  {}\n"
                       "      What Tarno has removed, newest first, and the total.\n"
                       "  {}\n"
                       "      How memory is used: by programs, the kernel, compression and cache; swap and pressure.\n"
                       "  {}\n"
                       "      The capacity of the volume holding PATH (the home folder without one).\n"
                       "  {}\n"
                       "      What runs, one group per program: memory, processor share over the last of N samples\n"
                       "      taken a second apart (2 by default), and the number of processes.\n"
                       "  tarno-cli --help\n",
                       measureSyntax.usage, catalogSyntax.usage, scanSyntax.usage, guardSyntax.usage,
                       cleanSyntax.usage, historySyntax.usage, memorySyntax.usage, diskSyntax.usage,
                       processesSyntax.usage);
}

std::string withoutTrailingSlash(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

} // namespace tarno::cli
