#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"

#include "Support/AppBundles.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>

namespace tarno {
namespace {

using Strings = std::vector<std::string>;

TEST(CleanupEnvironmentTests, LiveKnowsTheHomesApplicationsByIdentifier)
{
    if (std::filesystem::exists("/Applications") || std::filesystem::exists("/System/Applications"))
        GTEST_SKIP() << "this machine has applications of its own in the Mac's folders";
    test::TemporaryFolder home;
    test::makeAppBundle(home, "Applications/Editor.app", "com.example.editor");
    test::makeAppBundle(home, "Applications/Empty.app", "");
    test::makeBundleWithInfo(home, "Applications/Utilities/Tool Kit.app",
                             test::xmlInfo("<key>CFBundleIdentifier</key><string>com.example.tool</string>"));
    const CleanupEnvironment env = CleanupEnvironment::live(home.path());

    EXPECT_EQ(env.installedBundleIDs(), (Strings{"com.example.editor", "", "com.example.tool"}));

    EXPECT_TRUE(env.isAppInstalled({}, {"com.example.missing", "com.example.tool"}));
    EXPECT_TRUE(env.isAppInstalled({"Missing"}, {"com.example.editor"}));
    EXPECT_FALSE(env.isAppInstalled({"Missing"}, {"com.example.missing", "COM.EXAMPLE.EDITOR"}));
    EXPECT_FALSE(env.isAppInstalled({}, {""})) << "an empty identifier names no application";

    EXPECT_EQ(env.appName("com.example.tool"), "Tool Kit");
    EXPECT_EQ(env.appName("com.example.editor"), "Editor");
    EXPECT_EQ(env.appName("com.example.missing"), std::nullopt);
    EXPECT_EQ(env.appName(""), std::nullopt);

    // Nothing is remembered between calls: the folders are read again.
    std::filesystem::remove_all(home / "Applications/Utilities");
    test::makeAppBundle(home, "Applications/Viewer.app", "com.example.viewer");
    EXPECT_FALSE(env.isAppInstalled({}, {"com.example.tool"}));
    EXPECT_EQ(env.appName("com.example.tool"), std::nullopt);
    EXPECT_TRUE(env.isAppInstalled({}, {"com.example.viewer"}));
    EXPECT_EQ(env.appName("com.example.viewer"), "Viewer");
    EXPECT_EQ(env.installedBundleIDs(), (Strings{"com.example.editor", "", "com.example.viewer"}));
}

TEST(CleanupEnvironmentTests, AppNameIsTheFirstBundleWithTheIdentifier)
{
    if (std::filesystem::exists("/Applications") || std::filesystem::exists("/System/Applications"))
        GTEST_SKIP() << "this machine has applications of its own in the Mac's folders";
    test::TemporaryFolder home;
    test::makeAppBundle(home, "Applications/Code.app", "com.example.code");
    test::makeAppBundle(home, "Applications/Code Insiders.app", "com.example.code");
    test::makeAppBundle(home, "Applications/Version 2.0.app", "com.example.versioned");
    const CleanupEnvironment env = CleanupEnvironment::live(home.path());

    EXPECT_EQ(env.appName("com.example.code"), "Code Insiders") << "plain order: ' ' before '.'";
    EXPECT_EQ(env.appName("com.example.versioned"), "Version 2.0") << "only \".app\" is taken off";
}

} // namespace
} // namespace tarno
