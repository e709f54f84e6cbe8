#pragma once

#include "TarnoCore/Projects/Worktree.hpp"

#include <cstdint>
#include <functional>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Decides, for each linked worktree of a repository, whether its work has
// landed elsewhere. Every git command only reads; nothing is removed here.
namespace tarno::Worktrees {

// One stanza of `git worktree list --porcelain`.
struct Record {
    std::string path;
    std::optional<std::string> branch; // without refs/heads/
    bool locked = false;
    bool prunable = false;

    bool operator==(const Record&) const = default;
};

// One pull request as the GitHub CLI describes it.
struct PullRequest {
    std::int64_t number = 0;
    std::string state; // "OPEN", "MERGED", "CLOSED"
    std::string headRefName;
    std::string headRefOid;

    bool operator==(const PullRequest&) const = default;
};

// The environment of every git command here: no optional locks, no prompts.
const std::map<std::string, std::string>& quietly();

// The linked worktrees' paths, the main worktree left out; empty when git
// cannot list them.
std::vector<std::string> paths(const std::string& repository);

// Every linked worktree inspected, by path. `generated` gives the artifact
// paths found inside a worktree; it is called from several threads at once.
// Blocks on git and the GitHub CLI, several worktrees at a time.
std::vector<Worktree> list(const std::string& repository,
                           const std::function<std::vector<std::string>(const std::string&)>& generated);

// The stanzas of `git worktree list --porcelain`, the main worktree first.
std::vector<Record> parse(std::string_view porcelain);

// The verdict on one worktree. `main` is the default branch, such as
// "origin/main"; `pulls` maps a head branch to its newest pull request;
// `generated` lists the artifact paths inside the worktree.
Worktree inspect(const Record& record, const std::string& repository, const std::optional<std::string>& main,
                 const std::map<std::string, PullRequest>& pulls, const std::vector<std::string>& generated);

// origin's HEAD, or else the first of the usual names that exists.
std::optional<std::string> defaultBranch(const std::string& repository);

// The pull requests of origin on GitHub, by head branch; empty without the
// GitHub CLI, off GitHub, offline or logged out.
std::map<std::string, PullRequest> pullRequests(const std::string& repository);

// The same through the GitHub CLI at `gh`, given up after `timeout`.
std::map<std::string, PullRequest> pullRequests(const std::string& repository, const std::string& gh,
                                                std::chrono::seconds timeout);

// The GitHub CLI's JSON list of pull requests, by head branch, the highest
// number standing; empty unless every element has the expected shape.
std::map<std::string, PullRequest> decodePullRequests(std::string_view json);

// "owner/repository" of a GitHub remote URL (SSH, ssh:// or https://).
std::optional<std::string> gitHubSlug(std::string_view url);

// Whether an ignored path is build output a tool makes again.
bool isRegenerable(std::string_view path);

// Whether the folder holds nothing but the given artifacts and .DS_Store
// files; those files are appended to `clutter` only when it does. A missing
// folder holds nothing.
bool holdsOnlyGenerated(const std::string& folder, const std::vector<std::string>& generated,
                        std::vector<std::string>& clutter);

} // namespace tarno::Worktrees
