#include "TarnoCore/Cleanup/CleanupRun.hpp"

#include <algorithm>
#include <cctype>

namespace tarno::CleanupRun {

namespace {

std::int64_t bytesBefore(const std::map<std::string, SizeResult>& sizes, const std::string& id)
{
    const auto size = sizes.find(id);
    return size == sizes.end() ? 0 : size->second.bytes;
}

} // namespace

Step cleanItem(const CleanupItem& item, std::int64_t before, const Machine& machine, const IsCancelled& isCancelled)
{
    Step step;
    step.report = machine.perform(item.action, isCancelled);
    if (step.report.wasCancelled) {
        // Cut short, what is left would take a walk to count, and the caller
        // is in a hurry: claim nothing for the item rather than guess.
        step.after.bytes = before;
    } else if (item.knownBytes) {
        step.after.bytes = step.report.failures.empty() ? 0 : before;
    } else {
        // After a whole removal little is left, so this walk is short even
        // when the run has been asked to stop meanwhile.
        step.after = machine.measure(item, [] { return false; });
    }
    step.gain = std::max<std::int64_t>(0, before - step.after.bytes);
    return step;
}

Outcome clean(const std::vector<CleanupItem>& items,
              const std::map<std::string, SizeResult>& sizes,
              const Machine& machine,
              const Progress& progress,
              const IsCancelled& isCancelled)
{
    Outcome outcome;
    for (const CleanupItem& item : items) {
        if (item.requiresAdmin)
            continue;
        if (isCancelled()) {
            outcome.wasCancelled = true;
            break;
        }
        if (progress.started)
            progress.started(item);
        const Step step = cleanItem(item, bytesBefore(sizes, item.id), machine, isCancelled);

        CleanSummary& summary = outcome.summary;
        if (item.action.as<CleanupAction::Trash>() != nullptr)
            summary.trashed += step.gain;
        else
            summary.freed += step.gain;
        // Docker gives the space of what it removed back to the system later.
        if (item.category == CleanupCategory::docker && item.knownBytes)
            summary.insideDocker += step.gain;
        summary.failures.insert(summary.failures.end(), step.report.failures.begin(), step.report.failures.end());
        outcome.cleaned.push_back(item.title);
        if (progress.finished)
            progress.finished(item, step);
        if (step.report.wasCancelled) {
            outcome.wasCancelled = true;
            break;
        }
    }
    return outcome;
}

CleanupRecord record(const Outcome& outcome, std::chrono::system_clock::time_point date)
{
    return CleanupRecord{
        .date = date,
        .source = "Cleanup",
        .freedBytes = outcome.summary.freed + outcome.summary.trashed,
        .items = outcome.cleaned,
        .failures = static_cast<int>(outcome.summary.failures.size()),
    };
}

std::string passwordPrompt(const CleanupItem& item)
{
    std::string lowerTitle = item.title;
    std::transform(lowerTitle.begin(), lowerTitle.end(), lowerTitle.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return "Tarno needs your password to delete " + lowerTitle + ".";
}

PasswordOutcome cleanWithPassword(const CleanupItem& item,
                                  std::int64_t before,
                                  const RemoveAsAdministrator& removeAsAdministrator,
                                  const Machine& machine,
                                  std::chrono::system_clock::time_point date)
{
    const std::vector<std::string> paths = item.action.paths();
    PasswordOutcome outcome;
    outcome.answer = removeAsAdministrator(paths, passwordPrompt(item));
    outcome.after = machine.measure(item, [] { return false; });

    using Kind = AdminCleanup::Outcome::Kind;
    switch (outcome.answer.kind) {
    case Kind::removed: {
        const std::int64_t freed = std::max<std::int64_t>(0, before - outcome.after.bytes);
        outcome.summary = CleanSummary{.freed = freed, .trashed = 0, .insideDocker = 0, .failures = {}};
        outcome.record = CleanupRecord{.date = date, .source = "Cleanup", .freedBytes = freed, .items = {item.title},
                                       .failures = 0};
        break;
    }
    case Kind::cancelled:
        break;
    case Kind::notAllowed:
    case Kind::couldNotStart:
    case Kind::failed:
        // The item's one failure, at its first path.
        outcome.summary = CleanSummary{
            .freed = 0, .trashed = 0, .insideDocker = 0,
            .failures = {{paths.empty() ? item.title : paths.front(), outcome.answer.message}}};
        break;
    }
    return outcome;
}

} // namespace tarno::CleanupRun
