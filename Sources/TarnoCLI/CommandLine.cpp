#include "CommandLine.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <cstdio>

namespace tarno::cli {

namespace {

constexpr OptionSyntax jsonOption(std::string_view what)
{
    return OptionSyntax{"--json", "", what};
}

constexpr OptionSyntax homeOption(std::string_view what)
{
    return OptionSyntax{"--home", "DIR", what};
}

} // namespace

const CommandSyntax measureSyntax{
    .name = "measure",
    .operands = "PATH...",
    .description = "How much disk the paths take together: allocated bytes, hard links counted once, links never "
                   "followed; a path that does not exist counts as empty.",
    .options = {jsonOption("prints the size as a JSON object")},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax catalogSyntax{
    .name = "catalog",
    .operands = "",
    .description = "Every item the cleanup catalog offers for the home folder: id, title, category, safety, "
                   "action and paths.",
    .options = {homeOption("looks at DIR instead of your home folder"),
                OptionSyntax{"--category", "NAME", "only the items of this category (xcode, android, javascript, "
                                                   "flutter, docker, developerTools, apps, personalData, "
                                                   "leftovers, downloads or trash)"},
                OptionSyntax{"--measure", "", "measures each item's size"},
                jsonOption("prints the items as a JSON array")},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax scanSyntax{
    .name = "scan",
    .operands = "",
    .description = "The cleanup report: what can go, by category, with sizes, leaving out items below their "
                   "minimum.",
    .options = {homeOption("looks at DIR instead of your home folder"),
                jsonOption("prints the listed items, each with its size, as a JSON array")},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax guardSyntax{
    .name = "guard",
    .operands = "delete|trash|app PATH...",
    .description = "What the path guard says about deleting, trashing or trashing an application at each path: "
                   "'allowed' or 'refused: <reason>'.",
    .options = {homeOption("judges as if DIR were the home folder"),
                jsonOption("prints one object per path: path, allowed, reason")},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax cleanSyntax{
    .name = "clean",
    .operands = "ID...",
    .description = "Shows the catalog items with these ids, asks, cleans them, prints the failures and what was "
                   "freed, and adds the record to the history.",
    .options = {homeOption("cleans in DIR instead of your home folder"),
                OptionSyntax{"--dry-run", "", "shows what would be cleaned and removes nothing"},
                OptionSyntax{"--yes", "", "cleans without asking (needed when standard input is not a terminal)"},
                jsonOption("prints the items, then what the clean did, as one JSON object")},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax historySyntax{
    .name = "history",
    .operands = "",
    .description = "What Tarno has removed, newest first, and the total.",
    .options = {homeOption("reads the history kept in DIR instead of your home folder"),
                jsonOption("prints the records as a JSON array")},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax memorySyntax{
    .name = "memory",
    .operands = "",
    .description = "How memory is used: by programs, the kernel, compression and cache; swap and pressure.",
    .options = {jsonOption("prints the reading as a JSON object")},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax diskSyntax{
    .name = "disk",
    .operands = "[PATH]",
    .description = "The capacity of the volume holding PATH (the home folder without one): total, used, "
                   "available.",
    .options = {jsonOption("prints the capacity as a JSON object")},
    .needsOperands = false,
    .takesOperands = true,
};

const CommandSyntax processesSyntax{
    .name = "processes",
    .operands = "",
    .description = "What runs, one group per program: memory, processor share and the number of processes.",
    .options = {jsonOption("prints the processes and the groups as JSON"),
                OptionSyntax{"--samples", "N",
                             "reports the last of N samples taken a second apart (default 2); the processor "
                             "shares need 2 or more"}},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax projectsSyntax{
    .name = "projects",
    .operands = "[ROOT...]",
    .description = "Build output and git worktrees under the roots (the usual project folders without any), each "
                   "with its apparent size and what deleting it alone really frees, files shared between folders "
                   "counted once.",
    .options = {homeOption("judges and finds package stores as if DIR were the home folder"),
                OptionSyntax{"--select", "PATH", "also prints what deleting all the selected rows together frees",
                             true},
                OptionSyntax{"--remove", "", "removes the selected rows after asking (worktrees with git), and "
                                             "records what went in the history"},
                OptionSyntax{"--yes", "", "removes without asking (needed when standard input is not a terminal)"},
                jsonOption("prints the rows as a JSON object: artifacts, worktrees, and selectedBytes with --select; "
                           "with --remove also removal: removedWorktrees, removedArtifacts, wasCancelled, summary")},
    .needsOperands = false,
    .takesOperands = true,
};

const CommandSyntax duplicatesSyntax{
    .name = "duplicates",
    .operands = "[ROOT...]",
    .description = "Sets of files with the same content under the roots (your usual document, picture, music and "
                   "video folders without any), the copy to keep first, with what removing the other copies gives "
                   "back, clones counted once. Hidden files, repositories, packages and build output are left out.",
    .options = {homeOption("judges the downloads folder and the usual folders as if DIR were the home folder"),
                OptionSyntax{"--min", "BYTES", "looks only at files of at least BYTES on disk (default 1000000)"},
                jsonOption("prints the sets as a JSON object: groups, each with hash, size, reclaimable and files")},
    .needsOperands = false,
    .takesOperands = true,
};

const CommandSyntax largeSyntax{
    .name = "large",
    .operands = "ROOT",
    .description = "The largest files below ROOT, largest first, by the disk they take: hidden folders and packages "
                   "are searched, .git, .Trash and node_modules folders and other volumes are not, links are never "
                   "followed, and a file with several hard links is listed once.",
    .options = {jsonOption("prints the files as a JSON object: files, each with path, bytes and modified"),
                OptionSyntax{"--min", "BYTES", "lists only files that take at least BYTES (default 100000000)"},
                OptionSyntax{"--limit", "N", "lists at most N files (default 1000)"}},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax appsSyntax{
    .name = "apps",
    .operands = "",
    .description = "The installed applications (bundles, Flatpak apps and AppImages) in the order of their names, "
                   "each with its size and the parts it keeps in your home, each measured by itself.",
    .options = {homeOption("looks at DIR instead of your home folder"),
                jsonOption("prints the apps as a JSON object: apps, each with its fields, bytes and parts")},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax uninstallSyntax{
    .name = "uninstall",
    .operands = "NAME|ID...",
    .description = "Shows the apps with these names or identifiers and what they keep, asks, asks each open app to "
                   "quit, moves the apps and their parts to the Trash (Flatpak apps are uninstalled by Flatpak), "
                   "prints what stayed, and adds the record to the history.",
    .options = {homeOption("uninstalls from DIR instead of your home folder"),
                OptionSyntax{"--dry-run", "", "shows what would be uninstalled and removes nothing"},
                OptionSyntax{"--yes", "", "uninstalls without asking (needed when standard input is not a terminal)"},
                jsonOption("prints the apps, then what the removal did, as one JSON object")},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax toolsSyntax{
    .name = "tools",
    .operands = "",
    .description = "The developer tools that are running (build daemons, language servers, dev servers, emulators, "
                   "simulators, Docker), largest first, with memory, processor share, for a dev server its clients "
                   "and how long it has gone unused, and what stopping each does.",
    .options = {homeOption("takes DIR as your home folder when telling projects from other folders"),
                jsonOption("prints the tools as a JSON object: tools, each with its fields and idleSeconds")},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax stopSyntax{
    .name = "stop",
    .operands = "ID...",
    .description = "Shows the running developer tools with these ids (tarno-cli tools lists them) and what stopping "
                   "each does, asks, asks each to end (SIGTERM, never a kill), waits up to 10 seconds and says "
                   "which are still running.",
    .options = {homeOption("takes DIR as your home folder when telling projects from other folders"),
                OptionSyntax{"--yes", "", "stops without asking (needed when standard input is not a terminal)"},
                jsonOption("prints the tools, then those still running, as one JSON object")},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax startupSyntax{
    .name = "startup",
    .operands = "",
    .description = "What starts by itself: launchd property lists, XDG autostart entries and enabled systemd user "
                   "units, by scope, each with its program and whether it is a leftover (yours, and its program is "
                   "gone).",
    .options = {homeOption("looks at DIR instead of your home folder"),
                jsonOption("prints the items as a JSON object: items, each with its fields and isLeftover")},
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

std::vector<std::string> ParsedArguments::values(const std::string& name) const
{
    std::vector<std::string> found;
    const auto [first, last] = options.equal_range(name);
    for (auto value = first; value != last; ++value)
        found.push_back(value->second);
    return found;
}

const OptionSyntax* CommandSyntax::optionNamed(std::string_view optionName) const
{
    const auto found = std::find_if(options.begin(), options.end(),
                                    [optionName](const OptionSyntax& option) { return option.name == optionName; });
    return found == options.end() ? nullptr : &*found;
}

std::variant<ParsedArguments, UsageError> parse(const CommandSyntax& syntax, const std::vector<std::string>& arguments)
{
    ParsedArguments parsed;
    bool optionsEnded = false;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (optionsEnded || argument.size() < 2 || argument.front() != '-') {
            if (!syntax.takesOperands)
                return UsageError{fmt::format("unexpected operand '{}'", argument)};
            parsed.operands.push_back(argument);
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        // Only a long option carries its value after "=".
        const std::size_t equals = argument.starts_with("--") ? argument.find('=') : std::string::npos;
        const bool valueAttached = equals != std::string::npos;
        const std::string name = argument.substr(0, equals);
        const bool isHelp = name == "--help" || name == "-h";
        const OptionSyntax* option = syntax.optionNamed(name);
        if (!isHelp && option == nullptr)
            return UsageError{fmt::format("unknown option '{}'", name)};
        if (isHelp || !option->takesValue()) {
            if (valueAttached)
                return UsageError{fmt::format("option '{}' takes no value", name)};
            if (isHelp) {
                parsed.help = true;
                return parsed;
            }
            parsed.flags.insert(name);
            continue;
        }
        std::string value;
        if (valueAttached)
            value = argument.substr(equals + 1);
        else if (index + 1 < arguments.size())
            value = arguments[++index];
        if (value.empty())
            return UsageError{fmt::format("option '{}' needs a value", name)};
        if (!option->repeatable && parsed.options.contains(name))
            return UsageError{fmt::format("option '{}' is given more than once", name)};
        parsed.options.emplace(name, std::move(value));
    }
    if (syntax.needsOperands && parsed.operands.empty())
        return UsageError{"missing operand"};
    return parsed;
}

std::optional<ParsedArguments> parseArguments(const CommandSyntax& syntax, const std::vector<std::string>& arguments)
{
    std::variant<ParsedArguments, UsageError> outcome = parse(syntax, arguments);
    if (const UsageError* error = std::get_if<UsageError>(&outcome)) {
        reportUsageError(error->problem, syntax);
        return std::nullopt;
    }
    return std::get<ParsedArguments>(std::move(outcome));
}

int statusAfterMeasuring(std::int64_t unreadableDirectories)
{
    if (unreadableDirectories <= 0)
        return successStatus;
    fmt::print(stderr, "tarno-cli: {} could not be read; the sizes leave {} out\n",
               unreadableDirectories == 1 ? std::string("1 folder") : fmt::format("{} folders", unreadableDirectories),
               unreadableDirectories == 1 ? "it" : "them");
    return incompleteStatus;
}

int reportUsageError(std::string_view problem, std::string_view usage)
{
    fmt::print(stderr, "tarno-cli: {}; usage: {}\n", problem, usage);
    return usageErrorStatus;
}

int reportUsageError(std::string_view problem, const CommandSyntax& syntax)
{
    return reportUsageError(problem, usageLine(syntax));
}

namespace {

constexpr std::size_t lineWidth = 100;

// The text in lines of at most lineWidth characters (a longer word stays
// whole), each starting with `indent` spaces and ending with a newline.
std::string wrapped(std::string_view text, std::size_t indent)
{
    std::string result;
    std::string line;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t space = text.find(' ', start);
        const std::string_view word =
            text.substr(start, space == std::string_view::npos ? std::string_view::npos : space - start);
        start = space == std::string_view::npos ? text.size() : space + 1;
        if (word.empty())
            continue;
        if (!line.empty() && indent + line.size() + 1 + word.size() > lineWidth) {
            result += std::string(indent, ' ') + line + '\n';
            line.clear();
        }
        line += line.empty() ? std::string(word) : ' ' + std::string(word);
    }
    if (!line.empty())
        result += std::string(indent, ' ') + line + '\n';
    return result;
}

// `head`, then the text wrapped to hang below the end of it.
std::string hanging(const std::string& head, std::string_view text)
{
    const std::string body = wrapped(text, head.size());
    return head + (body.empty() ? std::string("\n") : body.substr(head.size()));
}

std::string optionWithValue(const OptionSyntax& option)
{
    return option.takesValue() ? fmt::format("{} {}", option.name, option.value) : std::string(option.name);
}

constexpr OptionSyntax helpOption{"-h, --help", "", "prints this command's usage and options"};

// One line per option, the descriptions in one column.
std::string optionLines(const std::vector<OptionSyntax>& options, std::size_t indent)
{
    std::size_t width = 0;
    for (const OptionSyntax& option : options)
        width = std::max(width, optionWithValue(option).size());
    std::string lines;
    for (const OptionSyntax& option : options)
        lines += hanging(fmt::format("{:{}}{:<{}}  ", "", indent, optionWithValue(option), width), option.description);
    return lines;
}

} // namespace

std::string usageLine(const CommandSyntax& syntax)
{
    std::string line = fmt::format("tarno-cli {}", syntax.name);
    for (const OptionSyntax& option : syntax.options)
        line += fmt::format(" [{}]{}", optionWithValue(option), option.repeatable ? "..." : "");
    if (!syntax.operands.empty())
        line += fmt::format(" {}", syntax.operands);
    return line;
}

std::string commandHelp(const CommandSyntax& syntax)
{
    std::vector<OptionSyntax> options = syntax.options;
    options.push_back(helpOption);
    return fmt::format("Usage: {}\n{}\nOptions:\n{}", usageLine(syntax), wrapped(syntax.description, 0),
                       optionLines(options, 2));
}

std::string helpText(const std::vector<const CommandSyntax*>& commands)
{
    std::string text = "Usage: tarno-cli COMMAND [OPTION...] [OPERAND...]\n"
                       "Tarno's cleanup and performance readings from a terminal. Text is for people; --json,\n"
                       "where a command has it, is for scripts. File names are bytes: in JSON, valid UTF-8 is\n"
                       "written as it is and each byte that is not, as the escape \\udcXX (XX the byte, as\n"
                       "Python's \"surrogateescape\" reads it back).\n"
                       "\n"
                       "Commands:\n";
    for (const CommandSyntax* command : commands)
        text += fmt::format("  {}\n{}{}", usageLine(*command), wrapped(command->description, 6),
                            optionLines(command->options, 8));
    text += "  tarno-cli --version\n"
            "      Prints the version.\n"
            "  tarno-cli --help\n"
            "      Prints this help; tarno-cli COMMAND --help (or -h) prints one command's.\n"
            "\n"
            "Exit status:\n";
    const auto addStatus = [&text](int status, std::string_view meaning) {
        text += hanging(fmt::format("  {}  ", status), meaning);
    };
    addStatus(successStatus, "Success.");
    addStatus(incompleteStatus,
              "The command ran but did not fully succeed: measure, scan or catalog --measure could not read a "
              "folder, so the sizes leave it out; clean was not confirmed, could not remove a path, left an item to an "
              "administrator or was interrupted (Ctrl-C ends it after the path under way); disk "
              "could not ask the volume; memory or processes could not read /proc; large could not read its root. "
              "What the command could find is printed all the same.");
    addStatus(usageErrorStatus,
              "Bad usage: an unknown command or option, a missing or unexpected operand, an option without its "
              "value, a value for a flag, an option with a value given twice, or an id that clean does not "
              "offer.");
    return text;
}

std::string versionText()
{
    return fmt::format("tarno-cli {}\n", TARNO_VERSION);
}

std::string absolutePath(const std::string& given)
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(given, error);
    return withoutTrailingSlash(error ? given : absolute.string());
}

std::string withoutTrailingSlash(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

} // namespace tarno::cli
