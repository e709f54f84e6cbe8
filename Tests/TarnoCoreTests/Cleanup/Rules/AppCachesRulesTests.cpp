#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <map>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;

// The app caches' items, after another rule has claimed `claimed`.
std::vector<CleanupItem> cacheItems(const CleanupEnvironment& env, const Paths& claimed = {})
{
    return test::familyItems(env, RuleFamilies::appCaches, claimed);
}

CleanupEnvironment withNames(const std::string& home, std::map<std::string, std::string> names)
{
    CleanupEnvironment env = CleanupEnvironment::empty(home);
    env.appName = [names = std::move(names)](const std::string& id) -> std::optional<std::string> {
        const auto found = names.find(id);
        return found == names.end() ? std::nullopt : std::optional<std::string>(found->second);
    };
    return env;
}

CleanupItem cache(const std::string& folder, const std::string& name, Paths paths)
{
    return test::ruleItem("cache." + folder, name + " cache", CleanupCategory::apps, "The app rebuilds it as needed.",
                          Safety::safe, CleanupAction::Delete{std::move(paths)}, 5000000);
}

CleanupItem logs(const std::string& path)
{
    return test::ruleItem("logs", "Logs", CleanupCategory::apps, "None. These are diagnostic logs.", Safety::safe,
                          CleanupAction::DeleteContents{{path}});
}

TEST(AppCachesRulesTests, AMacsCachesAreOfferedWhereNoOtherRuleIs)
{
    test::TemporaryFolder home;
    const std::string caches = home.makeFolder("Library/Caches");
    home.makeFolder("Library/Caches/Homebrew/downloads");
    home.makeFolder("Library/Caches/com.apple.Safari");
    home.makeFile("Library/Caches/.DS_Store");
    const std::string studio = home.makeFolder("Library/Caches/Google/AndroidStudio2024.3");
    const std::string chrome = home.makeFolder("Library/Caches/Google/Chrome");
    const std::string acme = home.makeFolder("Library/Caches/com.acme.app");
    const std::string jetBrains = home.makeFolder("Library/Caches/JetBrains/IdeaIC2024.1/index");
    const std::string toolbox = home.makeFolder("Library/Caches/JetBrains/Toolbox");
    const std::string logFolder = home.makeFolder("Library/Logs");
    const CleanupEnvironment env = withNames(home.path(), {{"com.acme.app", "Acme"}});

    EXPECT_EQ(cacheItems(env, {caches + "/Homebrew", studio, jetBrains}),
              (std::vector<CleanupItem>{cache("Google", "Google", {chrome}), cache("JetBrains", "JetBrains", {toolbox}),
                                        cache("com.acme.app", "Acme", {acme}), logs(logFolder)}))
        << "a child holding a claimed path is left to the rule that claimed it";

    std::filesystem::remove_all(chrome);
    const std::vector<CleanupItem> items = cacheItems(env, {caches + "/Homebrew", studio});
    ASSERT_EQ(items.size(), 3U) << "Google has nothing left to offer";
    EXPECT_EQ(items[0].id, "cache.JetBrains");
    EXPECT_EQ(items[0].action, CleanupAction(CleanupAction::Delete{{home / "Library/Caches/JetBrains"}}));
}

TEST(AppCachesRulesTests, LinuxCachesAreNamedByTheirApplicationAndNeverTarnosOwn)
{
    test::TemporaryFolder home;
    const std::string viewer = home.makeFolder(".cache/org.acme.Viewer");
    const std::string fonts = home.makeFolder(".cache/fontconfig");
    const std::string legal = home.makeFile(".cache/motd.legal-displayed");
    home.makeFolder(".cache/Tarno/Tarno");
    home.makeFolder(".cache/pip/http");
    home.makeFolder(".cache/.hidden");
    const std::string macSide = home.makeFolder("Library/Caches/fontconfig");
    const CleanupEnvironment env = withNames(home.path(), {{"org.acme.Viewer", "Acme Viewer"}});

    EXPECT_EQ(cacheItems(env, {home / ".cache/pip"}),
              (std::vector<CleanupItem>{cache("fontconfig", "fontconfig", {macSide, fonts}),
                                        cache("motd.legal-displayed", "motd.legal-displayed", {legal}),
                                        cache("org.acme.Viewer", "Acme Viewer", {viewer})}))
        << "one item per name, whichever cache folder holds it";

    // A cache folder set to the home, or above it, offers nothing of it.
    for (const std::string& folder : {home.path(), std::string("/")}) {
        CleanupEnvironment odd = env;
        odd.folders.cache = folder;
        EXPECT_EQ(cacheItems(odd), (std::vector<CleanupItem>{cache("fontconfig", "fontconfig", {macSide})})) << folder;
    }
}

TEST(AppCachesRulesTests, ALinkInsideACacheIsOfferedAsALinkNeverAsWhatItPointsAt)
{
    test::TemporaryFolder home;
    const std::string documents = home.makeFolder("Documents");
    home.makeFile("Documents/thesis.pdf", 6000000);
    const std::string shortcut = home.makeSymlink(documents, ".cache/shortcut");
    const std::string inside = home.makeSymlink(documents, ".cache/thumbnails/documents");
    home.makeFile(".cache/thumbnails/large/claimed.png");
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());

    const std::vector<CleanupItem> items = cacheItems(env, {home / ".cache/thumbnails/large/claimed.png"});
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0], cache("shortcut", "shortcut", {shortcut}));
    EXPECT_EQ(items[1], cache("thumbnails", "thumbnails", {inside}));
    for (const CleanupItem& item : items)
        EXPECT_LT(item.measure().bytes, 6000000) << item.id << " must not count the documents";
}

TEST(AppCachesRulesTests, TheCatalogRunsTheAppFamiliesAfterTheDeveloperOnesAndCachesLast)
{
    test::TemporaryFolder home;
    home.makeFolder("Library/Developer/Xcode/DerivedData");
    home.makeFolder("Library/Caches/com.acme.gone");
    home.makeFolder("Library/Application Support/com.acme.gone");
    home.makeFolder("Library/WebKit/com.acme.gone");
    home.makeFolder("Library/Caches/Google/AndroidStudio2024.3");
    home.makeFolder("Library/Logs");
    home.makeFolder(".vscode");
    home.makeFile("Downloads/setup.iso");
    home.makeFolder(".local/share/Trash/files");
    home.makeFolder(".cache/org.acme.Viewer");

    EXPECT_EQ(test::idsOf(CleanupCatalog::items(CleanupEnvironment::empty(home.path()))), (Paths{"xcode.derivedData", "android.studioCaches", "cache.com.acme.gone", "cache.org.acme.Viewer",
                          "logs", "leftover.Visual Studio Code", "leftover.app.com.acme.gone", "download.setup.iso",
                          "trash"}))
        << "the Google cache holds only what the Android rule took";
}

} // namespace
} // namespace tarno
