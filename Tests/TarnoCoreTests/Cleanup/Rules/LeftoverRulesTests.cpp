#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;

// A machine where exactly these applications are installed, by name or identifier.
CleanupEnvironment machine(const std::string& home, const Paths& ids, const Paths& names = {})
{
    CleanupEnvironment env = CleanupEnvironment::empty(home);
    env.installedBundleIDs = [ids] { return ids; };
    env.isAppInstalled = [ids, names](const Paths& askedNames, const Paths& askedIDs) {
        const auto any = [](const Paths& asked, const Paths& present) {
            return std::any_of(asked.begin(), asked.end(), [&](const std::string& one) {
                return std::find(present.begin(), present.end(), one) != present.end();
            });
        };
        return any(askedNames, names) || any(askedIDs, ids);
    };
    return env;
}

std::vector<CleanupItem> run(const CleanupEnvironment& env, test::RuleFamily family, const Paths& claimed = {})
{
    return test::familyItems(env, family, claimed);
}

CleanupItem leftover(const std::string& id, const std::string& name, Paths paths)
{
    return test::ruleItem("leftover.app." + id, name + " settings and data", CleanupCategory::leftovers,
                          id + " is not installed. Reinstalling it later starts with a clean slate.", Safety::review,
                          CleanupAction::Trash{std::move(paths)}, 1000000);
}

TEST(LeftoverRulesTests, AnEditorsFoldersAreOfferedOnlyWhenItIsNotInstalled)
{
    test::TemporaryFolder home;
    home.makeFolder(".cursor/extensions");
    const std::string windsurf = home.makeFolder("Library/Application Support/Windsurf");
    const std::string vscode = home.makeFolder(".vscode");
    home.makeFolder(".vscode/extensions");
    home.makeFolder(".config/Code/User");
    const std::string code = home / ".config/Code";
    home.makeFolder(".config/Cursor");
    home.makeFolder(".config/code-oss"); // not this editor's

    // Cursor by its name on a Mac, Visual Studio Code by its Linux desktop entry.
    const std::vector<CleanupItem> items = run(machine(home.path(), {"code"}, {"Cursor"}), RuleFamilies::leftovers);
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0], (CleanupItem{"leftover.Windsurf", "Windsurf extensions and settings",
                                     CleanupCategory::leftovers,
                                     "Windsurf is not installed. Reinstalling it later starts with a clean slate.",
                                     Safety::review, CleanupAction::Delete{{windsurf}}, false, 1, std::nullopt}));

    EXPECT_EQ(test::idsOf(run(machine(home.path(), {"com.todesktop.230313mzl4w4u92", "com.visualstudio.code"}),
                      RuleFamilies::leftovers)),
              (Paths{"leftover.Windsurf"}));
    const std::vector<CleanupItem> none = run(machine(home.path(), {}), RuleFamilies::leftovers);
    EXPECT_EQ(test::idsOf(none), (Paths{"leftover.Cursor", "leftover.Windsurf", "leftover.Visual Studio Code"}));
    EXPECT_EQ(none[2].action, CleanupAction(CleanupAction::Delete{{vscode, code}}));
}

