#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tarno::cli {

// What a command was given: its flags, its options with a value, its operands.
struct ParsedArguments {
    std::set<std::string> flags;
    std::map<std::string, std::string> options;
    std::vector<std::string> operands;

    bool has(const std::string& flag) const { return flags.contains(flag); }
    std::optional<std::string> option(const std::string& name) const;
};

// The grammar of one command.
struct CommandSyntax {
    std::string_view name;
    std::string_view usage;                    // one line: "tarno-cli measure [--json] PATH..."
    std::set<std::string_view> flags;          // "--json"
    std::set<std::string_view> valueOptions;   // "--home", followed by its value
    bool needsOperands = false;
    bool takesOperands = false;
};

extern const CommandSyntax measureSyntax;
extern const CommandSyntax catalogSyntax;
extern const CommandSyntax scanSyntax;
extern const CommandSyntax guardSyntax;
extern const CommandSyntax cleanSyntax;
extern const CommandSyntax historySyntax;
extern const CommandSyntax memorySyntax;
extern const CommandSyntax diskSyntax;
extern const CommandSyntax processesSyntax;

// Parses the arguments after the command's name. On a usage error, writes one
// line to stderr and gives std::nullopt. "--" ends the options.
std::optional<ParsedArguments> parseArguments(const CommandSyntax& syntax, const std::vector<std::string>& arguments);

// The exit status of a usage error.
inline constexpr int usageErrorStatus = 2;

// Writes "tarno-cli: <problem>; usage: <usage>" to stderr and gives usageErrorStatus.
int reportUsageError(std::string_view problem, std::string_view usage);

// Every command's usage, one per line, as --help prints it.
std::string helpText();

// A path as the catalog expects a home: without a trailing slash.
std::string withoutTrailingSlash(std::string path);

} // namespace tarno::cli
