#include "TarnoCore/Projects/ProjectScanner.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace tarno {
namespace {

using test::TemporaryFolder;
using Paths = std::vector<std::string>;

std::int64_t allocated(const std::string& path)
{
    struct stat status {};
    ::lstat(path.c_str(), &status);
    return static_cast<std::int64_t>(status.st_blocks) * 512;
}

// The worktrees git would report, without git: paths per repository, and a
// verdict per worktree path.
ProjectScanner::Git madeUpGit(const std::map<std::string, std::vector<Worktree>>& byRepository)
{
    return ProjectScanner::Git{
        .paths = [byRepository](const std::string& repository) {
            Paths paths;
            if (const auto found = byRepository.find(repository); found != byRepository.end()) {
                for (const Worktree& worktree : found->second)
                    paths.push_back(worktree.path);
            }
            return paths;
        },
        .list = [byRepository](const std::string& repository, const ProjectScanner::Git::Generated&) {
            const auto found = byRepository.find(repository);
            return found == byRepository.end() ? std::vector<Worktree>{} : found->second;
        },
    };
}

Worktree worktreeAt(const std::string& path, const std::string& repository, Worktree::State state)
{
    Worktree worktree;
    worktree.path = path;
    worktree.repository = repository;
    worktree.state = std::move(state);
    return worktree;
}

TEST(ProjectScannerTests, RowsArePricedOverTheirOwnersAndWorktreesCarryTheirBuildOutput)
{
    TemporaryFolder home;
    const std::string code = home.makeFolder("code");
    home.makeFolder("code/app/.git");
    home.makeFile("code/app/package.json", 10);
    const std::int64_t ownModules = allocated(home.makeFile("code/app/node_modules/own.js", 60'000));
    const std::int64_t shared = allocated(home.makeFile("code/app/node_modules/shared.js", 40'000));
    home.makeFile("code/site/package.json", 10);
    home.makeHardLink("code/app/node_modules/shared.js", "code/site/node_modules/shared.js");
    const std::int64_t siteOwn = allocated(home.makeFile("code/site/node_modules/site.js", 30'000));
    // Worktrees beside the repository, outside the roots.
    home.makeFile("elsewhere/app-done/package.json", 10);
    const std::int64_t doneSource = allocated(home.makeFile("elsewhere/app-done/index.js", 20'000));
    const std::int64_t doneModules = allocated(home.makeFile("elsewhere/app-done/node_modules/m.js", 50'000));
    home.makeFile("elsewhere/app-dirty/package.json", 10);
    home.makeFile("elsewhere/app-dirty/node_modules/m.js", 50'000);
    home.makeFile("Documents/app-notes/node_modules/x.js", 10); // a worktree the guard refuses

    const std::string repository = home / "code/app";
    Worktree done = worktreeAt(home / "elsewhere/app-done", repository, Worktree::State::Merged{"main"});
    done.clutter = {home / "elsewhere/app-done/.DS_Store"};
    const auto git = madeUpGit({{repository,
                                 {done,
                                  worktreeAt(home / "elsewhere/app-dirty", repository,
                                             Worktree::State::UncommittedChanges{2}),
                                  worktreeAt(home / "Documents/app-notes", repository, Worktree::State::Pushed{}),
                                  worktreeAt(home / "elsewhere/gone", repository, Worktree::State::Missing{})}}});

    std::vector<ProjectScanner::Stage> stages;
    const ProjectScan scan = ProjectScanner::scan(
        {code}, home.path(), PathGuard::forHome(home.path()), {home / "elsewhere/app-donemore", home / "elsewhere/app-dirty/src"},
        [&](const ProjectScanner::Stage& stage) {
            if (stages.empty() || stages.back().index() != stage.index())
                stages.push_back(stage);
        },
        [] { return false; }, git);

    EXPECT_EQ(stages.front(), ProjectScanner::Stage{ProjectScanner::FindingProjects{}});
    EXPECT_EQ(stages.at(1), ProjectScanner::Stage{ProjectScanner::CheckingWorktrees{1}});
    EXPECT_TRUE(std::holds_alternative<ProjectScanner::Measuring>(stages.back()));

    // The finished worktree's node_modules goes with it; the dirty one's keeps a row of its own.
    Paths artifactPaths;
    for (const ProjectScan::ArtifactRow& row : scan.artifacts)
        artifactPaths.push_back(row.path);
    EXPECT_EQ(artifactPaths, (Paths{home / "code/app/node_modules", home / "code/site/node_modules",
                                    home / "elsewhere/app-dirty/node_modules"}));
    ASSERT_EQ(scan.worktrees.size(), 2u); // missing and refused ones are left out
    const ProjectScan::WorktreeRow& doneRow = scan.worktrees[0];
    EXPECT_EQ(doneRow.worktree.path, home / "elsewhere/app-done");
    EXPECT_EQ(doneRow.generated, (Paths{home / "elsewhere/app-done/node_modules"}));
    EXPECT_EQ(doneRow.realBytes, doneSource + doneModules + allocated(home / "elsewhere/app-done/package.json"));
    EXPECT_EQ(doneRow.realBytes, doneRow.apparentBytes);
    EXPECT_FALSE(doneRow.isInUse); // a process in app-donemore is not in app-done
    EXPECT_EQ(scan.worktrees[1].worktree.path, home / "elsewhere/app-dirty"); // kept ones sort last
    EXPECT_TRUE(scan.worktrees[1].isInUse);
    EXPECT_EQ(ProjectScan::action(doneRow),
              CleanupAction(CleanupAction::RemoveWorktree{repository, home / "elsewhere/app-done",
                                                          {home / "elsewhere/app-done/node_modules",
                                                           home / "elsewhere/app-done/.DS_Store"}}));

    // A hard link between two projects counts for neither alone, once for both.
    const auto& app = scan.artifacts[0];
    const auto& site = scan.artifacts[1];
    EXPECT_EQ(app.projectName(), "app");
    EXPECT_EQ(app.relativePath(), "node_modules");
    EXPECT_EQ(app.realBytes, ownModules);
    EXPECT_EQ(app.apparentBytes, ownModules + shared);
    EXPECT_EQ(site.realBytes, siteOwn);
    EXPECT_EQ(scan.freed({app.path, site.path}, {}), ownModules + siteOwn + shared);
    EXPECT_EQ(scan.freed({}, {}), 0);
    EXPECT_EQ(ProjectScan::action(app), CleanupAction(CleanupAction::Delete{{app.path}}));

    const ProjectScan left = scan.removing({app.path}, {doneRow.worktree.path});
    EXPECT_EQ(left.artifacts.size(), 2u);
    EXPECT_EQ(left.worktrees.size(), 1u);
    EXPECT_EQ(left.account, scan.account);
}

} // namespace
} // namespace tarno
