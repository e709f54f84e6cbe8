#include "TarnoCore/Cleanup/CleanupAction.hpp"

#include "TarnoCore/Foundation/Overloaded.hpp"

namespace tarno {

std::vector<std::string> CleanupAction::paths() const
{
    return std::visit(Overloaded{
                          [](const Delete& action) { return action.paths; },
                          [](const DeleteContents& action) { return action.paths; },
                          [](const Trash& action) { return action.paths; },
                          // A tool's item shows the size of what the tool reduces.
                          [](const Run& action) { return action.affects; },
                          // clearFirst lies inside the worktree and is measured with it.
                          [](const RemoveWorktree& action) { return std::vector<std::string>{action.path}; },
                      },
                      value);
}

bool CleanupAction::isPermanent() const { return !std::holds_alternative<Trash>(value); }

std::string_view CleanupAction::kindName() const
{
    return std::visit(Overloaded{
                          [](const Delete&) { return std::string_view("delete"); },
                          [](const DeleteContents&) { return std::string_view("deleteContents"); },
                          [](const Trash&) { return std::string_view("trash"); },
                          [](const Run&) { return std::string_view("run"); },
                          [](const RemoveWorktree&) { return std::string_view("removeWorktree"); },
                      },
                      value);
}

} // namespace tarno
