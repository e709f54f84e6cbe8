#include "CommandLine.hpp"
#include "Confirmation.hpp"
#include "Commands.hpp"
#include "HomeEnvironment.hpp"
#include "JsonEncoding.hpp"
#include "TextFormat.hpp"

#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/TildePath.hpp"
#include "TarnoCore/Performance/ProcessSampler.hpp"
#include "TarnoCore/Projects/ProjectRemoval.hpp"
#include "TarnoCore/Projects/ProjectScanner.hpp"

#include <fmt/core.h>

#include <filesystem>
#include <set>

namespace tarno::cli {

namespace {

using JsonEncoding::Json;

Json optionalDate(const std::optional<std::chrono::system_clock::time_point>& date)
{
    return date ? Json(TextFormat::isoTimestamp(*date)) : Json(nullptr);
}

// The state's case as its name, with its payload's fields beside it.
Json encode(const Worktree::State& state)
{
    using State = Worktree::State;
    Json object = Json::object();
    std::visit(
        [&object](const auto& value) {
            using Case = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Case, State::Merged>) {
                object["kind"] = "merged";
                object["into"] = value.into;
            } else if constexpr (std::is_same_v<Case, State::PullRequestMerged>) {
                object["kind"] = "pullRequestMerged";
                object["number"] = value.number;
            } else if constexpr (std::is_same_v<Case, State::PullRequestOpen>) {
                object["kind"] = "pullRequestOpen";
                object["number"] = value.number;
            } else if constexpr (std::is_same_v<Case, State::PullRequestClosed>) {
                object["kind"] = "pullRequestClosed";
                object["number"] = value.number;
            } else if constexpr (std::is_same_v<Case, State::UnpushedCommits>) {
                object["kind"] = "unpushedCommits";
                object["count"] = value.count;
            } else if constexpr (std::is_same_v<Case, State::UncommittedChanges>) {
                object["kind"] = "uncommittedChanges";
                object["count"] = value.count;
            } else if constexpr (std::is_same_v<Case, State::UntrackedFiles>) {
                object["kind"] = "untrackedFiles";
                object["paths"] = value.paths;
            } else if constexpr (std::is_same_v<Case, State::RemoteBranchDeleted>) {
                object["kind"] = "remoteBranchDeleted";
            } else if constexpr (std::is_same_v<Case, State::Pushed>) {
                object["kind"] = "pushed";
            } else if constexpr (std::is_same_v<Case, State::Locked>) {
                object["kind"] = "locked";
            } else {
                object["kind"] = "missing";
            }
        },
        state.value);
    return object;
}

Json encode(const Worktree& worktree)
{
    Json object = Json::object();
    object["path"] = worktree.path;
    object["repository"] = worktree.repository;
    object["branch"] = worktree.branch ? Json(*worktree.branch) : Json(nullptr);
    object["state"] = encode(worktree.state);
    object["summary"] = worktree.summary();
    object["canRemove"] = worktree.canRemove();
    object["isFinished"] = worktree.isFinished();
    object["lastCommit"] = optionalDate(worktree.lastCommit);
    object["ignoredFiles"] = worktree.ignoredFiles;
    object["clutter"] = worktree.clutter;
    return object;
}

Json encode(const ArtifactKind& kind)
{
    Json object = Json::object();
    object["folder"] = kind.folder;
    object["markers"] = kind.markers;
    object["label"] = kind.label;
    object["restore"] = kind.restore;
    object["safety"] = rawValue(kind.safety);
    return object;
}

Json encode(const ProjectScan::ArtifactRow& row)
{
    Json object = Json::object();
    object["path"] = row.path;
    object["kind"] = encode(row.kind);
    object["projectPath"] = row.projectPath;
    object["projectLastChange"] = optionalDate(row.projectLastChange);
    object["apparentBytes"] = row.apparentBytes;
    object["realBytes"] = row.realBytes;
    object["owner"] = row.owner;
    return object;
}

Json encode(const ProjectScan::WorktreeRow& row)
{
    Json object = Json::object();
    object["worktree"] = encode(row.worktree);
    object["lastChange"] = optionalDate(row.lastChange);
    object["isInUse"] = row.isInUse;
    object["apparentBytes"] = row.apparentBytes;
    object["realBytes"] = row.realBytes;
    object["generated"] = row.generated;
    object["owners"] = row.owners;
    return object;
}

// Rows are matched by path, so "code/../code/app" must name "code/app".
std::string normalPath(const std::string& given)
{
    return withoutTrailingSlash(std::filesystem::path(absolutePath(given)).lexically_normal().string());
}

// The real size, and beside it what a plain size would say when that is more.
std::string sizes(std::int64_t real, std::int64_t apparent)
{
    if (apparent > real)
        return fmt::format("{} (apparent {})", ByteFormat::string(real), ByteFormat::string(apparent));
    return ByteFormat::string(real);
}

void printHuman(const ProjectScan& scan, const std::string& home)
{
    const auto shown = [&home](const std::string& path) { return withTilde(path, home); };
    if (scan.artifacts.empty() && scan.worktrees.empty()) {
        fmt::print("No build output or worktrees found.\n");
        return;
    }
    if (!scan.worktrees.empty())
        fmt::print("Worktrees\n");
    for (const ProjectScan::WorktreeRow& row : scan.worktrees) {
        fmt::print("  {}: {}{}{}\n", shown(row.worktree.path), sizes(row.realBytes, row.apparentBytes),
                   row.worktree.canRemove() ? "" : ", kept", row.isInUse ? ", in use" : "");
        fmt::print("    {}\n", row.worktree.summary());
    }
    if (!scan.artifacts.empty())
        fmt::print("Build output\n");
    for (const ProjectScan::ArtifactRow& row : scan.artifacts) {
        fmt::print("  {}: {}{}\n", shown(row.path), sizes(row.realBytes, row.apparentBytes),
                   row.kind.safety == Safety::review ? ", Your call" : "");
        fmt::print("    {}. {}\n", row.kind.label, row.kind.restore);
    }
}

template <typename Row, typename PathOf>
std::vector<Row> chosenRows(const std::vector<Row>& rows, const std::set<std::string>& paths, PathOf pathOf)
{
    std::vector<Row> chosen;
    std::copy_if(rows.begin(), rows.end(), std::back_inserter(chosen),
                 [&](const Row& row) { return paths.contains(pathOf(row)); });
    return chosen;
}

Json encode(const ProjectRemoval::Outcome& outcome)
{
    Json object = Json::object();
    object["removedWorktrees"] = outcome.removedWorktrees;
    object["removedArtifacts"] = outcome.removedArtifacts;
    object["wasCancelled"] = outcome.wasCancelled;
    object["summary"] = JsonEncoding::encode(outcome.summary);
    return object;
}

// Removes the selected rows once confirmed, records what went, and reports it.
int removeSelected(const ProjectScan& scan, const std::set<std::string>& artifactPaths,
                   const std::set<std::string>& worktreePaths, const ParsedArguments& parsed, const std::string& home,
                   Json* document)
{
    const auto worktrees = chosenRows(scan.worktrees, worktreePaths, [](const auto& row) { return row.worktree.path; });
    const auto artifacts = chosenRows(scan.artifacts, artifactPaths, [](const auto& row) { return row.path; });
    for (const ProjectScan::WorktreeRow& row : worktrees) {
        if (!row.worktree.canRemove()) {
            fmt::print(stderr, "tarno-cli: not removing: the worktree at '{}' holds work ({})\n", row.worktree.path,
                       row.worktree.summary());
            return usageErrorStatus;
        }
    }
    const std::size_t count = worktrees.size() + artifacts.size();
    std::FILE* const promptStream = document ? stderr : stdout;
    // Shown before anything goes.
    for (const ProjectScan::WorktreeRow& row : worktrees)
        fmt::print(promptStream, "Worktree {}: {}\n", withTilde(row.worktree.path, home), ByteFormat::string(row.realBytes));
    for (const ProjectScan::ArtifactRow& row : artifacts)
        fmt::print(promptStream, "{}: {}\n", withTilde(row.path, home), ByteFormat::string(row.realBytes));
    fmt::print(promptStream, "Together they free {}.\n", ByteFormat::string(scan.freed(artifactPaths, worktreePaths)));
    if (!parsed.has("--yes")) {
        if (!canAsk()) {
            fmt::print(stderr, "tarno-cli: not removing: standard input is not a terminal, so no one can confirm; "
                               "pass --yes to remove without asking\n");
            return incompleteStatus;
        }
        const std::string question = fmt::format("Remove {} for good?", count == 1 ? std::string("this row")
                                                                                     : fmt::format("these {} rows", count));
        if (!confirmedOnTerminal(question, promptStream)) {
            fmt::print(promptStream, "Nothing was removed.\n");
            return incompleteStatus;
        }
    }

    // Ctrl-C ends the removal after the path under way; what went is recorded.
    const InterruptWatch watch;
    const ProjectRemoval::Outcome outcome = ProjectRemoval::remove(
        scan, worktrees, artifacts, ProjectRemoval::Machine::live(PathGuard::forHome(home)),
        [document](const std::string& name) {
            if (document)
                return;
            fmt::print("Removing {}…\n", name);
            std::fflush(stdout);
        },
        [] { return InterruptWatch::wasInterrupted(); });
    CleanupHistory(home).append(ProjectRemoval::record(outcome, std::chrono::system_clock::now()));

    if (document) {
        (*document)["removal"] = encode(outcome);
        JsonEncoding::print(*document);
    } else {
        if (outcome.wasCancelled)
            fmt::print("Interrupted: what was not reached was left alone.\n");
        if (!outcome.summary.failures.empty()) {
            fmt::print("Could not remove:\n");
            for (const CleanReport::Failure& failure : outcome.summary.failures)
                fmt::print("  {}: {}\n", withTilde(failure.path, home), failure.reason);
        }
        fmt::print("Freed {}.\n", ByteFormat::string(outcome.summary.freed));
    }
    const bool didAll = outcome.removedWorktrees.size() + outcome.removedArtifacts.size() == count;
    return didAll ? successStatus : incompleteStatus;
}

} // namespace

