#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;

constexpr const char* downloadAgain = "Packages download again on the next install.";

using test::writeText;

std::vector<CleanupItem> javascriptItems(const CleanupEnvironment& env)
{
    return test::familyItems(env, RuleFamilies::javascript);
}

CleanupItem safeItem(std::string id, std::string title, std::string consequence, CleanupAction action)
{
    return test::ruleItem(std::move(id), std::move(title), CleanupCategory::javascript, std::move(consequence),
                          Safety::safe, std::move(action));
}

TEST(JavaScriptRulesTests, AMacHomeGivesEveryRowInOrderWordForWord)
{
    test::TemporaryFolder home;
    test::TemporaryFolder system;
    CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    EXPECT_TRUE(javascriptItems(env).empty());

    home.makeFolder(".npm/_cacache/index-v5");
    home.makeFolder(".npm/_logs");
    home.makeFolder(".npm/_update-notifier-last-checked"); // npm's own state, not a cache
    home.makeFolder("Library/Caches/Yarn/v6");
    const std::string rootYarn = system.makeFolder("share/Library/Caches/Yarn");
    env.rootYarnCache = rootYarn;
    home.makeFolder(".cache/puppeteer/chrome");
    home.makeFolder("Library/Caches/ms-playwright/chromium-1117");
    home.makeFolder("Library/Caches/typescript/5.4");

    EXPECT_EQ(javascriptItems(env),
              (std::vector<CleanupItem>{
                  safeItem("npm.cache", "npm cache", downloadAgain,
                           CleanupAction::Delete{{home / ".npm/_cacache", home / ".npm/_logs"}}),
                  safeItem("yarn.cache", "Yarn cache", downloadAgain,
                           CleanupAction::Delete{{home / "Library/Caches/Yarn"}}),
                  safeItem("yarn.cache.root", "Yarn cache left behind by sudo",
                           "None. Yarn only uses it when it runs as root.", CleanupAction::Delete{{rootYarn}}),
                  safeItem("puppeteer.browsers", "Puppeteer browser downloads",
                           "Each project needs \"npx puppeteer browsers install\" before it next runs.",
                           CleanupAction::DeleteContents{{home / ".cache/puppeteer"}}),
                  safeItem("playwright.browsers", "Playwright browser downloads",
                           "Each project needs \"npx playwright install\" before it next runs.",
                           CleanupAction::Delete{{home / "Library/Caches/ms-playwright"}}),
                  safeItem("node.buildCaches", "Node build caches", "Rebuilt on demand.",
                           CleanupAction::Delete{{home / "Library/Caches/typescript"}}),
              }));
}

TEST(JavaScriptRulesTests, ALinuxHomeIsLookedAtInItsCacheFolderEachPathOnce)
{
    test::TemporaryFolder home;
    home.makeFolder(".cache/yarn/v6");
    home.makeFolder(".yarn/berry/cache");
    home.makeFolder(".cache/puppeteer/chrome");
    home.makeFolder(".cache/ms-playwright/firefox-1447");
    home.makeFolder(".cache/node-gyp/20.11.0");
    home.makeFolder(".cache/typescript/5.4");
    home.makeFolder("Library/Caches/node-gyp");
    CleanupEnvironment env = CleanupEnvironment::empty(home.path());

    const auto pathsById = [](const std::vector<CleanupItem>& items) {
        std::vector<std::pair<std::string, Paths>> found;
        for (const CleanupItem& item : items)
            found.emplace_back(item.id, item.action.paths());
        return found;
    };
    using Rows = std::vector<std::pair<std::string, Paths>>;
    // The home's .cache is both Puppeteer's own place and the cache folder: offered once.
    EXPECT_EQ(pathsById(javascriptItems(env)),
              (Rows{{"yarn.cache", {home / ".cache/yarn", home / ".yarn/berry/cache"}},
                    {"puppeteer.browsers", {home / ".cache/puppeteer"}},
                    {"playwright.browsers", {home / ".cache/ms-playwright"}},
                    {"node.buildCaches",
                     {home / "Library/Caches/node-gyp", home / ".cache/node-gyp", home / ".cache/typescript"}}}));

    // A cache folder moved elsewhere is looked at as well as Puppeteer's fixed place.
    env.folders.cache = home.makeFolder("moved-cache");
    home.makeFolder("moved-cache/puppeteer");
    home.makeFolder("moved-cache/yarn");
    EXPECT_EQ(pathsById(javascriptItems(env)),
              (Rows{{"yarn.cache", {home / "moved-cache/yarn", home / ".yarn/berry/cache"}},
                    {"puppeteer.browsers", {home / ".cache/puppeteer", home / "moved-cache/puppeteer"}},
                    {"node.buildCaches", {home / "Library/Caches/node-gyp"}}}));
}

