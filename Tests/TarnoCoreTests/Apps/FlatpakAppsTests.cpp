#include "TarnoCore/Apps/FlatpakApps.hpp"

#include "TarnoCore/Apps/AppFootprint.hpp"

#include "Support/AppBundles.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include <sys/stat.h>

namespace tarno {

namespace {

using Paths = std::vector<std::string>;

void writeText(const test::TemporaryFolder& root, const std::string& relative, std::string_view text)
{
    std::ofstream(root.makeFile(relative), std::ios::binary) << text;
}

// An app deployed as Flatpak lays it out: "<id>/current" links to the
// branch, "<branch>/active" to the commit's folder. Returns the commit's
// folder, relative to `root`.
std::string deploy(const test::TemporaryFolder& root, const std::string& appFolder, const std::string& id)
{
    const std::string deployment = appFolder + "/" + id + "/x86_64/stable/8f3c2a";
    root.makeFolder(deployment);
    root.makeSymlink("8f3c2a", appFolder + "/" + id + "/x86_64/stable/active");
    root.makeSymlink("x86_64/stable", appFolder + "/" + id + "/current");
    return deployment;
}

std::string desktopEntry(std::string_view keys)
{
    return "[Desktop Entry]\nType=Application\nExec=/app/bin/run\n" + std::string(keys)
           + "\n[Desktop Action new]\nName=New Window\nIcon=other\n";
}

std::map<std::string, InstalledApp> byPath(const std::vector<InstalledApp>& apps)
{
    std::map<std::string, InstalledApp> found;
    for (const InstalledApp& app : apps)
        found.emplace(app.path, app);
    return found;
}

TEST(FlatpakAppsTests, SystemAndUserAppsWithTheirNamesIconsAndVersions)
{
    test::TemporaryFolder root;
    const std::string system = root.makeFolder("var/lib/flatpak/app");
    const std::string user = root.makeFolder("data/flatpak/app");

    // A full app: translated and escaped name, icons in three sizes, releases newest first.
    const std::string app = deploy(root, "var/lib/flatpak/app", "org.example.App");
    writeText(root, app + "/export/share/applications/org.example.App.desktop",
              desktopEntry("Name[de]=Beispiel\nName=Example\\sApp\nIcon=org.example.App"));
    for (const char* size : {"48x48", "256x256", "128x128"})
        writeText(root, app + "/export/share/icons/hicolor/" + size + "/apps/org.example.App.png", "png");
    writeText(root, app + "/files/share/metainfo/org.example.App.metainfo.xml",
              R"(<?xml version="1.0"?>
<component type="desktop-application">
  <!-- <release version="9.9" date="2030-01-01"/> -->
  <id>org.example.App</id>
  <releases>
    <release date="2024-05-01" version="2.1.0">
      <description><p>Newer</p></description>
    </release>
    <release version="2.0.0" date="2024-01-01"/>
  </releases>
</component>
)");
    // Its plugin is an app of its own that exports nothing, its version in the older appdata folder.
    const std::string plugin = deploy(root, "var/lib/flatpak/app", "org.example.App.Plugin");
    writeText(root, plugin + "/files/share/appdata/org.example.App.Plugin.appdata.xml",
              "<component><releases><release timestamp='1700000000' version='0.3'/></releases></component>");

    // The same app installed for the user too, an older commit that exports no image for its icon.
    const std::string userCopy = deploy(root, "data/flatpak/app", "org.example.App");
    writeText(root, userCopy + "/export/share/applications/org.example.App.desktop",
              desktopEntry("Name=Example App\nIcon=org.example.App"));
    writeText(root, userCopy + "/files/share/metainfo/org.example.App.metainfo.xml",
              "<releases><release version=\"1.9\"/></releases>");

    // A scalable icon beats any size; an absolute Icon and a theme name stay as they are.
    const std::string editor = deploy(root, "data/flatpak/app", "org.example.Editor");
    writeText(root, editor + "/export/share/applications/org.example.Editor.desktop",
              desktopEntry("Name=Editor\nIcon=org.example.Editor"));
    writeText(root, editor + "/export/share/icons/hicolor/512x512/apps/org.example.Editor.png", "png");
    writeText(root, editor + "/export/share/icons/hicolor/scalable/apps/org.example.Editor.svg", "<svg/>");
    const std::string viewer = deploy(root, "data/flatpak/app", "com.example.Viewer");
    writeText(root, viewer + "/export/share/applications/com.example.Viewer.desktop",
              desktopEntry("Name=Viewer\nIcon=/usr/share/pixmaps/viewer.png"));
    const std::string notes = deploy(root, "data/flatpak/app", "net.example.Notes");
    writeText(root, notes + "/export/share/applications/net.example.Notes.desktop",
              desktopEntry("Name=Notes\nIcon=accessories-text-editor"));
    // An entry without a name, and one under another id, leave a name to guess.
    const std::string nameless = deploy(root, "data/flatpak/app", "io.github.someone.Nameless");
    writeText(root, nameless + "/export/share/applications/io.github.someone.Nameless.desktop",
              desktopEntry("Icon=io.github.someone.Nameless"));
    const std::string renamed = deploy(root, "data/flatpak/app", "org.example.Renamed");
    writeText(root, renamed + "/export/share/applications/org.example.Renamed.Extra.desktop",
              desktopEntry("Name=Wrong Entry"));

    const auto flatpak = [](const std::string& path, std::string name, std::string id,
                            std::optional<std::string> version, std::optional<std::string> icon) {
        return InstalledApp{
            .path = path,
            .name = std::move(name),
            .bundleID = std::move(id),
            .version = std::move(version),
            .lastOpened = std::nullopt,
            .needsPassword = false, // root may write anywhere
            .kind = AppKind::flatpak,
            .icon = std::move(icon),
            .ownFiles = {},
        };
    };
    // Named through "current/active", the icon stays the one in use after an update.
    const std::string appIcon =
        system + "/org.example.App/current/active/export/share/icons/hicolor/256x256/apps/org.example.App.png";
    const std::string editorIcon =
        user + "/org.example.Editor/current/active/export/share/icons/hicolor/scalable/apps/org.example.Editor.svg";
    const std::vector<InstalledApp> listed = FlatpakApps::list({system, user}, {});
    const std::vector<InstalledApp> expected = {
                  flatpak(user + "/org.example.Editor", "Editor", "org.example.Editor", std::nullopt, editorIcon),
                  flatpak(system + "/org.example.App.Plugin", AppFootprint::guessedName("org.example.App.Plugin"),
                          "org.example.App.Plugin", "0.3", std::nullopt),
                  flatpak(system + "/org.example.App", "Example App", "org.example.App", "2.1.0", appIcon),
                  flatpak(user + "/org.example.App", "Example App", "org.example.App", "1.9", "org.example.App"),
                  flatpak(user + "/net.example.Notes", "Notes", "net.example.Notes", std::nullopt,
                          "accessories-text-editor"),
                  flatpak(user + "/org.example.Renamed", AppFootprint::guessedName("org.example.Renamed"),
                          "org.example.Renamed", std::nullopt, std::nullopt),
                  flatpak(user + "/io.github.someone.Nameless", AppFootprint::guessedName("io.github.someone.Nameless"),
                          "io.github.someone.Nameless", std::nullopt, "io.github.someone.Nameless"),
                  flatpak(user + "/com.example.Viewer", "Viewer", "com.example.Viewer", std::nullopt,
                          "/usr/share/pixmaps/viewer.png"),
    };
    EXPECT_EQ(listed, expected) << "listed:" << test::described(listed) << "\nexpected:" << test::described(expected);
}

TEST(FlatpakAppsTests, VersionIsTheFirstReleaseTagsOwnVersion)
{
    const std::vector<std::pair<std::string, std::optional<std::string>>> cases = {
        {R"(<releases><release version="1.2" date="2024-01-01"/></releases>)", "1.2"},
        {"<releases>\n  <release\n    date='2024-05-01'\n    version = '3.0.1'>\n  </release>\n</releases>", "3.0.1"},
        // "subversion" is another attribute, and a <releases> tag is no release.
        {R"(<releases version="7"><release subversion="8" type="stable" version="4"/></releases>)", "4"},
        {R"(<!-- <release version="9"/> --><releases><release version="5"/></releases>)", "5"},
        {R"(<releases><release date="2024-01-01"/><release version="1.0"/></releases>)", std::nullopt},
        {R"(<releases><release/><release version="1.0"/></releases>)", std::nullopt},
        {R"(<releases><release version=""/></releases>)", std::nullopt},
        {"<releases></releases>", std::nullopt},
        {R"(<release version="6)", std::nullopt},
        {"", std::nullopt},
    };
    test::TemporaryFolder root;
    const std::string folder = root.makeFolder("app");
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const std::string id = "org.example.Case" + std::to_string(i);
        writeText(root, deploy(root, "app", id) + "/files/share/metainfo/" + id + ".metainfo.xml", cases[i].first);
    }
    const std::map<std::string, InstalledApp> apps = byPath(FlatpakApps::list({folder}, {}));
    ASSERT_EQ(apps.size(), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i)
        EXPECT_EQ(apps.at(folder + "/org.example.Case" + std::to_string(i)).version, cases[i].second) << cases[i].first;
}

TEST(FlatpakAppsTests, OnlyDeployedRealFoldersAreApps)
{
    test::TemporaryFolder root;
    const std::string folder = root.makeFolder("app");
    deploy(root, "app", "org.example.Deployed");
    // "active" may be the commit's folder itself.
    root.makeFolder("app/org.example.Plain/current/active");
    root.makeFolder("app/org.example.NoCurrent/x86_64/stable/8f3c2a");
    root.makeFolder("app/org.example.NoActive/current");
    root.makeSymlink("gone", "app/org.example.Dangling/x86_64/stable/active");
    root.makeSymlink("x86_64/stable", "app/org.example.Dangling/current");
    root.makeFile("app/org.example.Active/current/active"); // a file is no deployment
    root.makeSymlink(folder + "/org.example.Deployed", "app/org.example.Link");
    deploy(root, "app", ".org.example.Hidden");
    root.makeFile("app/org.example.File");

    Paths listed;
    for (const InstalledApp& app : FlatpakApps::list({folder}, {}))
        listed.push_back(app.path);
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, (Paths{folder + "/org.example.Deployed", folder + "/org.example.Plain"}));

