#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace tarno {

// What cleaning an item does: one of five cases.
struct CleanupAction {
    struct Delete {          // remove each path for good
        std::vector<std::string> paths;
        bool operator==(const Delete&) const = default;
    };
    struct DeleteContents {  // empty each folder, keep the folder
        std::vector<std::string> paths;
        bool operator==(const DeleteContents&) const = default;
    };
    struct Trash {           // move each path to the Trash
        std::vector<std::string> paths;
        bool operator==(const Trash&) const = default;
    };
    struct Run {             // run a tool by absolute path
        std::string tool;
        std::vector<std::string> arguments;
        std::vector<std::string> affects; // the paths whose size the tool reduces
        bool operator==(const Run&) const = default;
    };
    struct RemoveWorktree {  // git worktree remove, after deleting clearFirst
        std::string repository;
        std::string path;
        std::vector<std::string> clearFirst;
        bool operator==(const RemoveWorktree&) const = default;
    };

    using Case = std::variant<Delete, DeleteContents, Trash, Run, RemoveWorktree>;
    Case value;

    CleanupAction() = default;
    template <typename T>
        requires std::is_constructible_v<Case, T&&>
    CleanupAction(T&& action) : value(std::forward<T>(action)) {} // NOLINT: implicit from a case

    // The paths the action works on, and whose size the item shows.
    std::vector<std::string> paths() const;

    // Everything but moving to the Trash is for good.
    bool isPermanent() const;

    // The case's name: "delete", "deleteContents", "trash", "run", "removeWorktree".
    std::string_view kindName() const;

    template <typename T>
    const T* as() const { return std::get_if<T>(&value); }

    bool operator==(const CleanupAction&) const = default;
};

} // namespace tarno