TEST(JavaScriptRulesTests, NpmCacheFolderTakesTheFirstCacheLineOfAnyFile)
{
    test::TemporaryFolder folder;
    const std::string home = folder.makeFolder("home");
    const std::string global = folder / "npmrc";
    const std::string otherGlobal = folder / "second-npmrc";
    struct Case {
        const char* user;   // nullptr: no .npmrc at all
        const char* global; // nullptr: no global file
        std::optional<std::string> expected;
    };
    const std::vector<Case> cases{
        {nullptr, nullptr, std::nullopt},
        {"cache=~/caches/npm\n", nullptr, home + "/caches/npm"},
        {"cache = \"${HOME}/.npm\"", nullptr, home + "/.npm"},
        {"cache='~/quoted'\"", nullptr, home + "/quoted"},
        {"  cache\t=\t~/blanks  \r\n", nullptr, home + "/blanks"},
        {"cache=${HOME}/a/${HOME}", nullptr, home + "/a/" + home},
        {"cache=/opt/npm\n", "cache=~/global\n", std::nullopt},
        {"#cache=~/commented\ncache=~/second\n", nullptr, home + "/second"},
        {"prefix=~/.npm-global\ncache\ncache=\n", "cache=~/from-global", home + "/from-global"},
        {nullptr, "cache=${HOME}/global-only", home + "/global-only"},
        {"cache=~\n", "cache=~/later", std::nullopt},
        {"cache=~other/npm", nullptr, std::nullopt},
        {"cache=~/x\xff", "cache=~/valid", home + "/valid"},
        {"cache=a=b", nullptr, std::nullopt},
    };
    for (const Case& testCase : cases) {
        std::filesystem::remove(home + "/.npmrc");
        std::filesystem::remove(global);
        if (testCase.user != nullptr)
            writeText(home + "/.npmrc", testCase.user);
        if (testCase.global != nullptr)
            writeText(global, testCase.global);
        EXPECT_EQ(RuleFamilies::npmCacheFolder(home, {otherGlobal, global}), testCase.expected)
            << (testCase.user ? testCase.user : "(none)") << " / " << (testCase.global ? testCase.global : "(none)");
    }

    // A home whose path is a prefix of a sister folder's does not own that folder.
    writeText(home + "/.npmrc", "cache=" + home + "-sister/npm");
    EXPECT_EQ(RuleFamilies::npmCacheFolder(home, {}), std::nullopt);
}

TEST(JavaScriptRulesTests, NpmCacheTakesTheConfiguredFolderButNeverThroughALink)
{
    test::TemporaryFolder home;
    test::TemporaryFolder personal;
    CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    home.makeFolder(".npm/_cacache");
    home.makeFolder("caches/npm/_cacache");
    home.makeFolder("caches/npm/_npx");
    home.makeFolder("caches/npm/_logs");
    writeText(home / ".npmrc", "cache=~/caches/npm\n");
    const auto npmPaths = [&env] { return javascriptItems(env).at(0).action.paths(); };
    EXPECT_EQ(npmPaths(), (Paths{home / ".npm/_cacache", home / "caches/npm/_cacache", home / "caches/npm/_npx",
                                 home / "caches/npm/_logs"}));

    writeText(home / ".npmrc", "cache = \"${HOME}/.npm\"\n");
    EXPECT_EQ(npmPaths(), (Paths{home / ".npm/_cacache"}));

    // A configured folder that leads out of the home through a link is not offered.
    personal.makeFolder("Documents/_cacache");
    home.makeSymlink(personal / "Documents", "linked");
    writeText(home / ".npmrc", "cache=~/linked\n");
    EXPECT_EQ(npmPaths(), (Paths{home / ".npm/_cacache"}));
    home.makeSymlink(personal.path(), "via");
    writeText(home / ".npmrc", "cache=~/via/Documents\n");
    EXPECT_EQ(npmPaths(), (Paths{home / ".npm/_cacache"}));
}

} // namespace
} // namespace tarno
