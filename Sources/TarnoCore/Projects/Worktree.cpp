#include "TarnoCore/Projects/Worktree.hpp"

#include "TarnoCore/Foundation/Overloaded.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace tarno {

namespace {

using State = Worktree::State;

std::string counted(std::int64_t count, const char* one, const char* many)
{
    return count == 1 ? fmt::format("1 {}", one) : fmt::format("{} {}", count, many);
}

std::string untrackedSummary(const std::vector<std::string>& paths)
{
    constexpr std::size_t shown = 3;
    const auto end = paths.begin() + static_cast<std::ptrdiff_t>(std::min(paths.size(), shown));
    std::string text = fmt::format("Untracked: {}", fmt::join(paths.begin(), end, ", "));
    if (paths.size() > shown)
        text += fmt::format(" and {} more", paths.size() - shown);
    return text;
}

} // namespace

std::string Worktree::summary() const
{
    return std::visit(
        Overloaded{
            [](const State::Merged& verdict) { return fmt::format("Merged into {}", verdict.into); },
            [](const State::PullRequestMerged& verdict) { return fmt::format("Pull request #{} merged", verdict.number); },
            [](const State::PullRequestOpen& verdict) { return fmt::format("Pull request #{} is open", verdict.number); },
            [](const State::PullRequestClosed& verdict) {
                return fmt::format("Pull request #{} closed without merging", verdict.number);
            },
            [](const State::UnpushedCommits& verdict) { return counted(verdict.count, "commit not pushed", "commits not pushed"); },
            [](const State::UncommittedChanges& verdict) {
                return counted(verdict.count, "uncommitted change", "uncommitted changes");
            },
            [](const State::UntrackedFiles& verdict) { return untrackedSummary(verdict.paths); },
            [](const State::RemoteBranchDeleted&) {
                return std::string("Branch deleted on the remote, usually after merging");
            },
            [](const State::Pushed&) { return std::string("Pushed, not merged"); },
            [](const State::Locked&) { return std::string("Locked with git worktree lock"); },
            [](const State::Missing&) { return std::string("Folder is gone"); },
        },
        state.value);
}

bool Worktree::canRemove() const
{
    // Whatever could be lost, or a folder git guards or no longer has, is not offered.
    return !std::holds_alternative<State::UncommittedChanges>(state.value)
        && !std::holds_alternative<State::UntrackedFiles>(state.value)
        && !std::holds_alternative<State::Locked>(state.value)
        && !std::holds_alternative<State::Missing>(state.value);
}

bool Worktree::isFinished() const
{
    const bool landed = std::holds_alternative<State::Merged>(state.value)
        || std::holds_alternative<State::PullRequestMerged>(state.value)
        || std::holds_alternative<State::RemoteBranchDeleted>(state.value);
    return landed && ignoredFiles.empty();
}

} // namespace tarno
