#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;

constexpr const char* xcodeFolder = "Library/Developer/Xcode";

using test::idsOf;

std::vector<CleanupItem> xcodeItems(const CleanupEnvironment& env) { return test::familyItems(env, RuleFamilies::xcode); }

CleanupEnvironment withSimulators(const std::string& home, std::vector<SimulatorDevice> devices)
{
    CleanupEnvironment env = CleanupEnvironment::empty(home);
    env.simulators = [devices = std::move(devices)] { return devices; };
    return env;
}

TEST(XcodeRulesTests, AFullHomeGivesEveryRowInOrderWordForWord)
{
    test::TemporaryFolder home;
    const std::string x = home / xcodeFolder;
    home.makeFile(std::string(xcodeFolder) + "/DerivedData/App-abc/Build/app.o", 100);
    for (const char* platform : {"iOS", "watchOS", "tvOS", "visionOS"})
        home.makeFolder(std::string(xcodeFolder) + "/" + platform + " DeviceSupport/1.0");
    home.makeFolder(std::string(xcodeFolder) + "/UserData/IB Support");
    home.makeFolder(std::string(xcodeFolder) + "/UserData/Previews");
    home.makeFolder("Library/Developer/CoreSimulator/Devices/DEAD-1");
    home.makeFolder("Library/Developer/CoreSimulator/Caches/dyld");
    home.makeFolder("Library/Caches/CocoaPods/Pods");
    home.makeFolder(std::string(xcodeFolder) + "/Archives/2024-05-01");
    home.makeFile(std::string(xcodeFolder) + "/UserData/KeyBindings/Default.idekeybindings", 10);

    const auto items = xcodeItems(withSimulators(home.path(), {{"DEAD-1", "iPhone 15", "iOS 17.0", false}}));
    using Action = CleanupAction;
    const std::vector<CleanupItem> expected = {
        {"xcode.derivedData", "Build data (DerivedData)", CleanupCategory::xcode,
         "The next build of each project starts from scratch.", Safety::safe,
         Action::DeleteContents{{x + "/DerivedData"}}, false, 1, std::nullopt},
        {"xcode.deviceSupport", "Device support files", CleanupCategory::xcode,
         "Xcode copies them again the next time you connect a device.", Safety::safe,
         Action::DeleteContents{{x + "/iOS DeviceSupport", x + "/watchOS DeviceSupport", x + "/tvOS DeviceSupport",
                                 x + "/visionOS DeviceSupport"}},
         false, 1, std::nullopt},
        {"xcode.ibSupport", "Interface Builder simulators", CleanupCategory::xcode,
         "Xcode recreates them when it next needs them.", Safety::safe, Action::Delete{{x + "/UserData/IB Support"}},
         false, 1, std::nullopt},
        {"xcode.previews", "SwiftUI preview data", CleanupCategory::xcode,
         "Previews rebuild the next time you open one.", Safety::safe, Action::Delete{{x + "/UserData/Previews"}},
         false, 1, std::nullopt},
        {"xcode.simulators.unavailable", "Simulators for iOS 17.0 (1 device)", CleanupCategory::xcode,
         "None. Those system versions are no longer installed, so these simulators cannot start.", Safety::safe,
         Action::Run{"/usr/bin/xcrun",
                     {"simctl", "delete", "unavailable"},
                     {home / "Library/Developer/CoreSimulator/Devices/DEAD-1"}},
         false, 1, std::nullopt},
        {"xcode.simulatorCaches", "Simulator caches", CleanupCategory::xcode,
         "Simulators rebuild them on their next launch.", Safety::safe,
         Action::DeleteContents{{home / "Library/Developer/CoreSimulator/Caches"}}, false, 1, std::nullopt},
        {"xcode.cocoapods", "CocoaPods cache", CleanupCategory::xcode, "Pods download again on the next pod install.",
         Safety::safe, Action::Delete{{home / "Library/Caches/CocoaPods"}}, false, 1, std::nullopt},
        {"xcode.archives", "Archives", CleanupCategory::xcode,
         "You can no longer re-export these builds or symbolicate their crash reports.", Safety::review,
         Action::DeleteContents{{x + "/Archives"}}, false, 1, std::nullopt},
    };
    ASSERT_EQ(items.size(), expected.size()) << ::testing::PrintToString(idsOf(items));
    for (std::size_t index = 0; index < expected.size(); ++index)
        EXPECT_EQ(items[index], expected[index]) << expected[index].id;
}

