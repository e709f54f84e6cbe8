#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;
using Version = std::vector<std::int64_t>;

constexpr const char* leftBehind = "Left behind by an update; the newer version copied what it needed. "
                                   "If you still run this version, it starts fresh.";

// The family's items by id; the order of products is not fixed.
std::map<std::string, CleanupItem> oldSettingsItems(const CleanupEnvironment& env)
{
    Builder builder(env);
    RuleFamilies::oldSettings(builder);
    std::map<std::string, CleanupItem> byId;
    for (CleanupItem& item : builder.takeItems())
        EXPECT_TRUE(byId.emplace(item.id, std::move(item)).second) << "one item for each id";
    return byId;
}

CleanupItem settingsItem(const std::string& name, const std::string& title, Paths paths)
{
    return test::ruleItem("ide." + name, title, CleanupCategory::developerTools, leftBehind, Safety::review,
                          CleanupAction::Delete{std::move(paths)}, 1000000);
}

TEST(OldSettingsRulesTests, IdeVersionSplitsProductFromVersion)
{
    const std::vector<std::pair<std::string, std::optional<RuleFamilies::IdeVersion>>> cases{
        {"PyCharm2024.1-backup", RuleFamilies::IdeVersion{"PyCharm", {2024, 1}}},
        {"WebStorm2024.3", RuleFamilies::IdeVersion{"WebStorm", {2024, 3}}},
        {"AndroidStudio2024.1.2", RuleFamilies::IdeVersion{"AndroidStudio", {2024, 1, 2}}},
        {"IdeaIC2023..2.", RuleFamilies::IdeVersion{"IdeaIC", {2023, 2}}},
        {"GoLand2024.1-EAP.3", RuleFamilies::IdeVersion{"GoLand", {2024, 3}}},
        {"Rider2024.+1.-2.+-3", RuleFamilies::IdeVersion{"Rider", {2024, 1, -2}}},
        {"CLion2024.99999999999999999999.1", RuleFamilies::IdeVersion{"CLion", {2024, 1}}},
        {"Fleet", std::nullopt},
        {"2024.1", std::nullopt},
        {"-backup", std::nullopt},
        {"", std::nullopt},
        {"Toolbox1x", std::nullopt},
        {"Rider2024-backup-backup", std::nullopt},
    };
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(RuleFamilies::ideVersion(name), expected) << name;
}

TEST(OldSettingsRulesTests, EveryVersionButTheNewestIsOfferedWithItsLogs)
{
    test::TemporaryFolder home;
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    EXPECT_TRUE(oldSettingsItems(env).empty());

    const std::string support = home.makeFolder("Library/Application Support/JetBrains");
    const std::string logs = home.makeFolder("Library/Logs/JetBrains");
    for (const char* name : {"WebStorm2024.1", "WebStorm2024.3", "PyCharm2024.2", "PyCharm2024.2-backup",
                             "CLion2024.1", "CLion2024.1.2", "RustRover2024.1-backup", "GoLand2023.3",
                             "Toolbox1.0", "Fleet", "consentOptions"})
        home.makeFolder("Library/Application Support/JetBrains/" + std::string(name));
    home.makeFolder("Library/Logs/JetBrains/WebStorm2024.1");
    home.makeFolder("Library/Logs/JetBrains/GoLand2023.2"); // logs alone start nothing
    const std::string google = home.makeFolder("Library/Application Support/Google");
    home.makeFolder("Library/Application Support/Google/AndroidStudio2023.3");
    home.makeFolder("Library/Application Support/Google/AndroidStudio2024.1");
    home.makeFolder("Library/Application Support/Google/AndroidStudio");
    home.makeFolder("Library/Application Support/Google/Chrome");

    EXPECT_EQ(oldSettingsItems(env),
              (std::map<std::string, CleanupItem>{
                  {"ide.WebStorm2024.1", settingsItem("WebStorm2024.1", "WebStorm 2024.1 settings and logs",
                                                      {support + "/WebStorm2024.1", logs + "/WebStorm2024.1"})},
                  {"ide.PyCharm2024.2-backup",
                   settingsItem("PyCharm2024.2-backup", "PyCharm 2024.2 backup settings and logs",
                                {support + "/PyCharm2024.2-backup"})},
                  {"ide.CLion2024.1",
                   settingsItem("CLion2024.1", "CLion 2024.1 settings and logs", {support + "/CLion2024.1"})},
                  {"ide.RustRover2024.1-backup",
                   settingsItem("RustRover2024.1-backup", "RustRover 2024.1 backup settings and logs",
                                {support + "/RustRover2024.1-backup"})},
                  {"ide.AndroidStudio2023.3",
                   settingsItem("AndroidStudio2023.3", "Android Studio 2023.3 settings and logs",
                                {google + "/AndroidStudio2023.3"})},
              }));
}

TEST(OldSettingsRulesTests, ALinuxHomeOffersConfigurationAndDataOfEachOldVersionAsOne)
{
    test::TemporaryFolder home;
    test::TemporaryFolder personal;
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    const std::string config = home.makeFolder(".config/JetBrains");
    const std::string data = home.makeFolder(".local/share/JetBrains");
    home.makeFolder(".config/JetBrains/IntelliJIdea2024.1");
    home.makeFolder(".config/JetBrains/IntelliJIdea2024.2");
    home.makeFolder(".local/share/JetBrains/IntelliJIdea2024.1/plugins");
    home.makeFolder(".local/share/JetBrains/IntelliJIdea2023.3"); // plugins alone start nothing
    // The Mac's newer version counts against Linux's older one: they are one list.
    home.makeFolder(".config/JetBrains/PhpStorm2023.3");
    home.makeFolder("Library/Application Support/JetBrains/PhpStorm2024.1");
    home.makeFolder(".config/Google/AndroidStudio2024.1");
    home.makeFolder(".config/Google/AndroidStudio2024.2");
    home.makeFolder(".local/share/Google/AndroidStudio2024.1");

    EXPECT_EQ(oldSettingsItems(env),
              (std::map<std::string, CleanupItem>{
                  {"ide.IntelliJIdea2024.1",
                   settingsItem("IntelliJIdea2024.1", "IntelliJ IDEA 2024.1 settings and logs",
                                {config + "/IntelliJIdea2024.1", data + "/IntelliJIdea2024.1"})},
                  {"ide.PhpStorm2023.3",
                   settingsItem("PhpStorm2023.3", "PhpStorm 2023.3 settings and logs", {config + "/PhpStorm2023.3"})},
                  {"ide.AndroidStudio2024.1",
                   settingsItem("AndroidStudio2024.1", "Android Studio 2024.1 settings and logs",
                                {home / ".config/Google/AndroidStudio2024.1",
                                 home / ".local/share/Google/AndroidStudio2024.1"})},
              }));

    // A vendor folder that is a link is not read: what it leads to is not the home's.
    personal.makeFolder("dotfiles/WebStorm2023.1");
    personal.makeFolder("dotfiles/WebStorm2024.1");
    std::filesystem::remove_all(config);
    home.makeSymlink(personal / "dotfiles", ".config/JetBrains");
    const auto items = oldSettingsItems(env);
    EXPECT_TRUE(std::none_of(items.begin(), items.end(),
                             [](const auto& entry) { return entry.first.starts_with("ide.WebStorm"); }));
}

} // namespace
} // namespace tarno