TEST(LeftoverRulesTests, DeletedAppsOnAMacCollapseHelpersAndSkipCachesAndClaimedPaths)
{
    test::TemporaryFolder home;
    home.makeFolder("Library/Saved Application State/Com.Acme.App.savedState");
    home.makeFile("Library/HTTPStorages/com.acme.app.helper.binarycookies");
    const std::string state = home / "Library/Saved Application State/Com.Acme.App.savedState";
    const std::string storage = home / "Library/HTTPStorages/com.acme.app.helper.binarycookies";
    const std::string support = home.makeFolder("Library/Application Support/com.acme.app");
    const std::string prefs = home.makeFile("Library/Preferences/com.acme.app.plist");
    home.makeFolder("Library/Caches/com.acme.app"); // the app caches' rule offers it
    const std::string claimed = home.makeFolder("Library/Logs/com.acme.app");
    home.makeFolder("Library/WebKit/com.acme.gone.tool.extra");
    const std::string webKit = home / "Library/WebKit/com.acme.gone.tool.extra";
    // Never candidates: the system's, groups, no identifier, an installed vendor's, the editors'.
    home.makeFolder("Library/WebKit/com.apple.Safari");
    home.makeFolder("Library/WebKit/group.com.other.shared");
    home.makeFolder("Library/WebKit/systemgroup.com.other.x");
    home.makeFolder("Library/WebKit/WebsiteData");
    home.makeFolder("Library/WebKit/com.other.viewer");
    home.makeFolder("Library/WebKit/com.todesktop.230313mzl4w4u92");
    home.makeFolder("Library/WebKit/dev.tarno.Tarno");
    // Only read with Full Disk Access, which a listable home means here.
    const std::string container = home.makeFolder("Library/Containers/org.sample.editor");

    const std::vector<CleanupItem> items =
        run(machine(home.path(), {"com.other.mail"}), RuleFamilies::deletedApps, {claimed});
    EXPECT_EQ(items, (std::vector<CleanupItem>{
                         leftover("Com.Acme.App", "Acme", {support, storage, prefs, state}),
                         leftover("com.acme.gone", "Gone", {webKit}),
                         leftover("org.sample.editor", "Editor", {container}),
                     }));

    EXPECT_EQ(test::idsOf(run(machine(home.path(), {"com.acme.app"}), RuleFamilies::deletedApps)),
              (Paths{"leftover.app.com.other.viewer", "leftover.app.org.sample.editor"}))
        << "an installed com.acme.app keeps every com.acme trace";
    // An application the machine knows by identifier, though not listed, is still here.
    CleanupEnvironment knows = machine(home.path(), {});
    knows.isAppInstalled = [](const Paths&, const Paths& asked) { return asked == Paths{"com.acme.gone"}; };
    EXPECT_EQ(test::idsOf(run(knows, RuleFamilies::deletedApps)),
              (Paths{"leftover.app.Com.Acme.App", "leftover.app.com.other.viewer", "leftover.app.org.sample.editor"}));
}

TEST(LeftoverRulesTests, DeletedAppsOnLinuxAreFlatpakFoldersOfAppsNoLongerInstalled)
{
    test::TemporaryFolder home;
    const std::string sandbox = home.makeFolder(".var/app/org.acme.Gone");
    const std::string config = home.makeFolder(".config/org.acme.Gone");
    const std::string data = home.makeFolder(".local/share/org.acme.Gone.Plugins");
    home.makeFolder(".cache/org.acme.Gone"); // the app caches' rule offers it
    home.makeFolder(".var/app/org.kde.kwrite");
    home.makeFolder(".var/app/org.gnome.Maps");
    home.makeFolder(".var/app/io.github.viewer.Viewer");
    home.makeFolder(".var/app/dev.tarno.Tarno");
    home.makeFolder(".config/dev.tarno.Tarno");
    // Installed: a Flatpak app, one of KDE's by its desktop entry.
    home.makeFolder(".local/share/flatpak/app/org.gnome.Maps/current");
    std::ofstream(home.makeFile(".local/share/applications/org.kde.okular.desktop"))
        << "[Desktop Entry]\nName=Okular\nExec=okular\n";
    std::ofstream(home.makeFile(".local/share/applications/io.github.viewer.Viewer.desktop"))
        << "[Desktop Entry]\nName=Viewer\nExec=viewer\n";

    const CleanupEnvironment env = CleanupEnvironment::live(home.path());
    EXPECT_EQ(run(env, RuleFamilies::deletedApps),
              (std::vector<CleanupItem>{leftover("org.acme.Gone", "Gone", {config, data, sandbox})}))
        << "never an installed app's data, its vendor's, or this application's own";
}

} // namespace
} // namespace tarno
