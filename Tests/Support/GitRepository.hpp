#pragma once

#include "TarnoCore/Foundation/Shell.hpp"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
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
// user's configuration, `extra` laid over that environment (a commit date, say);
// its output when it succeeded.
inline std::optional<Shell::Output> gitRun(const std::string& folder, const std::vector<std::string>& arguments,
                                           const std::map<std::string, std::string>& extra = {})
{
    std::vector<std::string> full = {"-C", folder, "-c", "user.name=Tarno Tests", "-c",
                                     "user.email=tests@example.invalid", "-c", "init.defaultBranch=main"};
    full.insert(full.end(), arguments.begin(), arguments.end());
    std::map<std::string, std::string> environment = {
        {"GIT_CONFIG_NOSYSTEM", "1"}, {"GIT_CONFIG_GLOBAL", "/dev/null"}, {"GIT_TERMINAL_PROMPT", "0"}};
    environment.insert(extra.begin(), extra.end());
    auto output = Shell::run(gitTool, full, environment, std::chrono::seconds(60));
    if (!output || !output->succeeded())
        return std::nullopt;
    return output;
}

// The same; true when it succeeded.
inline bool runGit(const std::string& folder, const std::vector<std::string>& arguments,
                   const std::map<std::string, std::string>& extra = {})
{
    return gitRun(folder, arguments, extra).has_value();
}

// What git printed, trailing line feed dropped; empty when it failed.
inline std::string gitOutput(const std::string& folder, const std::vector<std::string>& arguments)
{
    const auto output = gitRun(folder, arguments);
    std::string text = output ? output->standardOutput : std::string();
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

// Writes `relative` in `folder` and commits it; true when git did.
inline bool commitFile(const std::string& folder, const std::string& relative, const std::string& content,
                       const std::map<std::string, std::string>& extra = {})
{
    std::filesystem::create_directories(std::filesystem::path(folder + "/" + relative).parent_path());
    std::ofstream(folder + "/" + relative) << content;
    return runGit(folder, {"add", "--", relative}) && runGit(folder, {"commit", "-q", "-m", "Change " + relative}, extra);
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

// A bare repository at `origin` and a repository at `repository` with one
// commit of a README and `gitignore` on "main", pushed to it as "origin";
// true when git made all of it.
inline bool makeRepositoryWithOrigin(const std::string& repository, const std::string& origin,
                                     const std::string& gitignore = "")
{
    std::filesystem::create_directories(repository);
    std::filesystem::create_directories(origin);
    std::ofstream(repository + "/README") << "a repository for tests\n";
    std::ofstream(repository + "/.gitignore") << gitignore;
    return runGit(origin, {"init", "-q", "--bare"}) && runGit(repository, {"init", "-q"})
        && runGit(repository, {"add", "README", ".gitignore"}) && runGit(repository, {"commit", "-q", "-m", "First"})
        && runGit(repository, {"remote", "add", "origin", origin})
        && runGit(repository, {"push", "-q", "-u", "origin", "main"});
}

} // namespace tarno::test
