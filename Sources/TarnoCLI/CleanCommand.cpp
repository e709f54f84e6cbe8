#include "CommandLine.hpp"
#include "Commands.hpp"
#include "HomeEnvironment.hpp"
#include "ItemMeasurer.hpp"
#include "TextFormat.hpp"

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupCatalog.hpp"
#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iostream>

#include <unistd.h>

namespace tarno::cli {

namespace {

bool offers(const std::vector<CleanupItem>& items, const std::string& id)
{
    return std::any_of(items.begin(), items.end(), [&id](const CleanupItem& item) { return item.id == id; });
}

// The catalog's items, then the tools' as the cleanup flow appends them.
// Asking Docker and Homebrew takes seconds, so they are asked only for an id
// that the catalog does not have.
std::vector<CleanupItem> offeredItems(const CleanupEnvironment& env, const std::vector<std::string>& ids)
{
    std::vector<CleanupItem> items = CleanupCatalog::items(env);
    if (std::all_of(ids.begin(), ids.end(), [&items](const std::string& id) { return offers(items, id); }))
        return items;
    std::vector<CleanupItem> docker = Docker::cleanupItems(env.docker());
    std::vector<CleanupItem> tools = env.toolItems();
    items.insert(items.end(), docker.begin(), docker.end());
    items.insert(items.end(), tools.begin(), tools.end());
    return items;
}

std::vector<std::string> unknownIDs(const std::vector<CleanupItem>& items, const std::vector<std::string>& ids)
{
    std::vector<std::string> unknown;
    for (const std::string& id : ids) {
        if (!offers(items, id) && std::find(unknown.begin(), unknown.end(), id) == unknown.end())
            unknown.push_back(id);
    }
    return unknown;
}

std::string abbreviated(const std::string& path, const std::string& home)
{
    if (home.empty() || home == "/")
        return path;
    if (path == home)
        return "~";
    if (path.starts_with(home) && path[home.size()] == '/')
        return "~" + path.substr(home.size());
    return path;
}

std::string itemCount(std::size_t count)
{
    return count == 1 ? "1 item" : fmt::format("{} items", count);
}

bool isYes(std::string answer)
{
    std::erase_if(answer, [](unsigned char character) { return std::isspace(character) != 0; });
    std::transform(answer.begin(), answer.end(), answer.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return answer == "y" || answer == "yes";
}

bool confirmedOnTerminal(std::size_t count)
{
    fmt::print("Clean {}? [y/N] ", count == 1 ? std::string("this item") : fmt::format("these {} items", count));
    std::fflush(stdout);
    std::string answer;
    return std::getline(std::cin, answer) && isYes(answer);
}

// What a clean gave back, split as the cleanup flow's summary is.
struct Outcome {
    std::int64_t freed = 0;
    std::int64_t trashed = 0;
    std::int64_t insideDocker = 0;
    std::vector<CleanReport::Failure> failures;
};

// One item at a time, each measured again afterwards: what really went away
// counts, so a half-removed folder counts for its half.
Outcome clean(const std::vector<CleanupItem>& items, const std::vector<SizeResult>& sizes, const Cleaner& cleaner)
{
    Outcome outcome;
    for (std::size_t index = 0; index < items.size(); ++index) {
        const CleanupItem& item = items[index];
        fmt::print("Cleaning {}…\n", item.title);
        std::fflush(stdout);
        const std::int64_t before = sizes[index].bytes;
        const CleanReport report = cleaner.perform(item.action);
        // A tool's reported size cannot be measured again: it is gone unless the tool failed.
        const std::int64_t after = item.knownBytes ? (report.failures.empty() ? 0 : before) : item.measure().bytes;
        const std::int64_t gain = std::max<std::int64_t>(before - after, 0);
        if (item.action.isPermanent())
            outcome.freed += gain;
        else
            outcome.trashed += gain;
        if (item.category == CleanupCategory::docker && item.knownBytes)
            outcome.insideDocker += gain;
        outcome.failures.insert(outcome.failures.end(), report.failures.begin(), report.failures.end());
    }
    return outcome;
}

void printItem(const CleanupItem& item, const SizeResult& size)
{
    fmt::print("{}: {}, {}{}\n", item.title, ByteFormat::string(size.bytes), TextFormat::safetyLabel(item.safety),
               item.requiresAdmin ? ", needs an administrator" : "");
    fmt::print("  {}\n", item.consequence);
    if (item.requiresAdmin)
        fmt::print("  Not cleaned here: you may not remove all of it without an administrator.\n");
}

void printOutcome(const Outcome& outcome, bool anyTrash, const std::string& home)
{
    if (!outcome.failures.empty()) {
        fmt::print("Could not remove:\n");
        for (const CleanReport::Failure& failure : outcome.failures)
            fmt::print("  {}: {}\n", abbreviated(failure.path, home), failure.reason);
    }
    fmt::print("Freed {}.\n", ByteFormat::string(outcome.freed));
    if (anyTrash)
        fmt::print("Moved to the Trash: {}.\n", ByteFormat::string(outcome.trashed));
    if (outcome.insideDocker > 0)
        fmt::print("Of that, inside Docker: {}.\n", ByteFormat::string(outcome.insideDocker));
}

} // namespace

int runClean(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(cleanSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;

    const CleanupEnvironment env = environmentFor(*parsed);
    const std::vector<CleanupItem> offered = offeredItems(env, parsed->operands);
    if (const std::vector<std::string> unknown = unknownIDs(offered, parsed->operands); !unknown.empty()) {
        std::string list;
        for (const std::string& id : unknown)
            list += (list.empty() ? "" : ", ") + id;
        fmt::print(stderr,
                   "tarno-cli: nothing on this machine to clean for {} {} (tarno-cli catalog lists what there is)\n",
                   unknown.size() == 1 ? "the id" : "the ids", list);
        return usageErrorStatus;
    }

    // In the catalog's order, as the cleanup screen lists its selection.
    std::vector<CleanupItem> chosen;
    std::copy_if(offered.begin(), offered.end(), std::back_inserter(chosen), [&](const CleanupItem& item) {
        return std::find(parsed->operands.begin(), parsed->operands.end(), item.id) != parsed->operands.end();
    });
    const std::vector<SizeResult> chosenSizes = ItemMeasurer::measureAll(chosen);
    std::vector<CleanupItem> items;
    std::vector<SizeResult> sizes;
    for (std::size_t index = 0; index < chosen.size(); ++index) {
        printItem(chosen[index], chosenSizes[index]);
        // An item that needs an administrator is never part of an ordinary clean.
        if (!chosen[index].requiresAdmin) {
            items.push_back(chosen[index]);
            sizes.push_back(chosenSizes[index]);
        }
    }

    if (items.empty()) {
        fmt::print("Nothing to clean: each of these needs an administrator.\n");
        return 0;
    }
    if (parsed->has("--dry-run")) {
        fmt::print("Dry run: {} would be cleaned; nothing was removed.\n", itemCount(items.size()));
        return 0;
    }
    if (!parsed->has("--yes")) {
        if (::isatty(STDIN_FILENO) == 0) {
            fmt::print(stderr, "tarno-cli: not cleaning: standard input is not a terminal, so no one can confirm; "
                               "pass --yes to clean without asking\n");
            return 1;
        }
        if (!confirmedOnTerminal(items.size())) {
            fmt::print("Nothing was cleaned.\n");
            return 1;
        }
    }

    const Outcome outcome = clean(items, sizes, Cleaner{PathGuard(env.home, "/Applications")});
    const bool anyTrash = std::any_of(items.begin(), items.end(),
                                      [](const CleanupItem& item) { return !item.action.isPermanent(); });
    printOutcome(outcome, anyTrash, env.home);

    CleanupRecord record{std::chrono::system_clock::now(), "Cleanup", outcome.freed + outcome.trashed, {},
                         static_cast<int>(outcome.failures.size())};
    for (const CleanupItem& item : items)
        record.items.push_back(item.title);
    CleanupHistory(env.home).append(record);
    return outcome.failures.empty() ? 0 : 1;
}

} // namespace tarno::cli
