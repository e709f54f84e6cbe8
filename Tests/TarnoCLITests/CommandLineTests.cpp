#include "CommandLine.hpp"
#include "Commands.hpp"

#include <fmt/core.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <ostream>
#include <sstream>

namespace tarno::cli {

// Readable failures: what the parser gave in the test's own terms.
void PrintTo(const ParsedArguments& parsed, std::ostream* out)
{
    std::vector<std::string> options;
    for (const auto& [name, value] : parsed.options)
        options.push_back(fmt::format("{}={}", name, value));
    *out << fmt::format("flags [{}] options [{}] operands [{}]{}", fmt::join(parsed.flags, " "),
                        fmt::join(options, " "), fmt::join(parsed.operands, " "), parsed.help ? " help" : "");
}

void PrintTo(const UsageError& error, std::ostream* out)
{
    *out << "usage error: " << error.problem;
}

namespace {

using Outcome = std::variant<ParsedArguments, UsageError>;

const CommandSyntax needsOperands{
    .name = "needs",
    .operands = "PATH...",
    .description = "Takes paths.",
    .options = {{"--json", "", "prints JSON"}, {"--home", "DIR", "looks at DIR"}, {"--samples", "N", "takes N"}},
    .needsOperands = true,
    .takesOperands = true,
};

const CommandSyntax takesNoOperands{
    .name = "bare",
    .operands = "",
    .description = "Takes options only.",
    .options = {{"--json", "", "prints JSON"}, {"--home", "DIR", "looks at DIR"}},
    .needsOperands = false,
    .takesOperands = false,
};

const CommandSyntax optionalOperand{
    .name = "optional",
    .operands = "[PATH]",
    .description = "Takes a path or none.",
    .options = {{"--json", "", "prints JSON"}},
    .needsOperands = false,
    .takesOperands = true,
};

struct ParseCase {
    std::string_view what;
    const CommandSyntax* syntax;
    std::vector<std::string> arguments;
    Outcome expected;
};

ParsedArguments operands(std::vector<std::string> values)
{
    return ParsedArguments{.flags = {}, .options = {}, .operands = std::move(values), .help = false};
}

ParsedArguments helpAfter(std::set<std::string> flags)
{
    return ParsedArguments{.flags = std::move(flags), .options = {}, .operands = {}, .help = true};
}

UsageError problem(std::string text)
{
    return UsageError{std::move(text)};
}

TEST(CommandLineTests, ParsesFlagsValuesOperandsAndRefusesWhatDoesNotFit)
{
    const std::vector<ParseCase> cases{
        // Flags, values in both spellings, operands in any order around them.
        {"nothing", &optionalOperand, {}, operands({})},
        {"a flag", &needsOperands, {"--json", "a"}, ParsedArguments{{"--json"}, {}, {"a"}, false}},
        {"a repeated flag counts once", &needsOperands, {"--json", "a", "--json"},
         ParsedArguments{{"--json"}, {}, {"a"}, false}},
        {"a value after a space", &needsOperands, {"--home", "/h", "a"},
         ParsedArguments{{}, {{"--home", "/h"}}, {"a"}, false}},
        {"a value after =", &needsOperands, {"--home=/h", "a"}, ParsedArguments{{}, {{"--home", "/h"}}, {"a"}, false}},
        {"only the first = splits", &needsOperands, {"--home=/a=b", "a"},
         ParsedArguments{{}, {{"--home", "/a=b"}}, {"a"}, false}},
        {"the next argument is the value even when it looks like an option", &needsOperands,
         {"--home", "--json", "a"}, ParsedArguments{{}, {{"--home", "--json"}}, {"a"}, false}},
        {"options between operands, operands kept in order", &needsOperands,
         {"b", "--samples", "3", "a", "--json", "b"},
         ParsedArguments{{"--json"}, {{"--samples", "3"}}, {"b", "a", "b"}, false}},
        {"-- ends the options", &needsOperands, {"--json", "--", "--home", "-h", "--"},
         ParsedArguments{{"--json"}, {}, {"--home", "-h", "--"}, false}},
        {"a lone - is an operand", &needsOperands, {"-", "--json"}, ParsedArguments{{"--json"}, {}, {"-"}, false}},
        {"an empty argument is an operand", &optionalOperand, {""}, operands({""})},

        // Operands where none are taken, and none where some are needed.
        {"an operand where none are taken", &takesNoOperands, {"--json", "extra"},
         problem("unexpected operand 'extra'")},
        {"a lone - where no operand is taken", &takesNoOperands, {"-"}, problem("unexpected operand '-'")},
        {"an operand after -- where none are taken", &takesNoOperands, {"--", "--json"},
         problem("unexpected operand '--json'")},
        {"no operand", &needsOperands, {}, problem("missing operand")},
        {"flags but no operand", &needsOperands, {"--json", "--home", "/h"}, problem("missing operand")},
        {"only --", &needsOperands, {"--"}, problem("missing operand")},

        // Values that are missing, empty, unwanted or given twice.
        {"a value option at the end", &needsOperands, {"a", "--home"}, problem("option '--home' needs a value")},
        {"an empty value after =", &needsOperands, {"--home=", "a"}, problem("option '--home' needs a value")},
        {"an empty value after a space", &needsOperands, {"--home", "", "a"}, problem("option '--home' needs a value")},
        {"a value for a flag", &needsOperands, {"--json=yes", "a"}, problem("option '--json' takes no value")},
        {"a value option twice", &needsOperands, {"--home", "/a", "a", "--home=/b"},
         problem("option '--home' is given more than once")},
        {"a value option twice with the same value", &takesNoOperands, {"--home=/a", "--home=/a"},
         problem("option '--home' is given more than once")},

        // Unknown options, long and short, and the first problem wins.
        {"an unknown long option", &needsOperands, {"--bogus", "a"}, problem("unknown option '--bogus'")},
        {"an unknown option with a value", &needsOperands, {"--bogus=1", "a"}, problem("unknown option '--bogus'")},
        {"an unknown short option", &needsOperands, {"-x", "a"}, problem("unknown option '-x'")},
        {"a long option with one dash", &needsOperands, {"-json", "a"}, problem("unknown option '-json'")},
        {"another command's option", &takesNoOperands, {"--samples", "2"}, problem("unknown option '--samples'")},
        {"the first problem is the one reported", &takesNoOperands, {"--bogus", "extra"},
         problem("unknown option '--bogus'")},

        // Help ends the parse, but only where an option can stand.
        {"--help without the operands", &needsOperands, {"--help"}, helpAfter({})},
        {"-h", &takesNoOperands, {"-h"}, helpAfter({})},
        {"help before a later problem", &needsOperands, {"--json", "-h", "--bogus"}, helpAfter({"--json"})},
        {"a problem before help", &needsOperands, {"--bogus", "--help"}, problem("unknown option '--bogus'")},
        {"--help as an option's value", &needsOperands, {"--home", "--help", "a"},
         ParsedArguments{{}, {{"--home", "--help"}}, {"a"}, false}},
        {"--help after --", &needsOperands, {"--", "--help"}, operands({"--help"})},
        {"--help with a value", &needsOperands, {"--help=me"}, problem("option '--help' takes no value")},
    };
    for (const ParseCase& testCase : cases) {
        SCOPED_TRACE(testCase.what);
        EXPECT_EQ(parse(*testCase.syntax, testCase.arguments), testCase.expected);
    }
}

TEST(CommandLineTests, ParsedArgumentsAnswerForTheirFlagsAndOptions)
{
    const ParsedArguments parsed = std::get<ParsedArguments>(parse(needsOperands, {"--home=/h", "--json", "a"}));
    EXPECT_TRUE(parsed.has("--json"));
    EXPECT_FALSE(parsed.has("--home"));
    EXPECT_EQ(parsed.option("--home"), "/h");
    EXPECT_EQ(parsed.option("--samples"), std::nullopt);
    EXPECT_EQ(parsed.option("--json"), std::nullopt);
}

TEST(CommandLineTests, UsageLinesComeFromTheOptionTable)
{
    EXPECT_EQ(usageLine(needsOperands), "tarno-cli needs [--json] [--home DIR] [--samples N] PATH...");
    EXPECT_EQ(usageLine(takesNoOperands), "tarno-cli bare [--json] [--home DIR]");
    EXPECT_EQ(usageLine(optionalOperand), "tarno-cli optional [--json] [PATH]");
    EXPECT_EQ(usageLine(memorySyntax), "tarno-cli memory [--json]");
}

TEST(CommandLineTests, CommandHelpAlignsTheOptionsAndWrapsLongDescriptions)
{
    CommandSyntax wordy = takesNoOperands;
    wordy.description = "One two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen "
                        "sixteen seventeen eighteen nineteen twenty.";
    wordy.options.push_back({"--verbose", "", "says far more than anyone would want to read about what it does, "
                                              "and then some more, until the line is too long to fit"});
    EXPECT_EQ(commandHelp(wordy),
              "Usage: tarno-cli bare [--json] [--home DIR] [--verbose]\n"
              "One two three four five six seven eight nine ten eleven twelve thirteen fourteen fifteen sixteen\n"
              "seventeen eighteen nineteen twenty.\n"
              "\n"
              "Options:\n"
              "  --json      prints JSON\n"
              "  --home DIR  looks at DIR\n"
              "  --verbose   says far more than anyone would want to read about what it does, and then some more,\n"
              "              until the line is too long to fit\n"
              "  -h, --help  prints this command's usage and options\n");
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// The dispatch table's own list, so that a new command cannot be left out.
const std::vector<const CommandSyntax*> everyCommand = [] {
    std::vector<const CommandSyntax*> syntaxes;
    for (const Command& command : commands())
        syntaxes.push_back(command.syntax);
    return syntaxes;
}();

TEST(CommandLineTests, EveryOptionOfEveryCommandIsDescribed)
{
    for (const CommandSyntax* command : everyCommand) {
        SCOPED_TRACE(command->name);
        EXPECT_FALSE(command->description.empty());
        EXPECT_EQ(command->needsOperands || command->takesOperands, !command->operands.empty());
        for (const OptionSyntax& option : command->options) {
            SCOPED_TRACE(option.name);
            EXPECT_TRUE(option.name.starts_with("--"));
            EXPECT_NE(option.name, "--help") << "the parser answers --help before the table is asked";
            EXPECT_FALSE(option.description.empty());
            EXPECT_EQ(command->optionNamed(option.name), &option) << "named twice";
        }
    }
}

TEST(CommandLineTests, HelpListsEachCommandWithItsOptionsThenTheExitStatuses)
{
    const std::string help = helpText(everyCommand);
    ASSERT_TRUE(help.ends_with('\n'));
    for (const std::string& line : linesOf(help))
        EXPECT_LE(line.size(), 100u) << line;

    for (std::size_t index = 0; index < everyCommand.size(); ++index) {
        const CommandSyntax& command = *everyCommand[index];
        SCOPED_TRACE(command.name);
        // The command's part runs from its usage line to the next command's.
        const std::size_t begin = help.find("\n  " + usageLine(command) + "\n");
        ASSERT_NE(begin, std::string::npos);
        const std::size_t end = help.find("\n  tarno-cli ", begin + 1);
        const std::string part = help.substr(begin, end - begin);
        EXPECT_NE(part.find(command.description.substr(0, 40)), std::string::npos);
        for (const OptionSyntax& option : command.options) {
            const std::string head = option.takesValue() ? fmt::format("{} {}", option.name, option.value)
                                                         : std::string(option.name);
            EXPECT_NE(part.find("        " + head + "  "), std::string::npos) << option.name;
            EXPECT_NE(part.find(option.description.substr(0, 20)), std::string::npos) << option.name;
        }
    }
    EXPECT_NE(help.find("  tarno-cli --version\n"), std::string::npos);

    const std::size_t statuses = help.find("\nExit status:\n");
    ASSERT_NE(statuses, std::string::npos);
    const std::vector<std::string> statusLines = linesOf(help.substr(statuses));
    std::vector<std::string> statusNumbers;
    for (const std::string& line : statusLines) {
        if (line.size() > 3 && line.starts_with("  ") && line[2] != ' ')
            statusNumbers.push_back(line.substr(2, 1));
    }
    EXPECT_EQ(statusNumbers, (std::vector<std::string>{"0", "1", "2"}));
}

TEST(CommandLineTests, WithoutTrailingSlashKeepsTheRoot)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {"/home/me/", "/home/me"}, {"/home/me//", "/home/me"}, {"/home/me", "/home/me"},
        {"/", "/"},                {"//", "/"},                {"", ""},
    };
    for (const auto& [given, expected] : cases)
        EXPECT_EQ(withoutTrailingSlash(given), expected) << given;
}

} // namespace
} // namespace tarno::cli