TEST(XcodeRulesTests, OnlyPresentPathsAreOfferedAndClaimed)
{
    test::TemporaryFolder home;
    EXPECT_TRUE(xcodeItems(CleanupEnvironment::empty(home.path())).empty());

    // One of the four device support folders, and a Library with nothing else known.
    const std::string watch = home.makeFolder(std::string(xcodeFolder) + "/watchOS DeviceSupport");
    home.makeFolder(std::string(xcodeFolder) + "/UserData/CodeSnippets");
    home.makeFolder("Library/Caches/com.apple.dt.Xcode");
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    Builder builder(env);
    RuleFamilies::xcode(builder);
    ASSERT_EQ(idsOf(builder.items()), Paths{"xcode.deviceSupport"});
    EXPECT_EQ(builder.items()[0].action.paths(), Paths{watch});
    EXPECT_EQ(builder.claimed(), Paths{watch});
}

TEST(XcodeRulesTests, UnavailableSimulatorsNameTheirRuntimesOnceAndCountEveryDevice)
{
    test::TemporaryFolder home;
    const std::string devices = home.makeFolder("Library/Developer/CoreSimulator/Devices");
    home.makeFolder("Library/Developer/CoreSimulator/Devices/A");
    home.makeFolder("Library/Developer/CoreSimulator/Devices/C");
    home.makeFolder("Library/Developer/CoreSimulator/Devices/LIVE");

    const auto items = xcodeItems(withSimulators(home.path(), {
                                                                  {"C", "iPad", "iOS 18.4", false},
                                                                  {"LIVE", "iPhone 16", "iOS 18.4", true},
                                                                  {"A", "iPhone 15", "iOS 18.2", false},
                                                                  {"B", "iPhone 14", "iOS 18.2", false},
                                                              }));
    ASSERT_EQ(idsOf(items), Paths{"xcode.simulators.unavailable"});
    EXPECT_EQ(items[0].title, "Simulators for iOS 18.2, iOS 18.4 (3 devices)") << "B's folder is gone but B counts";
    EXPECT_EQ(items[0].action.paths(), (Paths{devices + "/C", devices + "/A"}));
    EXPECT_FALSE(items[0].requiresAdmin);

    // The folders there are claimed, so no later family offers them again.
    const CleanupEnvironment env = withSimulators(home.path(), {{"A", "iPhone 15", "iOS 18.2", false}});
    Builder builder(env);
    RuleFamilies::xcode(builder);
    EXPECT_EQ(builder.claimed(), Paths{devices + "/A"});
    EXPECT_TRUE(builder.isClaimed(devices + "/A/data"));

    const auto sameRuntime = xcodeItems(withSimulators(home.path(), {{"A", "iPhone 15", "iOS 17.5", false},
                                                                     {"C", "iPad", "iOS 17.5", false}}));
    ASSERT_EQ(sameRuntime.size(), 1U);
    EXPECT_EQ(sameRuntime[0].title, "Simulators for iOS 17.5 (2 devices)");
}

TEST(XcodeRulesTests, UnavailableSimulatorsWithoutFoldersOrAvailableOnesAddNothing)
{
    test::TemporaryFolder home;
    home.makeFolder("Library/Developer/CoreSimulator/Devices/LIVE");
    home.makeFolder("Documents");
    const std::vector<std::vector<SimulatorDevice>> offeringNothing = {
        {{"GONE-1", "iPhone", "iOS 16.0", false}, {"GONE-2", "iPhone", "iOS 16.0", false}},
        {{"LIVE", "iPhone", "iOS 18.0", true}},
        {},
        // A udid that is not one folder name cannot steer the item to another folder.
        {{"../../../../Documents", "x", "iOS 1", false}, {"..", "x", "iOS 1", false}},
    };
    for (const auto& devices : offeringNothing)
        EXPECT_TRUE(xcodeItems(withSimulators(home.path(), devices)).empty()) << devices.size();
}

} // namespace
} // namespace tarno
