#include "TarnoCore/Projects/ProjectFinder.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <utime.h>

namespace tarno {

void PrintTo(const FoundProject& project, std::ostream* out)
{
    *out << project.path << (project.isRepository ? " (repository)" : "") << " last changed "
         << (project.lastChange ? std::to_string(std::chrono::system_clock::to_time_t(*project.lastChange)) : "never");
}

namespace {

using test::TemporaryFolder;
using Paths = std::vector<std::string>;

const auto never = [] { return false; };

std::string labelAt(const ProjectFinder::Found& found, const std::string& path)
{
    for (const FoundArtifact& artifact : found.artifacts) {
        if (artifact.path == path)
            return artifact.kind.label + " in " + artifact.project;
    }
    return "no artifact";
}

void setModified(const std::string& path, std::time_t when)
{
    const struct utimbuf times{when, when};
    ::utime(path.c_str(), &times);
}

TEST(ProjectFinderTests, MarkersDecideWhatIsBuildOutputAndWhichToolMadeIt)
{
    TemporaryFolder root;
    struct Case {
        Paths files;      // relative to a project folder of its own
        std::string folder;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {{"pubspec.yaml", "build.gradle"}, "build", "Flutter build output"}, // Flutter's row comes first
        {{"settings.gradle.kts"}, "build", "Gradle build output"},
        {{"Cargo.toml", "pom.xml"}, "target", "Rust build output"},
        {{"pom.xml"}, "target", "Maven build output"},
        {{"README.md"}, "build", "no artifact"},                // the user's own build folder
        {{}, "node_modules", "no artifact"},                    // a stray node_modules
        {{"turbo.json"}, ".turbo", "Turborepo cache"},
        {{"uv.lock"}, ".venv", "Python environment"},
        {{"package.json/"}, "node_modules", "Node packages"},   // a marker that is a folder counts too
    };
    for (std::size_t index = 0; index < cases.size(); ++index) {
        const std::string project = "case" + std::to_string(index);
        for (const std::string& file : cases[index].files) {
            if (file.ends_with('/'))
                root.makeFolder(project + "/" + file);
            else
                root.makeFile(project + "/" + file, 10);
        }
        root.makeFile(project + "/" + cases[index].folder + "/inside/file", 10);
    }
    const ProjectFinder::Found found = ProjectFinder::find({root.path()}, never);
    for (std::size_t index = 0; index < cases.size(); ++index) {
        const std::string project = root / ("case" + std::to_string(index));
        const std::string expected =
            cases[index].expected == "no artifact" ? "no artifact" : cases[index].expected + " in " + project;
        EXPECT_EQ(labelAt(found, project + "/" + cases[index].folder), expected) << index;
    }
    // A folder that is no artifact is walked like any other; an artifact or a stray node_modules is not.
    EXPECT_EQ(labelAt(found, root / "case4/build/inside"), "no artifact");
    EXPECT_EQ(found.artifacts.size(), 7u);

    // A symbolic link is never an artifact.
    TemporaryFolder linked;
    linked.makeFile("app/package.json", 10);
    linked.makeFolder("elsewhere");
    linked.makeSymlink(linked / "elsewhere", "app/node_modules");
    EXPECT_TRUE(ProjectFinder::find({linked.path()}, never).artifacts.empty());
}

TEST(ProjectFinderTests, ProjectsNestAndTheirLastChangeIsTheirOwnSourcesOnly)
{
    TemporaryFolder root;
    const auto dated = [&](const std::string& relative, std::time_t when) { setModified(root.makeFile(relative, 10), when); };
    dated("app/src/main.rs", 1000);
    dated("app/Cargo.toml", 500);
    dated("app/target/debug/app", 9000); // build output does not count
    root.makeFolder("app/.git/objects");
    dated("app/.git/index", 8000);       // nor does the repository
    dated("app/web/package.json", 500);  // a package without .git belongs to app
    dated("app/web/index.js", 2000);
    dated("app/web/node_modules/left-pad/index.js", 9000);
    root.makeFolder("app/vendor/lib/.git"); // a repository inside a repository
    dated("app/vendor/lib/lib.c", 7000);
    dated("app/vendor/lib/Cargo.toml", 500);
    root.makeFolder("app/vendor/lib/target");
    dated("linked-worktree/.git", 3000);  // a .git file: a project, not a repository
    root.makeFolder("empty");

    const ProjectFinder::Found found = ProjectFinder::find({root.path(), root.path()}, never);
    const auto at = [](std::time_t when) { return std::chrono::system_clock::from_time_t(when); };
    std::vector<FoundProject> sorted = found.projects;
    std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
    std::vector<FoundProject> expected = {
        {root / "app", true, at(2000)},
        {root / "app/vendor/lib", true, at(7000)},
        {root / "empty", false, std::nullopt},
        {root / "linked-worktree", false, at(3000)}, // the .git file is one of its files
    };
    EXPECT_EQ(sorted, expected); // the root given twice adds no doubles
    EXPECT_EQ(labelAt(found, root / "app/vendor/lib/target"), "Rust build output in " + root / "app/vendor/lib");
    EXPECT_EQ(labelAt(found, root / "app/web/node_modules"), "Node packages in " + root / "app");

    // A root with a marker is a project itself; one without is not, but its subfolders are.
    TemporaryFolder single;
    single.makeFile("go.mod", 10);
    single.makeFile("cmd/main.go", 10);
    EXPECT_EQ(ProjectFinder::find({single.path()}, never).projects.front().path, single.path());
    EXPECT_EQ(ProjectFinder::find({root / "missing"}, never), ProjectFinder::Found{});

    int asked = 0;
    const ProjectFinder::Found cancelled = ProjectFinder::find({root.path(), single.path()}, [&] { return ++asked > 1; });
    EXPECT_EQ(asked, 2); // the second root is passed over
    EXPECT_TRUE(cancelled.artifacts.empty());
}

TEST(ProjectFinderTests, DefaultRootsAreTheUsualFoldersThenHomeFoldersHoldingAProject)
{
    TemporaryFolder home;
    home.makeFolder("code");
    home.makeFolder("Projects");
    home.makeFile("tool/Cargo.toml", 10);      // a project right in the home
    home.makeFile("Documents/package.json", 10); // never a root by itself
    home.makeFile(".hidden/package.json", 10);
    home.makeFolder("notes");
    home.makeFolder("elsewhere/pkg");
    home.makeFile("elsewhere/pkg/package.json", 10);
    home.makeSymlink(home / "elsewhere/pkg", "src");   // a link is never a root
    home.makeSymlink(home / "elsewhere/pkg", "linked"); // even one to a project
    EXPECT_EQ(ProjectFinder::defaultRoots(home.path()), (Paths{home / "Projects", home / "code", home / "tool"}));
}

} // namespace
} // namespace tarno