int runProjects(const std::vector<std::string>& arguments)
{
    const std::optional<ParsedArguments> parsed = parseArguments(projectsSyntax, arguments);
    if (!parsed)
        return usageErrorStatus;
    const std::string home = homeFor(*parsed);

    std::vector<std::string> roots;
    for (const std::string& operand : parsed->operands)
        roots.push_back(normalPath(operand));
    if (roots.empty())
        roots = ProjectFinder::defaultRoots(home);

    const ProjectScan scan = ProjectScanner::scan(roots, home, PathGuard::forHome(home),
                                                  ProcessSampler::workingDirectories(), [](const auto&) {},
                                                  [] { return false; });

    std::set<std::string> artifacts, worktrees;
    for (const std::string& given : parsed->values("--select")) {
        const std::string path = normalPath(given);
        const bool isArtifact = std::any_of(scan.artifacts.begin(), scan.artifacts.end(),
                                            [&](const auto& row) { return row.path == path; });
        const bool isWorktree = std::any_of(scan.worktrees.begin(), scan.worktrees.end(),
                                            [&](const auto& row) { return row.worktree.path == path; });
        if (!isArtifact && !isWorktree)
            return reportUsageError(fmt::format("no row of this scan is at '{}'", given), projectsSyntax);
        (isArtifact ? artifacts : worktrees).insert(path);
    }
    const bool selects = !artifacts.empty() || !worktrees.empty();
    const bool removes = parsed->has("--remove");
    if (removes && !selects)
        return reportUsageError("--remove needs the rows to remove, each with --select", projectsSyntax);

    if (parsed->has("--json")) {
        Json document = Json::object();
        document["artifacts"] = Json::array();
        for (const auto& row : scan.artifacts)
            document["artifacts"].push_back(encode(row));
        document["worktrees"] = Json::array();
        for (const auto& row : scan.worktrees)
            document["worktrees"].push_back(encode(row));
        if (selects)
            document["selectedBytes"] = scan.freed(artifacts, worktrees);
        if (removes)
            return removeSelected(scan, artifacts, worktrees, *parsed, home, &document);
        JsonEncoding::print(document);
        return successStatus;
    }
    if (removes)
        return removeSelected(scan, artifacts, worktrees, *parsed, home, nullptr);
    printHuman(scan, home);
    if (selects) {
        const std::size_t count = artifacts.size() + worktrees.size();
        fmt::print("Deleting the {} frees {}.\n",
                   count == 1 ? std::string("selected row") : fmt::format("{} selected rows together", count),
                   ByteFormat::string(scan.freed(artifacts, worktrees)));
    }
    return successStatus;
}

} // namespace tarno::cli
