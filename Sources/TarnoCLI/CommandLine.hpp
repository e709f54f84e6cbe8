#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarno::cli {

// What a command was given: its flags, its options with a value, its operands,
// and whether it was asked for its help instead.
struct ParsedArguments {
    std::set<std::string> flags;
    std::multimap<std::string, std::string> options; // several values only for a repeatable option
    std::vector<std::string> operands;
    bool help = false;

    bool has(const std::string& flag) const { return flags.contains(flag); }
    std::optional<std::string> option(const std::string& name) const;
    std::vector<std::string> values(const std::string& name) const; // in the order given

    bool operator==(const ParsedArguments&) const = default;
};

// One option of a command: a flag ("--json") or, with a value name, an option
// that takes a value ("--home" "DIR"), and one line of what it does.
struct OptionSyntax {
    std::string_view name;
    std::string_view value;
    std::string_view description;
    bool repeatable = false; // may be given more than once, each time with a value

    bool takesValue() const { return !value.empty(); }
};

// The grammar of one command and the words its help is made of.
struct CommandSyntax {
    std::string_view name;
    std::string_view operands;      // as the usage shows them: "PATH...", "[PATH]", or empty
    std::string_view description;   // what the command does, in one or two sentences
    std::vector<OptionSyntax> options;
    bool needsOperands = false;
    bool takesOperands = false;

    const OptionSyntax* optionNamed(std::string_view optionName) const;
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
extern const CommandSyntax projectsSyntax;
extern const CommandSyntax duplicatesSyntax;
extern const CommandSyntax largeSyntax;
extern const CommandSyntax appsSyntax;
extern const CommandSyntax uninstallSyntax;
extern const CommandSyntax toolsSyntax;
extern const CommandSyntax stopSyntax;
extern const CommandSyntax startupSyntax;

// Why a command line does not fit its command's grammar, in a few words.
struct UsageError {
    std::string problem;

    bool operator==(const UsageError&) const = default;
};

// Parses the arguments after the command's name. "--" ends the options; a
// lone "-" is an operand; an option's value is the next argument or follows
// "=" ("--home DIR", "--home=DIR"). "--help" or "-h" among the options asks
// for help and ends the parse. A flag may be repeated, an option with a value
// may not.
std::variant<ParsedArguments, UsageError> parse(const CommandSyntax& syntax, const std::vector<std::string>& arguments);

// The same, writing a usage error to stderr and giving std::nullopt for it.
std::optional<ParsedArguments> parseArguments(const CommandSyntax& syntax, const std::vector<std::string>& arguments);

// The exit statuses, the same for every command.
inline constexpr int successStatus = 0;
inline constexpr int incompleteStatus = 1;  // ran, but did not fully do what was asked
inline constexpr int usageErrorStatus = 2;

// successStatus when every folder could be read; otherwise writes on stderr
// that the sizes leave `unreadableDirectories` folders out and gives
// incompleteStatus.
int statusAfterMeasuring(std::int64_t unreadableDirectories);

// Writes "tarno-cli: <problem>; usage: <usage>" to stderr and gives usageErrorStatus.
int reportUsageError(std::string_view problem, std::string_view usage);
int reportUsageError(std::string_view problem, const CommandSyntax& syntax);

// One line: "tarno-cli measure [--json] PATH...".
std::string usageLine(const CommandSyntax& syntax);

// What `tarno-cli COMMAND --help` prints: the usage, the description and one
// line for each option.
std::string commandHelp(const CommandSyntax& syntax);

// What `tarno-cli --help` prints: every command with its options, then the
// exit statuses.
std::string helpText(const std::vector<const CommandSyntax*>& commands);

// What `tarno-cli --version` prints: "tarno-cli <version>".
std::string versionText();

// A path as the catalog expects a home: without a trailing slash.
std::string withoutTrailingSlash(std::string path);

// An operand as an absolute path without a trailing slash; nothing else is normalised.
std::string absolutePath(const std::string& given);

} // namespace tarno::cli