    for (const std::string& missing : {root / "missing", root / "app/org.example.File", std::string()})
        EXPECT_TRUE(FlatpakApps::list({missing}, {}).empty()) << missing;
}

TEST(FlatpakAppsTests, ExcludingComparesIdsExactly)
{
    test::TemporaryFolder root;
    const std::string system = root.makeFolder("system");
    const std::string user = root.makeFolder("user");
    for (const char* id : {"org.example.App", "org.example.App.Plugin", "org.example.app"})
        deploy(root, "system", id);
    deploy(root, "user", "org.example.App");

    const auto ids = [&](const std::set<std::string>& excluding) {
        Paths found;
        for (const InstalledApp& app : FlatpakApps::list({system, user}, excluding))
            found.push_back(app.path);
        std::sort(found.begin(), found.end());
        return found;
    };
    EXPECT_EQ(ids({"org.example.App"}), (Paths{system + "/org.example.App.Plugin", system + "/org.example.app"}))
        << "both installations of the excluded id are left out";
    EXPECT_EQ(ids({"org.example", "org.example.App.Plugin", "org.example.Other"}),
              (Paths{system + "/org.example.App", system + "/org.example.app", user + "/org.example.App"}));
}

TEST(FlatpakAppsTests, NeedsPasswordWhenTheUserCannotWriteTheAppFolder)
{
    test::TemporaryFolder root;
    test::openToEveryone(root.path());
    const std::string system = root.makeFolder("system"); // root's, 0755
    const std::string user = root.makeFolder("user");
    deploy(root, "system", "org.example.Shared");
    deploy(root, "user", "org.example.Own");
    // The app's own folder being the user's does not let them remove it from a folder that is not.
    ASSERT_EQ(::chown((system + "/org.example.Shared").c_str(), test::nobodyID, test::nobodyID), 0);
    ASSERT_EQ(::chown(user.c_str(), test::nobodyID, test::nobodyID), 0);

    const test::UnprivilegedRun run = test::runAsNobody([&] {
        std::string found;
        for (const InstalledApp& app : FlatpakApps::list({system, user}, {}))
            found += app.bundleID + (app.needsPassword ? ":password " : ":free ");
        return found;
    });
    ASSERT_TRUE(run.ran) << run.reason;
    EXPECT_EQ(run.output, "org.example.Own:free org.example.Shared:password ");
}

} // namespace
} // namespace tarno
