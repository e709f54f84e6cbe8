#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace tarno {

// A linked git worktree and whether its work has landed elsewhere.
struct Worktree {
    // The verdict, in the order the checks are made.
    struct State {
        struct Merged {
            std::string into; // the default branch without its remote, "main"
            bool operator==(const Merged&) const = default;
        };
        struct PullRequestMerged {
            std::int64_t number = 0;
            bool operator==(const PullRequestMerged&) const = default;
        };
        struct PullRequestOpen {
            std::int64_t number = 0;
            bool operator==(const PullRequestOpen&) const = default;
        };
        struct PullRequestClosed {
            std::int64_t number = 0;
            bool operator==(const PullRequestClosed&) const = default;
        };
        struct UnpushedCommits {
            std::int64_t count = 0;
            bool operator==(const UnpushedCommits&) const = default;
        };
        struct UncommittedChanges {
            std::int64_t count = 0;
            bool operator==(const UncommittedChanges&) const = default;
        };
        struct UntrackedFiles {
            std::vector<std::string> paths; // relative to the worktree
            bool operator==(const UntrackedFiles&) const = default;
        };
        struct RemoteBranchDeleted {
            bool operator==(const RemoteBranchDeleted&) const = default;
        };
        struct Pushed {
            bool operator==(const Pushed&) const = default;
        };
        struct Locked {
            bool operator==(const Locked&) const = default;
        };
        struct Missing {
            bool operator==(const Missing&) const = default;
        };

        using Case = std::variant<Merged, PullRequestMerged, PullRequestOpen, PullRequestClosed, UnpushedCommits,
                                  UncommittedChanges, UntrackedFiles, RemoteBranchDeleted, Pushed, Locked, Missing>;
        Case value = Missing{};

        State() = default;
        template <typename T>
            requires std::is_constructible_v<Case, T&&>
        State(T&& state) : value(std::forward<T>(state)) {} // NOLINT: implicit from a case

        template <typename T>
        const T* as() const { return std::get_if<T>(&value); }

        bool operator==(const State&) const = default;
    };

    std::string path;
    std::string repository;
    std::optional<std::string> branch; // without refs/heads/; absent when detached
    State state;
    std::optional<std::chrono::system_clock::time_point> lastCommit;
    std::vector<std::string> ignoredFiles; // relative; ignored and not known to be regenerable
    std::vector<std::string> clutter;      // absolute paths of .DS_Store files, cleared before removal

    // One line for the user, such as "Merged into main".
    std::string summary() const;
    // Whether the removal may be offered at all.
    bool canRemove() const;
    // Stricter: the work has landed and nothing ignored would be lost with the folder.
    bool isFinished() const;

    bool operator==(const Worktree&) const = default;
};

} // namespace tarno
