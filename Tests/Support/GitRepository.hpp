#pragma once

#include "TarnoCore/Foundation/Shell.hpp"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace tarno::test {

inline constexpr const char* gitTool = "/usr/bin/git";

inline bool hasGit()
{
    return ::access(gitTool, X_OK) == 0;
}

// Runs git in `folder` with a fixed identity and none of the machine's or the
// user's configuration; true when it succeeded.
inline bool runGit(const std::string& folder, const std::vector<std::string>& arguments)
{
    std::vector<std::string> full = {"-C", folder, "-c", "user.name=Tarno Tests", "-c",
                                     "user.email=tests@example.invalid", "-c", "init.defaultBranch=main"};
    full.insert(full.end(), arguments.begin(), arguments.end());
    const auto output = Shell::run(gitTool, full,
                                   {{"GIT_CONFIG_NOSYSTEM", "1"}, {"GIT_CONFIG_GLOBAL", "/dev/null"},
                                    {"GIT_TERMINAL_PROMPT", "0"}},
                                   std::chrono::seconds(60));
    return output && output->succeeded();
}

// A repository with one commit of a README, and a worktree of it on a new
// branch at `worktree`; true when git made both.
inline bool makeRepositoryWithWorktree(const std::string& repository, const std::string& worktree)
{
    std::filesystem::create_directories(repository);
    std::ofstream(repository + "/README") << "a repository for tests\n";
    return runGit(repository, {"init", "-q"}) && runGit(repository, {"add", "README"})
        && runGit(repository, {"commit", "-q", "-m", "First"})
        && runGit(repository, {"worktree", "add", "-q", "-b", "feature", worktree});
}

} // namespace tarno::test
