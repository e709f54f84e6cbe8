#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"

#include "Support/AppBundles.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace tarno {
namespace {

using Strings = std::vector<std::string>;

// The bundles' identifiers come first; the machine's own Flatpak apps and
// desktop entries follow them.
Strings bundleIDsFirst(const CleanupEnvironment& env, std::size_t count)
{
    Strings ids = env.installedBundleIDs();
    ids.resize(std::min(ids.size(), count));
    return ids;
}

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

    EXPECT_EQ(bundleIDsFirst(env, 3), (Strings{"com.example.editor", "", "com.example.tool"}));

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
    EXPECT_EQ(bundleIDsFirst(env, 3), (Strings{"com.example.editor", "", "com.example.viewer"}));
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

TEST(CleanupEnvironmentTests, LiveKnowsTheHomesFlatpakAppsAndDesktopEntries)
{
    // Another home: its folders are the defaults below it, whatever this process's variables say.
    test::TemporaryFolder home;
    home.makeFolder(".local/share/flatpak/app/org.acme.Tool");
    std::ofstream(home.makeFile(".local/share/applications/org.acme.Viewer.desktop"))
        << "[Desktop Entry]\nName=Acme Viewer\nExec=viewer\n";
    std::ofstream(home.makeFile(".local/share/flatpak/exports/share/applications/org.acme.Tool.desktop"))
        << "[Desktop Entry]\nName=Acme Tool\nExec=flatpak run org.acme.Tool\n";
    const CleanupEnvironment env = CleanupEnvironment::live(home.path());

    const Strings ids = env.installedBundleIDs();
    for (const char* id : {"org.acme.Tool", "org.acme.Viewer"})
        EXPECT_NE(std::find(ids.begin(), ids.end(), id), ids.end()) << id;
    EXPECT_TRUE(env.isAppInstalled({}, {"org.acme.Tool"}));
    EXPECT_TRUE(env.isAppInstalled({}, {"com.example.missing", "org.acme.Viewer"}));
    EXPECT_FALSE(env.isAppInstalled({}, {"org.acme.viewer"})) << "identifiers are compared exactly";
    EXPECT_EQ(env.appName("org.acme.Viewer"), "Acme Viewer");
    EXPECT_EQ(env.appName("org.acme.Tool"), "Acme Tool") << "from Flatpak's exported entry";
    EXPECT_EQ(env.appName("org.acme.Missing"), std::nullopt);
}

} // namespace
} // namespace tarno
