#include "TarnoCore/Projects/ProjectRemoval.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace tarno {
namespace {

using test::TemporaryFolder;

// Three projects of one home, two of them sharing a hard-linked package.
struct ProjectsHome {
    TemporaryFolder home;
    ProjectScan scan;

    ProjectsHome()
    {
        home.makeFile("code/app/package.json", 10);
        home.makeFile("code/app/node_modules/own.js", 60'000);
        home.makeFile("code/app/node_modules/shared.js", 40'000);
        home.makeFile("code/site/package.json", 10);
        home.makeHardLink("code/app/node_modules/shared.js", "code/site/node_modules/shared.js");
        home.makeFile("code/site/node_modules/site.js", 30'000);
        home.makeFile("code/tool/package.json", 10);
        home.makeFile("code/tool/node_modules/tool.js", 20'000);
        const ProjectScanner::Git noGit{
            .paths = [](const std::string&) { return std::vector<std::string>{}; },
            .list = [](const std::string&, const ProjectScanner::Git::Generated&) { return std::vector<Worktree>{}; },
        };
        scan = ProjectScanner::scan({home / "code"}, home.path(), PathGuard::forHome(home.path()), {},
                                    [](const auto&) {}, [] { return false; }, noGit);
    }

    std::vector<ProjectScan::ArtifactRow> rows(const std::vector<std::string>& projects) const
    {
        std::vector<ProjectScan::ArtifactRow> chosen;
        for (const std::string& project : projects) {
            const auto row = std::find_if(scan.artifacts.begin(), scan.artifacts.end(),
                                          [&](const auto& each) { return each.projectPath == home / project; });
            if (row != scan.artifacts.end())
                chosen.push_back(*row);
        }
        return chosen;
    }
};

TEST(ProjectRemovalTests, WhatWentIsPricedTogetherAndWhatStayedIsAFailure)
{
    ProjectsHome projects;
    const TemporaryFolder& home = projects.home;
    const std::vector<ProjectScan::ArtifactRow> chosen = projects.rows({"code/app", "code/site", "code/tool"});
    ASSERT_EQ(chosen.size(), 3u);
    // The tool's removal is refused, and its folder stays.
    ProjectRemoval::Machine machine = ProjectRemoval::Machine::live(PathGuard::forHome(home.path()));
    machine.perform = [live = machine.perform, refused = chosen[2].path](const CleanupAction& action,
                                                                         const ProjectRemoval::IsCancelled& isCancelled) {
        if (action.paths() == std::vector<std::string>{refused})
            return CleanReport{0, {{refused, "refused", CleanReport::Failure::Kind::refused}}, false};
        return live(action, isCancelled);
    };

    std::vector<std::string> started;
    const ProjectRemoval::Outcome outcome = ProjectRemoval::remove(
        projects.scan, {}, chosen, machine, [&](const std::string& name) { started.push_back(name); });

    EXPECT_EQ(started, (std::vector<std::string>{"app/node_modules", "site/node_modules", "tool/node_modules"}));
    EXPECT_EQ(outcome.removedArtifacts, (std::set<std::string>{home / "code/app/node_modules", home / "code/site/node_modules"}));
    EXPECT_EQ(outcome.removedNames, (std::vector<std::string>{"app/node_modules", "site/node_modules"}));
    // Both holders of the shared file went, so it counts, once.
    EXPECT_EQ(outcome.summary.freed, projects.scan.freed(outcome.removedArtifacts, {}));
    EXPECT_GT(outcome.summary.freed, chosen[0].realBytes + chosen[1].realBytes);
    ASSERT_EQ(outcome.summary.failures.size(), 1u);
    EXPECT_EQ(outcome.summary.failures[0].kind, CleanReport::Failure::Kind::refused);
    EXPECT_TRUE(std::filesystem::exists(chosen[2].path));
    EXPECT_FALSE(outcome.wasCancelled);

    const CleanupRecord record = ProjectRemoval::record(outcome, {});
    EXPECT_EQ(record.source, "Projects");
    EXPECT_EQ(record.freedBytes, outcome.summary.freed);
    EXPECT_EQ(record.items, outcome.removedNames);
    EXPECT_EQ(record.failures, 1);
}

TEST(ProjectRemovalTests, ACancelStopsTheRowUnderWayAndCountsWhatWent)
{
    ProjectsHome projects;
    const std::vector<ProjectScan::ArtifactRow> chosen = projects.rows({"code/app", "code/site"});
    int started = 0;
    const ProjectRemoval::Outcome outcome = ProjectRemoval::remove(
        projects.scan, {}, chosen, ProjectRemoval::Machine::live(PathGuard::forHome(projects.home.path())),
        [&](const std::string&) { ++started; }, [&] { return started == 2; });

    EXPECT_TRUE(outcome.wasCancelled);
    EXPECT_EQ(outcome.removedArtifacts, std::set<std::string>{chosen[0].path});
    // The shared file stays with the site, so only the app's own file is freed.
    EXPECT_EQ(outcome.summary.freed, chosen[0].realBytes);
    EXPECT_TRUE(std::filesystem::exists(chosen[1].path));
}

} // namespace
} // namespace tarno
