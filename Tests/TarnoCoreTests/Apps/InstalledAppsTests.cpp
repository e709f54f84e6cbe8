#include "TarnoCore/Apps/InstalledApps.hpp"

#include "Support/AppBundles.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <fstream>

#include <sys/stat.h>

namespace tarno {
namespace {

using Paths = std::vector<std::string>;
using namespace std::chrono_literals;

std::vector<std::string> namesOf(const std::vector<InstalledApp>& apps)
{
    std::vector<std::string> names;
    for (const InstalledApp& app : apps)
        names.push_back(app.name);
    return names;
}

TEST(InstalledAppsTests, ListReadsBinaryAndXmlInfo)
{
    test::TemporaryFolder apps;
    const std::string editor = test::makeAppBundle(apps, "Editor.app", "com.example.editor", "2.1");
    const std::string viewer = test::makeBundleWithInfo(apps, "Viewer.app", test::xmlInfo(R"(
    <key>CFBundleIdentifier</key>
    <string>com.example.viewer</string>
    <key>CFBundleShortVersionString</key>
    <string>10.4.1</string>
    <key>CFBundleIconFile</key>
    <string>Viewer</string>)"));
    // The icon file's name may leave out ".icns"; one that is not there is no icon.
    apps.makeFile("Viewer.app/Contents/Resources/Viewer.icns", 10);
    // A version that is not a string is no version.
    const std::string counter = test::makeBundleWithInfo(apps, "Counter.app", test::xmlInfo(R"(
    <key>CFBundleIdentifier</key>
    <string>com.example.counter</string>
    <key>CFBundleShortVersionString</key>
    <integer>3</integer>
    <key>CFBundleIconFile</key>
    <string>Missing.icns</string>)"));
    const std::string player = test::makeAppBundle(apps, "Player.app", "com.example.player");
    plist_t numbered = plist_new_dict();
    plist_dict_set_item(numbered, "CFBundleIdentifier", plist_new_string("com.example.player"));
    plist_dict_set_item(numbered, "CFBundleShortVersionString", plist_new_uint(7));
    test::writeBinaryPlist(player + "/Contents/Info.plist", numbered);

    const auto opened = std::chrono::system_clock::time_point(1'700'000'000s);
    Paths asked;
    const auto lastOpened = [&](const std::string& path) -> std::optional<std::chrono::system_clock::time_point> {
        asked.push_back(path);
        return path == viewer ? std::optional(opened) : std::nullopt;
    };

    // Root may write anywhere, so nothing needs a password here.
    EXPECT_EQ(InstalledApps::list({apps.path()}, {}, lastOpened),
              (std::vector<InstalledApp>{
                  {counter, "Counter", "com.example.counter", std::nullopt, std::nullopt, false, AppKind::bundle, std::nullopt, {}},
                  {editor, "Editor", "com.example.editor", "2.1", std::nullopt, false, AppKind::bundle, std::nullopt, {}},
                  {player, "Player", "com.example.player", std::nullopt, std::nullopt, false, AppKind::bundle, std::nullopt, {}},
                  {viewer, "Viewer", "com.example.viewer", "10.4.1", opened, false, AppKind::bundle,
                   viewer + "/Contents/Resources/Viewer.icns", {}},
              }));
    EXPECT_EQ(asked, (Paths{counter, editor, player, viewer})) << "the callable gets each bundle's path";
    EXPECT_EQ(InstalledApps::bundleIDs({apps.path()}),
              (Paths{"com.example.counter", "com.example.editor", "com.example.player", "com.example.viewer"}));
}

TEST(InstalledAppsTests, BundlesAreRealFoldersAtTheTopOrOneLevelDown)
{
    test::TemporaryFolder root;
    const std::string apps = root.makeFolder("Applications");
    const std::string elsewhere = root.makeFolder("Elsewhere");
    root.makeFolder("Elsewhere/Inside.app");

    const std::string alpha = root.makeFolder("Applications/Alpha.app");
    root.makeFolder("Applications/Alpha.app/Contents/Helpers/Helper.app"); // a bundle's helper is its own
    root.makeSymlink(alpha, "Applications/Link.app");                      // a link is no bundle
    root.makeSymlink(elsewhere, "Applications/Linked Folder");             // nor searched as a folder
    root.makeFile("Applications/File.app", 10);                            // a file is no bundle
    root.makeFolder("Applications/.Hidden.app");
    root.makeFolder("Applications/Upper.APP"); // the suffix is case-sensitive
    const std::string tool = root.makeFolder("Applications/Utilities/Tool.app");
    root.makeFolder("Applications/Utilities/.Secret.app");
    root.makeFile("Applications/Utilities/Notes.app", 10);
    root.makeSymlink(alpha, "Applications/Utilities/Alias.app");
    root.makeFolder("Applications/Tools/Sub/Deep.app"); // two levels down is too deep

    EXPECT_EQ(InstalledApps::bundles({apps}), (Paths{alpha, tool}));
    // Each folder in the order given, the same bundle again where it is given twice.
    EXPECT_EQ(InstalledApps::bundles({elsewhere, apps, elsewhere}),
              (Paths{elsewhere + "/Inside.app", alpha, tool, elsewhere + "/Inside.app"}));
}

TEST(InstalledAppsTests, FoldersThatCannotBeListedGiveNothing)
{
    test::TemporaryFolder root;
    root.makeFolder("Empty");
    root.makeFile("Plain", 10);
    for (const std::string& folder : {root / "Empty", root / "Missing", root / "Plain", std::string()}) {
        EXPECT_TRUE(InstalledApps::bundles({folder}).empty()) << folder;
        EXPECT_TRUE(InstalledApps::bundleIDs({folder}).empty()) << folder;
        EXPECT_TRUE(InstalledApps::list({folder}, {}).empty()) << folder;
    }
    EXPECT_TRUE(InstalledApps::list({}, {}).empty());

    // Nobody may list a locked folder, and root's bundle in it stays unseen.
    const std::string locked = root.makeFolder("Locked");
    test::makeAppBundle(root, "Locked/Editor.app", "com.example.editor");
    test::openToEveryone(root.path());
    ::chmod(locked.c_str(), 0700);
    const test::UnprivilegedRun run = test::runAsNobody([&] {
        return std::to_string(InstalledApps::bundles({locked}).size()) + " "
               + std::to_string(InstalledApps::list({locked}, {}).size());
    });
    ASSERT_TRUE(run.ran) << run.reason;
    EXPECT_EQ(run.output, "0 0");
}

TEST(InstalledAppsTests, OnlyBundlesWithAnIdentifierAreListed)
{
    test::TemporaryFolder apps;
    const std::string good = test::makeAppBundle(apps, "Good.app", "com.example.good");
    apps.makeFolder("NoInfo.app/Contents");
    test::makeAppBundle(apps, "Empty.app", "");
    test::makeBundleWithInfo(apps, "Number.app", test::xmlInfo("<key>CFBundleIdentifier</key><integer>4</integer>"));
    test::makeBundleWithInfo(apps, "NoID.app", test::xmlInfo("<key>CFBundleName</key><string>No ID</string>"));
    test::makeBundleWithInfo(apps, "Garbage.app", "not a property list at all");
    test::makeBundleWithInfo(apps, "Truncated.app", "bplist00\x01\x02");
    test::makeBundleWithInfo(apps, "ArrayRoot.app", R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><array><string>CFBundleIdentifier</string><string>com.example.array</string></array></plist>)");
    apps.makeFolder("FolderInfo.app/Contents/Info.plist");

    ASSERT_EQ(InstalledApps::bundles({apps.path()}).size(), 9u);
    // The empty identifier counts as one here, in its bundle's place.
    EXPECT_EQ(InstalledApps::bundleIDs({apps.path()}), (Paths{"", "com.example.good"}));
    const std::vector<InstalledApp> listed = InstalledApps::list({apps.path()}, {});
    ASSERT_EQ(listed.size(), 1u);
    EXPECT_EQ(listed[0].path, good);
}

TEST(InstalledAppsTests, ListSortsLikeTheFinderAndKeepsEveryCopy)
{
    test::TemporaryFolder root;
    const std::string system = root.makeFolder("Applications");
    const std::string home = root.makeFolder("home/Applications");
    test::makeAppBundle(root, "Applications/App 10.app", "com.example.app10");
    const std::string systemCopy = test::makeAppBundle(root, "Applications/App 2.app", "com.example.app2");
    test::makeAppBundle(root, "Applications/beta.app", "com.example.beta");
    test::makeAppBundle(root, "Applications/Utilities/Alpha.app", "com.example.alpha");
    const std::string homeCopy = test::makeAppBundle(root, "home/Applications/App 2.app", "com.example.app2");
    const auto never = [](const std::string&) -> std::optional<std::chrono::system_clock::time_point> {
        return std::nullopt;
    };

    // The walk itself keeps plain order: "App 10" before "App 2", "Utilities" before "beta".
    EXPECT_EQ(InstalledApps::bundleIDs({system, home}),
              (Paths{"com.example.app10", "com.example.app2", "com.example.alpha", "com.example.beta",
                     "com.example.app2"}));

    const std::vector<InstalledApp> listed = InstalledApps::list({system, home}, {}, never);
    EXPECT_EQ(namesOf(listed), (Paths{"Alpha", "App 2", "App 2", "App 10", "beta"}));
    ASSERT_EQ(listed.size(), 5u);
    EXPECT_EQ(listed[1].path, systemCopy);
    EXPECT_EQ(listed[2].path, homeCopy);
}

TEST(InstalledAppsTests, ExcludingComparesIdentifiersExactly)
{
    test::TemporaryFolder apps;
    test::makeAppBundle(apps, "Tarno.app", "com.example.tarno");
    test::makeAppBundle(apps, "Tarno Beta.app", "com.example.Tarno");
    test::makeAppBundle(apps, "Tarno Helper.app", "com.example.tarno.helper");
    test::makeAppBundle(apps, "Other.app", "com.example.other");

    EXPECT_EQ(namesOf(InstalledApps::list({apps.path()}, {"com.example.tarno", "com.example.missing"})),
              (Paths{"Other", "Tarno Beta", "Tarno Helper"}));
    EXPECT_EQ(namesOf(InstalledApps::list({apps.path()}, {"com.example.tarno", "com.example.other"})),
              (Paths{"Tarno Beta", "Tarno Helper"}));
    EXPECT_EQ(InstalledApps::bundleIDs({apps.path()}).size(), 4u) << "identifiers are never excluded";
}

// Moving a bundle takes write access to it and to the folder that holds it.
TEST(InstalledAppsTests, NeedsPasswordWhenTheUserCannotMoveTheBundle)
{
    test::TemporaryFolder apps;
    ::chmod(apps.path().c_str(), 0777);
    const std::string system = test::makeAppBundle(apps, "System.app", "com.example.system"); // root's, 0755
    const std::string shared = test::makeAppBundle(apps, "Shared.app", "com.example.shared");
    ::chmod(shared.c_str(), 0777);
    const std::string owned = test::makeAppBundle(apps, "Owned.app", "com.example.owned");
    ASSERT_EQ(::chown(owned.c_str(), test::nobodyID, test::nobodyID), 0);
    // The user's own bundle in a folder that is root's.
    const std::string locked = test::makeAppBundle(apps, "Locked/Inner.app", "com.example.inner");
    test::openToEveryone(apps / "Locked");
    ASSERT_EQ(::chown(locked.c_str(), test::nobodyID, test::nobodyID), 0);

    const test::UnprivilegedRun run = test::runAsNobody([&] {
        std::string found;
        for (const InstalledApp& app : InstalledApps::list({apps.path()}, {}))
            found += app.name + (app.needsPassword ? ":password " : ":free ");
        return found;
    });
    ASSERT_TRUE(run.ran) << run.reason;
    EXPECT_EQ(run.output, "Inner:password Owned:free Shared:free System:password ");
}

} // namespace
} // namespace tarno
