#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;

using test::ruleItem;
constexpr auto item = [](auto&&... fields) { return ruleItem(std::forward<decltype(fields)>(fields)...); };

std::vector<CleanupItem> developerToolsItems(const CleanupEnvironment& env)
{
    return test::familyItems(env, RuleFamilies::developerTools);
}

TEST(DeveloperToolsRulesTests, AMacHomeGivesEveryRowInOrderWordForWord)
{
    test::TemporaryFolder home;
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    EXPECT_TRUE(developerToolsItems(env).empty());

    for (const char* folder : {"Library/Caches/Homebrew/downloads", "Library/Caches/JetBrains/IntelliJIdea2024.1",
                               "Library/Caches/pip/http", "Library/Caches/go-build/00", ".cargo/registry/cache/index",
                               ".cargo/registry/src", ".local/share/kraftkit/runtime/oci/blobs", ".docker/scout/sbom",
                               ".m2/repository/org"})
        home.makeFolder(folder);

    const CleanupCategory tools = CleanupCategory::developerTools;
    EXPECT_EQ(developerToolsItems(env),
              (std::vector<CleanupItem>{
                  item("homebrew.cache", "Homebrew downloads", tools,
                       "None. Homebrew keeps them only so a reinstall can skip the download.", Safety::safe,
                       CleanupAction::Delete{{home / "Library/Caches/Homebrew"}}),
                  item("jetbrains.caches", "JetBrains IDE caches", tools,
                       "The IDE re-indexes each project the next time you open it.", Safety::safe,
                       CleanupAction::DeleteContents{{home / "Library/Caches/JetBrains"}}),
                  item("pip.cache", "pip cache", tools, "Packages download again on the next install.", Safety::safe,
                       CleanupAction::Delete{{home / "Library/Caches/pip"}}),
                  item("go.buildCache", "Go build cache", tools, "The next Go build compiles everything again.",
                       Safety::safe, CleanupAction::Delete{{home / "Library/Caches/go-build"}}),
                  item("cargo.cache", "Cargo download cache", tools, "Crates download again when a build needs them.",
                       Safety::safe, CleanupAction::Delete{{home / ".cargo/registry/cache"}}),
                  item("kraftkit.packages", "KraftKit unikernel images", tools,
                       "kraft downloads the images it needs again on the next build.", Safety::review,
                       CleanupAction::DeleteContents{{home / ".local/share/kraftkit/runtime/oci"}}),
                  item("docker.scout", "Docker Scout cache", CleanupCategory::docker,
                       "Rebuilt the next time Docker Scout analyses an image.", Safety::safe,
                       CleanupAction::Delete{{home / ".docker/scout"}}),
                  item("maven.repository", "Maven repository", tools, "Dependencies download again on the next build.",
                       Safety::review, CleanupAction::Delete{{home / ".m2/repository"}}),
              }));
}

TEST(DeveloperToolsRulesTests, ALinuxHomeIsLookedAtInItsCacheFolderAndAptsPackagesOneByOne)
{
    test::TemporaryFolder home;
    test::TemporaryFolder system;
    test::TemporaryFolder personal;
    CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    home.makeFolder(".cache/Homebrew/downloads");
    home.makeFolder(".cache/JetBrains/WebStorm2024.3");
    home.makeFolder(".cache/pip/wheels");
    home.makeFolder("Library/Caches/pip"); // both places at once
    home.makeFolder(".cache/go-build/ff");
    // A link inside a cache is removed as itself; nothing it leads to is offered.
    personal.makeFile("Documents/thesis.pdf", 100);
    home.makeSymlink(personal / "Documents", ".cache/pip/wheels/Documents");

    const std::string archives = system.makeFolder("var/cache/apt/archives");
    const std::string curl = system.makeFile("var/cache/apt/archives/curl_7.88.1-10_amd64.deb", 100);
    const std::string zlib = system.makeFile("var/cache/apt/archives/zlib1g_1.2.13_amd64.deb", 100);
    system.makeFile("var/cache/apt/archives/lock");
    system.makeFile("var/cache/apt/archives/partial/vim_9.0_amd64.deb", 100);
    system.makeFolder("var/cache/apt/archives/odd.deb"); // not a package file
    system.makeSymlink(personal / "Documents/thesis.pdf", "var/cache/apt/archives/thesis.deb");
    env.aptArchives = archives;

    using Rows = std::vector<std::pair<std::string, Paths>>;
    const auto rows = [&env] {
        Rows found;
        for (const CleanupItem& each : developerToolsItems(env))
            found.emplace_back(each.id, each.action.paths());
        return found;
    };
    EXPECT_EQ(rows(), (Rows{{"homebrew.cache", {home / ".cache/Homebrew"}},
                            {"jetbrains.caches", {home / ".cache/JetBrains"}},
                            {"pip.cache", {home / "Library/Caches/pip", home / ".cache/pip"}},
                            {"go.buildCache", {home / ".cache/go-build"}},
                            {"apt.archives", {curl, zlib}}}));
    EXPECT_EQ(developerToolsItems(env).back(),
              item("apt.archives", "Downloaded system packages", CleanupCategory::developerTools,
                   "None. The package manager downloads a package again if it needs it.", Safety::safe,
                   CleanupAction::Delete{{curl, zlib}}));

    // No package files, no item; the folder itself is never offered.
    std::filesystem::remove(curl);
    std::filesystem::remove(zlib);
    EXPECT_EQ(rows().back().first, "go.buildCache");
}

} // namespace
} // namespace tarno
