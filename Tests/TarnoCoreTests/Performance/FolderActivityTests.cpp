// Folder activity: the rules on made-up paths, then the kernel's watches on
// temporary projects, with a made-up clock that tells which edit was counted.

#include "TarnoCore/Performance/FolderActivity.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

namespace tarno {
namespace {

using namespace std::chrono_literals;
using TimePoint = std::chrono::system_clock::time_point;
using Changes = std::map<std::string, TimePoint>;

TimePoint at(int tick)
{
    return TimePoint(std::chrono::seconds(1'700'000'000 + tick));
}

// The time each record() reads, set by the test between its edits.
struct TestClock {
    std::atomic<int> tick{0};
    FolderActivity::Clock clock()
    {
        return [this] { return at(tick.load()); };
    }
};

// Waits for the activity's thread, up to 2 s, looking every few milliseconds.
template <typename Condition>
bool eventually(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + 2s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

void append(const std::string& path, std::string_view text = "edit\n")
{
    std::ofstream(path, std::ios::app) << text;
}

// Saves as many editors do, by renaming a finished file into place: one event
// for the kernel to report, so none is left to arrive after the clock moves.
// The scratch file lies outside every watched folder.
void save(const test::TemporaryFolder& temporary, const std::string& relative, std::string_view text = "saved\n")
{
    const std::string scratch = temporary.makeFile("scratch.tmp");
    append(scratch, text);
    std::filesystem::rename(scratch, temporary / relative);
}

// app/{src/index.ts, src/components/Button.tsx, package.json}: three folders
// to watch, and generated ones beside them with folders of their own.
void makeProject(const test::TemporaryFolder& temporary, const std::string& name = "app")
{
    temporary.makeFile(name + "/package.json", 10);
    temporary.makeFile(name + "/src/index.ts", 10);
    temporary.makeFile(name + "/src/components/Button.tsx", 10);
    temporary.makeFile(name + "/node_modules/left-pad/index.js", 10);
    temporary.makeFile(name + "/.git/objects/ab/cdef", 10);
    temporary.makeFile(name + "/build/out/main.o", 10);
    temporary.makeFile(name + "/src/dist/bundle.js", 10);
}
constexpr std::size_t projectFolders = 3;

TEST(FolderActivity, GeneratedPaths)
{
    struct Case {
        const char* path;
        bool generated;
    };
    const Case cases[] = {
        {"/Users/a/app/src/index.ts", false},
        {"/Users/a/app/node_modules/x/y.js", true},
        {"/Users/a/app/dist/main.js", true},
        {"/Users/a/app/.DS_Store", true},
        {"/Users/a/app/tsconfig.tsbuildinfo", true},
        {"/Users/a/app/packages/web/.tsbuildinfo", true},
        {"/Users/a/app/src/.DS_Store/", true},
        {"/home/a/build/app/src/index.ts", true}, // above the project too
        {"/home/a/app/.git", true},
        {"/home/a/app//target//debug/x", true},
        {"/home/a/app/DerivedData/x", true},
        {"/home/a/app/src/build.ts", false},          // names, not prefixes
        {"/home/a/app/builds/x.ts", false},
        {"/home/a/app/src/dist.tsbuildinfo.ts", false},
        {"/home/a/app/.github/workflows/ci.yml", false},
        {"/home/a/app/src/DS_Store", false},
        {"/home/a/app", false},
        {"", false},
        {"node_modules", true},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FolderActivity::isGenerated(c.path), c.generated) << c.path;
}

// The folders here do not exist, so their real paths are the paths as given
// and no kernel watch is involved: only record() moves the changes.
TEST(FolderActivity, RecordCountsChangesBelowEachWatchedFolder)
{
    const test::TemporaryFolder temporary;
    const std::string base = temporary / "absent";
    struct Case {
        const char* name;
        std::vector<std::string> folders;
        std::vector<std::string> paths;
        std::set<std::string> changed;
    };
    const Case cases[] = {
        {"an edit", {"app"}, {"app/src/index.ts"}, {"app"}},
        {"a sibling whose name begins alike", {"app"}, {"app2/x"}, {}},
        {"the folder itself", {"app"}, {"app", "app/"}, {}},
        {"generated output only",
         {"app"},
         {"app/node_modules/x/y.js", "app/.DS_Store", "app/tsconfig.tsbuildinfo", "app/dist/main.js"},
         {}},
        {"generated output beside an edit", {"app"}, {"app/dist/main.js", "app/src/a.ts"}, {"app"}},
        {"nested folders", {"app", "app/packages/web"}, {"app/packages/web/src/a.ts"}, {"app", "app/packages/web"}},
        {"only the outer of nested folders", {"app", "app/packages/web"}, {"app/README.md"}, {"app"}},
        {"a project below a build folder", {"build/app"}, {"build/app/src/a.ts"}, {}},
        {"a path outside every folder", {"app", "lib"}, {"elsewhere/a.ts"}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        FolderActivity activity(0s, [] { return at(7); });
        std::vector<std::string> folders;
        for (const std::string& folder : c.folders)
            folders.push_back(base + "/" + folder);
        activity.watch(folders);
        std::vector<std::string> paths;
        for (const std::string& path : c.paths)
            paths.push_back(base + "/" + path);
        activity.record(paths);

        Changes expected;
        for (const std::string& folder : c.changed)
            expected[base + "/" + folder] = at(7);
        EXPECT_EQ(activity.lastChanges(), expected);
    }
}

TEST(FolderActivity, AFolderThatStaysWatchedKeepsItsLastChange)
{
    const test::TemporaryFolder temporary;
    const std::string a = temporary / "absent/a";
    const std::string b = temporary / "absent/b";
    const std::string c = temporary / "absent/c";
    TestClock clock;
    FolderActivity activity(0s, clock.clock());

    activity.watch({a, b});
    activity.record({a + "/x.ts", b + "/y.ts"});
    const Changes both = {{a, at(0)}, {b, at(0)}};
    EXPECT_EQ(activity.lastChanges(), both);

    // The same set in another order, with a repeat.
    clock.tick = 1;
    activity.watch({b, a, b});
    EXPECT_EQ(activity.lastChanges(), both);

    activity.watch({c, a});
    EXPECT_EQ(activity.lastChanges(), (Changes{{a, at(0)}}));
    activity.record({b + "/y.ts"});
    EXPECT_EQ(activity.lastChanges(), (Changes{{a, at(0)}})) << "b is no longer watched";

    activity.watch({});
    EXPECT_TRUE(activity.lastChanges().empty());
    activity.record({a + "/x.ts"});
    EXPECT_TRUE(activity.lastChanges().empty());
}

TEST(FolderActivity, EditsCountButWhatToolsWriteDoesNot)
{
    const test::TemporaryFolder temporary;
    makeProject(temporary);
    const std::string app = temporary / "app";
    const std::string other = temporary.makeFolder("other");
    TestClock clock;
    FolderActivity activity(0s, clock.clock());
    activity.watch({app, other});
    EXPECT_EQ(activity.watchCount(), projectFolders + 1) << "nothing inside the generated folders";
    EXPECT_TRUE(activity.polledFolders().empty());

    clock.tick = 1;
    append(app + "/node_modules/left-pad/index.js");
    temporary.makeFile("app/node_modules/new-package.js", 1);
    append(app + "/.git/index");
    append(app + "/build/out/main.o");
    append(app + "/src/dist/bundle.js");
    append(app + "/.DS_Store");
    append(app + "/tsconfig.tsbuildinfo");
    temporary.makeFile("app/coverage/lcov.info", 1); // a generated folder made while watching
    // Events arrive in order: once this edit is counted, the ones above were seen.
    save(temporary, "other/notes.md");
    ASSERT_TRUE(eventually([&] { return activity.lastChanges().contains(other); }));
    EXPECT_EQ(activity.lastChanges(), (Changes{{other, at(1)}}));
    EXPECT_EQ(activity.watchCount(), projectFolders + 1) << "no watch in the new coverage folder";

    clock.tick = 2;
    append(app + "/src/index.ts");
    EXPECT_TRUE(eventually([&] { return activity.lastChanges() == Changes{{app, at(2)}, {other, at(1)}}; }));
}

TEST(FolderActivity, FoldersMadeOrMovedInWhileWatchingAreWatched)
{
    const test::TemporaryFolder temporary;
    makeProject(temporary);
    const std::string app = temporary / "app";
    temporary.makeFile("outside/lib/deep/util.ts", 1);
    TestClock clock;
    FolderActivity activity(0s, clock.clock());
    activity.watch({app});
    ASSERT_EQ(activity.watchCount(), projectFolders);

    clock.tick = 1;
    std::filesystem::create_directory(app + "/src/feature");
    ASSERT_TRUE(eventually([&] {
        return activity.watchCount() == projectFolders + 1 && activity.lastChanges() == Changes{{app, at(1)}};
    }));
    // Only the new folder's own watch can see this.
    clock.tick = 2;
    temporary.makeFile("app/src/feature/a.ts", 1);
    ASSERT_TRUE(eventually([&] { return activity.lastChanges() == Changes{{app, at(2)}}; }));

    // A tree moved in is watched throughout.
    clock.tick = 3;
    std::filesystem::rename(temporary / "outside/lib", app + "/src/lib");
    ASSERT_TRUE(eventually([&] {
        return activity.watchCount() == projectFolders + 3 && activity.lastChanges() == Changes{{app, at(3)}};
    }));
    clock.tick = 4;
    append(app + "/src/lib/deep/util.ts");
    EXPECT_TRUE(eventually([&] { return activity.lastChanges() == Changes{{app, at(4)}}; }));
}

TEST(FolderActivity, RemovedFoldersBreakNothing)
{
    const test::TemporaryFolder temporary;
    makeProject(temporary);
    makeProject(temporary, "gone");
    temporary.makeFile("app/src/legacy/old.ts", 1);
    const std::string app = temporary / "app";
    const std::string gone = temporary / "gone";
    const std::string other = temporary.makeFolder("other");
    TestClock clock;
    FolderActivity activity(0s, clock.clock());
    activity.watch({app, gone, other});
    ASSERT_EQ(activity.watchCount(), 2 * projectFolders + 2);

    clock.tick = 1;
    std::filesystem::remove_all(app + "/src/components");
    std::filesystem::remove_all(gone);
    std::filesystem::rename(app + "/src/legacy", temporary / "attic");
    // Removing the files inside was an edit of each project.
    ASSERT_TRUE(eventually([&] {
        return activity.watchCount() == projectFolders &&
               activity.lastChanges() == Changes{{app, at(1)}, {gone, at(1)}};
    }));

    // What was moved away is no longer part of the project.
    clock.tick = 2;
    append(temporary / "attic/old.ts");
    save(temporary, "other/notes.md");
    ASSERT_TRUE(eventually([&] { return activity.lastChanges().contains(other); }));
    EXPECT_EQ(activity.lastChanges(), (Changes{{app, at(1)}, {gone, at(1)}, {other, at(2)}}));

    clock.tick = 3;
    append(app + "/src/index.ts");
    EXPECT_TRUE(eventually([&] { return activity.lastChanges().at(app) == at(3); }));
    // The same name made again is a new folder, watched again.
    clock.tick = 4;
    temporary.makeFile("app/src/components/Card.tsx", 1);
    EXPECT_TRUE(eventually([&] {
        return activity.watchCount() == projectFolders + 1 && activity.lastChanges().at(app) == at(4);
    }));
}

TEST(FolderActivity, AFolderGivenThroughALinkIsRecordedUnderThePathAsGiven)
{
    const test::TemporaryFolder temporary;
    makeProject(temporary, "real/app");
    temporary.makeFile("elsewhere/shared/x.ts", 1);
    temporary.makeSymlink(temporary / "elsewhere", "real/app/src/linked");
    const std::string link = temporary.makeSymlink(temporary / "real/app", "link");
    TestClock clock;
    FolderActivity activity(0s, clock.clock());
    activity.watch({link});
    EXPECT_EQ(activity.watchCount(), projectFolders) << "links inside are not followed";

    clock.tick = 1;
    save(temporary, "real/app/src/index.ts");
    ASSERT_TRUE(eventually([&] { return activity.lastChanges() == Changes{{link, at(1)}}; }));
    clock.tick = 2;
    append(link + "/src/components/Button.tsx");
    EXPECT_TRUE(eventually([&] { return activity.lastChanges() == Changes{{link, at(2)}}; }));
}

TEST(FolderActivity, SiblingsAndNestedFolders)
{
    const test::TemporaryFolder temporary;
    makeProject(temporary);
    makeProject(temporary, "app2");
    makeProject(temporary, "app/packages/web");
    const std::string app = temporary / "app";
    const std::string app2 = temporary / "app2";
    const std::string web = temporary / "app/packages/web";
    TestClock clock;
    FolderActivity activity(0s, clock.clock());
    activity.watch({app, app2, web});
    // app/packages and web's folders are held once, whoever asked for them.
    EXPECT_EQ(activity.watchCount(), projectFolders + 1 + projectFolders + projectFolders);

    clock.tick = 1;
    save(temporary, "app2/src/index.ts");
    ASSERT_TRUE(eventually([&] { return activity.lastChanges().contains(app2); }));
    EXPECT_EQ(activity.lastChanges(), (Changes{{app2, at(1)}}));

    clock.tick = 2;
    append(web + "/src/components/Button.tsx");
    EXPECT_TRUE(eventually([&] {
        return activity.lastChanges() == Changes{{app, at(2)}, {app2, at(1)}, {web, at(2)}};
    }));
}

TEST(FolderActivity, WithoutEnoughWatchesAFolderIsPolledAtItsTopLevels)
{
    const test::TemporaryFolder temporary;
    makeProject(temporary);
    const std::string app = temporary / "app";
    const std::string small = temporary.makeFolder("small");
    TestClock clock;
    // Room for "small" but not for the three folders of "app".
    FolderActivity activity(5ms, clock.clock(), projectFolders - 1);
    activity.watch({app, small});
    EXPECT_EQ(activity.polledFolders(), std::set<std::string>{app});
    EXPECT_EQ(activity.watchCount(), 1u);

    clock.tick = 1;
    append(app + "/src/index.ts");
    ASSERT_TRUE(eventually([&] { return activity.lastChanges() == Changes{{app, at(1)}}; }));
    clock.tick = 2;
    save(temporary, "app/README.md");
    ASSERT_TRUE(eventually([&] { return activity.lastChanges() == Changes{{app, at(2)}}; }));
    clock.tick = 3;
    append(small + "/notes.md");
    EXPECT_TRUE(eventually([&] { return activity.lastChanges() == Changes{{app, at(2)}, {small, at(3)}}; }));

    // No watch at all: everything is polled, nothing fails.
    FolderActivity starved(5ms, clock.clock(), 0);
    starved.watch({app, small});
    EXPECT_EQ(starved.polledFolders(), (std::set<std::string>{app, small}));
    EXPECT_EQ(starved.watchCount(), 0u);
    clock.tick = 4;
    temporary.makeFile("app/CHANGELOG.md", 1);
    EXPECT_TRUE(eventually([&] { return starved.lastChanges() == Changes{{app, at(4)}}; }));
}

TEST(FolderActivity, BurstsAreRecordedOncePerLatency)
{
    const test::TemporaryFolder temporary;
    makeProject(temporary);
    const std::string app = temporary / "app";
    constexpr auto latency = 200ms;
    std::atomic<int> reads{0};
    FolderActivity activity(latency, [&] {
        ++reads;
        return at(1);
    });
    activity.watch({app});

    // A build writing files one after another, each of them an event.
    const auto start = std::chrono::steady_clock::now();
    for (int file = 0; file < 20; ++file) {
        temporary.makeFile("app/src/file" + std::to_string(file) + ".ts", 1);
        std::this_thread::sleep_for(2ms);
    }
    ASSERT_TRUE(eventually([&] { return activity.lastChanges().contains(app); }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, latency) << "recorded before the latency was over";
    // Long enough for a second pass, were there one.
    std::this_thread::sleep_for(latency + 50ms);
    EXPECT_EQ(reads.load(), 1) << "one pass of record for the whole burst";
}

} // namespace
} // namespace tarno
