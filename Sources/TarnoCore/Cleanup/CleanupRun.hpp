#pragma once

#include "TarnoCore/Cleanup/AdminCleanup.hpp"
#include "TarnoCore/Cleanup/CleanSummary.hpp"
#include "TarnoCore/Cleanup/CleanupItem.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

// The one road by which confirmed items are cleaned: each item's action under
// the guard, one item after another, each measured again afterwards so that
// what really went away is what counts, the gain split into freed, trashed and
// inside Docker, and the history line that says so. The command line and the
// application both take it; they differ only in how they show progress.
namespace tarno::CleanupRun {

using IsCancelled = std::function<bool()>;

// What the road asks of the machine. Both block; call them off the main thread.
struct Machine {
    // Carries out an action, every path put to the guard at that moment.
    std::function<CleanReport(const CleanupAction&, const IsCancelled&)> perform;
    std::function<SizeResult(const CleanupItem&, const IsCancelled&)> measure;
};

// One item done.
struct Step {
    SizeResult after;      // what is left of the item
    std::int64_t gain = 0; // before less after, never below 0
    CleanReport report;

    bool operator==(const Step&) const = default;
};

// Called on the thread that runs the road, in order.
struct Progress {
    std::function<void(const CleanupItem&)> started;
    std::function<void(const CleanupItem&, const Step&)> finished;
};

struct Outcome {
    CleanSummary summary;
    std::vector<std::string> cleaned; // titles of the items the run reached, in order
    bool wasCancelled = false;        // the run stopped before its last item

    bool operator==(const Outcome&) const = default;
};

// Cleans the items in order. `sizes` holds what each item measured before;
// an item without a size counts from 0. An item that needs an administrator
// is passed by: it has a road of its own. Cancellation is looked at before
// each item and handed to the machine, so an item under way may stop short;
// what was done stays done and is counted.
Outcome clean(const std::vector<CleanupItem>& items,
              const std::map<std::string, SizeResult>& sizes,
              const Machine& machine,
              const Progress& progress = {},
              const IsCancelled& isCancelled = [] { return false; });

// The step for one item: perform, then what is left. A size a tool reported
// cannot be measured again: all of it went, or after a failure all of it is
// taken to be still there. An item whose removal was cut short gains nothing.
Step cleanItem(const CleanupItem& item, std::int64_t before, const Machine& machine, const IsCancelled& isCancelled);

// The history line of a run: the date, source "Cleanup", freed and trashed
// together, the titles and the number of failures.
CleanupRecord record(const Outcome& outcome, std::chrono::system_clock::time_point date);

// The road of one item that belongs to the administrator.
using RemoveAsAdministrator =
    std::function<AdminCleanup::Outcome(const std::vector<std::string>& paths, const std::string& prompt)>;

struct PasswordOutcome {
    AdminCleanup::Outcome answer;
    SizeResult after;
    // None when the user dismissed the prompt: that leaves no trace.
    std::optional<CleanSummary> summary;
    // Only for a removal that went through.
    std::optional<CleanupRecord> record;

    bool operator==(const PasswordOutcome&) const = default;
};

// "Tarno needs your password to delete <title in lower case>."
std::string passwordPrompt(const CleanupItem& item);

// Asks for the password, removes, measures again and says what to show and
// to record.
PasswordOutcome cleanWithPassword(const CleanupItem& item,
                                  std::int64_t before,
                                  const RemoveAsAdministrator& removeAsAdministrator,
                                  const Machine& machine,
                                  std::chrono::system_clock::time_point date);

} // namespace tarno::CleanupRun
