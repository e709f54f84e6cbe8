#include "CommandLine.hpp"
#include "Confirmation.hpp"
#include "Commands.hpp"
#include "HomeEnvironment.hpp"
#include "ItemMeasurer.hpp"
#include "JsonEncoding.hpp"
#include "TextFormat.hpp"

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupCatalog.hpp"
#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Cleanup/CleanupRun.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/TildePath.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cstdio>
#include <map>

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
    std::vector<CleanupItem> docker = Docker::cleanupItems(env.docker({}));
    std::vector<CleanupItem> tools = env.toolItems({});
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

std::string itemCount(std::size_t count)
{
    return count == 1 ? "1 item" : fmt::format("{} items", count);
}

CleanupRun::Outcome clean(const std::vector<CleanupItem>& items, const std::map<std::string, SizeResult>& sizes,
                          const Cleaner& cleaner, bool showProgress)
{
    // Ctrl-C during a clean ends it after the path under way: what was done
    // stays done and goes into the history.
    const InterruptWatch watch;
    const CleanupRun::Machine machine{
        .perform = [&cleaner](const CleanupAction& cleanupAction, const CleanupRun::IsCancelled& isCancelled) {
            return cleaner.perform(cleanupAction, isCancelled);
        },
        .measure = [](const CleanupItem& item, const CleanupRun::IsCancelled& isCancelled) {
            return item.measure(isCancelled);
        },
    };
    const CleanupRun::Progress progress{
        .started = [showProgress](const CleanupItem& item) {
            if (!showProgress)
                return;
            fmt::print("Cleaning {}…\n", item.title);
            std::fflush(stdout);
        },
        .finished = {},
    };
    return CleanupRun::clean(items, sizes, machine, progress, [] { return InterruptWatch::wasInterrupted(); });
}

void printItem(const CleanupItem& item, const SizeResult& size)
{
    fmt::print("{}: {}, {}{}\n", item.title, ByteFormat::string(size.bytes), TextFormat::safetyLabel(item.safety),
               item.requiresAdmin ? ", needs an administrator" : "");
    fmt::print("  {}\n", item.consequence);
    if (item.requiresAdmin)
        fmt::print("  Not cleaned here: you may not remove all of it without an administrator.\n");
}

void printOutcome(const CleanupRun::Outcome& outcome, bool anyTrash, const std::string& home)
{
    const CleanSummary& summary = outcome.summary;
    if (outcome.wasCancelled)
        fmt::print("Interrupted: what was not reached was left alone.\n");
    if (!summary.failures.empty()) {
        fmt::print("Could not remove:\n");
        for (const CleanReport::Failure& failure : summary.failures)
            fmt::print("  {}: {}\n", withTilde(failure.path, home), failure.reason);
    }
    fmt::print("Freed {}.\n", ByteFormat::string(summary.freed));
    if (anyTrash)
        fmt::print("Moved to the Trash: {}.\n", ByteFormat::string(summary.trashed));
    if (summary.insideDocker > 0)
        fmt::print("Of that, inside Docker: {}.\n", ByteFormat::string(summary.insideDocker));
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
    // With --json, standard output carries one document and nothing else.
    const bool json = parsed->has("--json");
    JsonEncoding::Json document = JsonEncoding::Json::object();
    document["items"] = JsonEncoding::Json::array();
    std::vector<CleanupItem> items;
    std::map<std::string, SizeResult> sizes;
    for (std::size_t index = 0; index < chosen.size(); ++index) {
        if (json)
            document["items"].push_back(JsonEncoding::encode(chosen[index], chosenSizes[index]));
        else
            printItem(chosen[index], chosenSizes[index]);
        sizes[chosen[index].id] = chosenSizes[index];
        // An item that needs an administrator is never part of an ordinary clean.
        if (!chosen[index].requiresAdmin)
            items.push_back(chosen[index]);
    }

    if (items.empty() || parsed->has("--dry-run")) {
        if (json)
            JsonEncoding::print(document);
        else if (items.empty())
            fmt::print("Nothing to clean: each of these needs an administrator.\n");
        else
            fmt::print("Dry run: {} would be cleaned; nothing was removed.\n", itemCount(items.size()));
        return items.empty() ? incompleteStatus : successStatus;
    }
    if (!parsed->has("--yes")) {
        if (!canAsk()) {
            fmt::print(stderr, "tarno-cli: not cleaning: standard input is not a terminal, so no one can confirm; "
                               "pass --yes to clean without asking\n");
            return 1;
        }
        std::FILE* const promptStream = json ? stderr : stdout;
        const std::string question =
            fmt::format("Clean {}?", items.size() == 1 ? std::string("this item") : fmt::format("these {} items", items.size()));
        if (!confirmedOnTerminal(question, promptStream)) {
            fmt::print(promptStream, "Nothing was cleaned.\n");
            return 1;
        }
    }

    const CleanupRun::Outcome outcome = clean(items, sizes, Cleaner{PathGuard::forHome(env.home)}, !json);
    if (json) {
        document["cleaned"] = outcome.cleaned;
        document["wasCancelled"] = outcome.wasCancelled;
        document["summary"] = JsonEncoding::encode(outcome.summary);
        JsonEncoding::print(document);
    } else {
        const bool anyTrash = std::any_of(items.begin(), items.end(),
                                          [](const CleanupItem& item) { return !item.action.isPermanent(); });
        printOutcome(outcome, anyTrash, env.home);
    }
    CleanupHistory(env.home).append(CleanupRun::record(outcome, std::chrono::system_clock::now()));
    // Items left to an administrator, paths that could not go, or an
    // interruption: the clean did not do all that was asked.
    const bool didAll = outcome.summary.failures.empty() && !outcome.wasCancelled && items.size() == chosen.size();
    return didAll ? successStatus : incompleteStatus;
}

} // namespace tarno::cli
