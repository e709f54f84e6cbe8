#include "TarnoCore/Apps/AppFootprint.hpp"

#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include <sys/stat.h>

namespace tarno {
namespace {

using Paths = std::vector<std::string>;

Paths footprint(const test::TemporaryFolder& home, const std::string& id, const std::optional<std::string>& name,
                bool includeContainers, const Paths& others = {})
{
    return AppFootprint::paths(id, name, home.path(), Platform::userFolders(home.path(), false, {}),
                               includeContainers, others);
}

TEST(AppFootprintTests, IdentifierMatchesAreWholeCaseBlindAndStopAtInstalledDeeperApps)
{
    test::TemporaryFolder home;
    const std::string support = home.makeFolder("Library/Application Support/com.acme.app");
    const std::string caches = home.makeFolder("Library/Caches/COM.ACME.APP");
    const std::string prefs = home.makeFile("Library/Preferences/com.acme.app.plist");
    const std::string helperPrefs = home.makeFile("Library/Preferences/com.acme.app.helper.plist");
    home.makeFile("Library/Preferences/com.acme.application.plist");
    home.makeFile("Library/Preferences/com.acme.app.reader.plist");
    home.makeFolder("Library/Application Support/com.acme.app.reader");
    home.makeFolder("Library/Caches/com.acme.app.reader.cache");
    home.makeFolder("Library/Application Support/.com.acme.app"); // hidden
    const std::string byHost = home.makeFile("Library/Preferences/ByHost/com.acme.app.0A1B.plist");
    const std::string state = home.makeFolder("Library/Saved Application State/com.acme.app.savedState");
    // The .plist suffix is not this folder's, so the name is compared whole.
    home.makeFolder("Library/Saved Application State/com.acme.apps.plist");
    const std::string stateWhole = home.makeFolder("Library/Saved Application State/com.acme.app.plist");
    const std::string cookies = home.makeFile("Library/Cookies/com.acme.app.binarycookies");
    const std::string storage = home.makeFile("Library/HTTPStorages/com.acme.app.binarycookies");
    const std::string webKit = home.makeFolder("Library/WebKit/com.acme.app");
    const std::string logs = home.makeFolder("Library/Logs/com.acme.app");
    const std::string scripts = home.makeFolder("Library/Application Scripts/com.acme.app");
    home.makeFolder("Library/Application Support/com.acme.ap");
    home.makeFolder("Library/Application Support/org.acme.app");

    const Paths all{support, caches, state, stateWhole, cookies, storage, helperPrefs, prefs, byHost, webKit, logs,
                    scripts};
    Paths sortedAll = all;
    std::sort(sortedAll.begin(), sortedAll.end());
    Paths withReader = sortedAll;
    for (const std::string& reader : {home / "Library/Application Support/com.acme.app.reader",
                                      home / "Library/Caches/com.acme.app.reader.cache",
                                      home / "Library/Preferences/com.acme.app.reader.plist"})
        withReader.push_back(reader);
    std::sort(withReader.begin(), withReader.end());

    EXPECT_EQ(footprint(home, "com.acme.app", std::nullopt, false), withReader) << "no others: every deeper name";
    EXPECT_EQ(footprint(home, "Com.Acme.App", std::nullopt, false, {"com.acme.app", "com.other.x"}), withReader)
        << "the app's own identifier among the others changes nothing";
    EXPECT_EQ(footprint(home, "com.acme.app", std::nullopt, false, {"COM.ACME.APP.READER"}), sortedAll)
        << "an installed com.acme.app.reader keeps its data; the helper is still taken";
}

TEST(AppFootprintTests, ContainersAndGroupContainersOnlyWhenAskedFor)
{
    test::TemporaryFolder home;
    const std::string container = home.makeFolder("Library/Containers/com.acme.app");
    const std::string team = home.makeFolder("Library/Group Containers/ABCDE12345.com.acme.app");
    const std::string group = home.makeFolder("Library/Group Containers/group.com.acme.app");
    const std::string both = home.makeFolder("Library/Group Containers/ABCDE12345.group.com.acme.app.shared");
    home.makeFolder("Library/Group Containers/abcde12345.com.acme.app"); // lower case: no team identifier
    home.makeFolder("Library/Group Containers/ABCDE1234.com.acme.app");  // nine characters
    home.makeFolder("Library/Group Containers/group.ABCDE12345.com.acme.app"); // the prefixes in the wrong order

    EXPECT_EQ(footprint(home, "com.acme.app", std::nullopt, true), (Paths{container, team, both, group}));
    EXPECT_TRUE(footprint(home, "com.acme.app", std::nullopt, false).empty());
}

TEST(AppFootprintTests, AFolderThatCannotBeListedAddsNothing)
{
    // A locked Containers folder stands for one closed by the privacy settings.
    test::TemporaryFolder temp;
    const std::string home = temp.makeFolder("home");
    temp.makeFolder("home/Library/Containers/com.acme.app");
    const std::string support = temp.makeFolder("home/Library/Application Support/com.acme.app");
    for (const std::string& folder : {temp.path(), home, home + "/Library", home + "/Library/Application Support"})
        test::openToEveryone(folder);
    ASSERT_EQ(::chmod((home + "/Library/Containers").c_str(), 0), 0);

    const test::UnprivilegedRun run = test::runAsNobody([&] {
        std::string found;
        for (const bool containers : {false, true}) {
            for (const std::string& path : AppFootprint::paths("com.acme.app", std::nullopt, home,
                                                               Platform::userFolders(home, false, {}), containers, {}))
                found += path + "\n";
            found += "|";
        }
        return found;
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;
    EXPECT_EQ(run.output, support + "\n|" + support + "\n|") << "an unreadable folder adds nothing";
}

TEST(AppFootprintTests, PlainNamesMatchWholeInThreeFoldersFromThreeCharacters)
{
    test::TemporaryFolder home;
    const std::string logs = home.makeFolder("Library/Logs/FOO");
    const std::string support = home.makeFolder("Library/Application Support/Foo");
    const std::string caches = home.makeFolder("Library/Caches/foo");
    home.makeFile("Library/Preferences/Foo");
    home.makeFolder("Library/Application Support/Foobar");
    home.makeFolder("Library/Application Support/Go");
    home.makeFolder("Library/Caches/go");
    home.makeFolder(".config/go");
    home.makeFolder(".local/share/Go");

    EXPECT_EQ(footprint(home, "com.acme.foo", std::string("Foo"), false), (Paths{support, caches, logs}));
    EXPECT_EQ(footprint(home, "com.acme.foo", std::string("Foo"), false, {"com.other.foo"}),
              (Paths{support, caches, logs}))
        << "the name rule does not look at other apps";
    EXPECT_TRUE(footprint(home, "com.acme.go", std::string("Go"), false).empty());
    EXPECT_TRUE(footprint(home, "com.acme.foo", std::string(""), false).empty());
}

TEST(AppFootprintTests, LinuxKeepsAnAppsDataByIdentifierAndByNameInTheBaseFolders)
{
    test::TemporaryFolder home;
    const std::string sandbox = home.makeFolder(".var/app/org.gnome.Maps");
    const std::string config = home.makeFolder(".config/org.gnome.Maps");
    const std::string data = home.makeFolder(".local/share/org.gnome.Maps");
    const std::string cache = home.makeFolder(".cache/org.gnome.Maps.thumbnails");
    const std::string named = home.makeFolder(".config/gnome-maps");
    const std::string namedData = home.makeFolder(".local/share/GNOME-Maps");
    home.makeFolder(".var/app/org.gnome.MapsViewer"); // another app: the next character must be a dot
    home.makeFolder(".var/app/org.gnome.Maps.Devel");
    home.makeFolder(".config/gnome-maps-extra");
    home.makeFolder(".local/gnome-maps"); // not a base folder
    home.makeFolder(".var/gnome-maps");

    EXPECT_EQ(footprint(home, "org.gnome.Maps", std::nullopt, false, {"org.gnome.Maps.Devel"}),
              (Paths{cache, config, data, sandbox}));
    EXPECT_EQ(footprint(home, "org.gnome.Maps", std::string("gnome-maps"), false, {"org.gnome.Maps.Devel"}),
              (Paths{cache, named, config, namedData, data, sandbox}));

    // What the desktop shares is no application's, whatever its name.
    home.makeFolder(".local/share/fonts");
    home.makeFolder(".local/share/Trash/files");
    home.makeFolder(".config/autostart");
    const std::string fontsCache = home.makeFolder("Library/Caches/Fonts");
    EXPECT_EQ(footprint(home, "org.gnome.font-viewer", std::string("Fonts"), false), (Paths{fontsCache}))
        << "the Mac's name folders are the app's own";
    EXPECT_TRUE(footprint(home, "com.acme.trash", std::string("Trash"), false).empty());
    EXPECT_TRUE(footprint(home, "com.acme.autostart", std::string("AutoStart"), false).empty());

    // The base folders are the ones given, not the defaults under the home.
    test::TemporaryFolder elsewhere;
    const std::string moved = elsewhere.makeFolder("config/org.gnome.Maps");
    Platform::UserFolders folders = Platform::userFolders(home.path(), false, {});
    folders.config = elsewhere / "config";
    Paths expected{cache, data, sandbox, moved};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(
        AppFootprint::paths("org.gnome.Maps", std::nullopt, home.path(), folders, false, {"org.gnome.Maps.Devel"}),
        expected);
}

TEST(AppFootprintTests, LooksLikeBundleID)
{
    for (const char* name : {"com.acme.app", "com.acme-inc.app2", "org.gnome.Maps", "a.b.c.d"})
        EXPECT_TRUE(AppFootprint::looksLikeBundleID(name)) << name;
    for (const char* name : {"com.acme", ".com.acme.app", "com..acme", "com.acme.", "1com.acme.app", "-com.acme.app",
                             "com.acme.app_1", "com.acme.app 2", "com.acme.\xc3\xa9t\xc3\xa9", ""})
        EXPECT_FALSE(AppFootprint::looksLikeBundleID(name)) << name;
}

TEST(AppFootprintTests, VendorAndGuessedName)
{
    const std::vector<std::pair<std::string, std::string>> vendors = {
        {"com.Acme.App", "com.acme"}, {"solo", "solo"}, {"..com..acme.x", "com.acme"}, {"", ""}};
    for (const auto& [id, vendor] : vendors)
        EXPECT_EQ(AppFootprint::vendor(id), vendor) << id;

    const std::vector<std::pair<std::string, std::string>> names = {
        {"com.tinyspeck.slackmacgap", "Slack"},
        {"COM.OPENAI.CHAT", "ChatGPT"},
        {"com.bittorrent.utweb", "\u00B5Torrent Web"},
        {"solo", "solo"},
        {"com.acme", "Acme"},
        {"com.acme.mac", "Acme"},
        {"com.acme.app.foo", "Acme"},
        {"com.acme.Electron", "Acme"},
        {"com.acme.updater", "Acme Updater"},
        {"com.acme.HELPER", "acme HELPER"},
        {"com.acme.my-tool", "My Tool"},
        {"com.acme.MyTool", "MyTool"},
        {"com.acme.a1b2", "Acme"},
        {"com.acme.ab1", "Ab1"},
        {"org.gnome.Maps", "Maps"},
    };
    for (const auto& [id, name] : names)
        EXPECT_EQ(AppFootprint::guessedName(id), name) << id;
}

} // namespace
} // namespace tarno
