#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;

constexpr const char* imageExists = "Deletes the emulator and everything stored on it.";
constexpr const char* imageGone =
    "Deletes the emulator and its data. Its system image is no longer installed, so it cannot start as it is.";

using test::writeText;

std::vector<CleanupItem> androidItems(const std::string& home) { return test::familyItems(home, RuleFamilies::android); }

TEST(AndroidRulesTests, GradleAndStudioCachesKeepWhatExists)
{
    test::TemporaryFolder home;
    EXPECT_TRUE(androidItems(home.path()).empty());

    home.makeFolder(".gradle/caches/modules-2");
    home.makeFolder(".gradle/daemon/8.5");
    home.makeFolder(".gradle/wrapper"); // no dists
    home.makeFolder(".gradle/native");
    const std::string studio = home.makeFolder("Library/Caches/Google/AndroidStudio2024.1");
    const std::string studioOld = home.makeFolder("Library/Caches/Google/AndroidStudio2023.3");
    home.makeFolder("Library/Caches/Google/Chrome");
    home.makeFolder("Library/Caches/Google/androidstudio-lowercase");
    // Linux keeps them in the cache folder, after the Mac's in the item.
    const std::string linuxStudio = home.makeFolder(".cache/Google/AndroidStudio2024.2");
    home.makeFolder(".cache/Google/Chrome");

    const auto items = androidItems(home.path());
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0], (CleanupItem{"gradle.caches", "Gradle caches and downloaded Gradle versions",
                                     CleanupCategory::android, "The next Gradle build downloads its dependencies again.",
                                     Safety::safe, CleanupAction::Delete{{home / ".gradle/caches", home / ".gradle/daemon"}},
                                     false, 1, std::nullopt}));
    EXPECT_EQ(items[1], (CleanupItem{"android.studioCaches", "Android Studio caches", CleanupCategory::android,
                                     "Android Studio re-indexes each project the next time you open it.", Safety::safe,
                                     CleanupAction::Delete{{studioOld, studio, linuxStudio}}, false, 1, std::nullopt}));
}

TEST(AndroidRulesTests, EachEmulatorFolderIsOfferedWithItsIniForReview)
{
    test::TemporaryFolder home;
    const std::string avd = home.makeFolder(".android/avd");
    home.makeFolder(".android/avd/Pixel_6_API_33.avd");
    home.makeFile(".android/avd/Pixel_6_API_33.ini", 10);
    home.makeFolder(".android/avd/Nexus_5.avd"); // its .ini is missing
    writeText(avd + "/Nexus_5.avd/config.ini", "image.sysdir.1=system-images/android-34/default/x86_64/\n");
    home.makeFile(".android/avd/Stray_Only.ini", 10);
    home.makeFolder(".android/avd/notes");

    const auto items = androidItems(home.path());
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0], (CleanupItem{"android.avd.Nexus_5", "Emulator: Nexus 5", CleanupCategory::android, imageGone,
                                     Safety::review, CleanupAction::Delete{{avd + "/Nexus_5.avd"}}, false, 1,
                                     std::nullopt}));
    EXPECT_EQ(items[1], (CleanupItem{"android.avd.Pixel_6_API_33", "Emulator: Pixel 6 API 33", CleanupCategory::android,
                                     imageExists, Safety::review,
                                     CleanupAction::Delete{{avd + "/Pixel_6_API_33.avd", avd + "/Pixel_6_API_33.ini"}},
                                     false, 1, std::nullopt}));
}

TEST(AndroidRulesTests, AvdSystemImageExistsReadsTheFirstWellFormedSysdirLine)
{
    test::TemporaryFolder home;
    const std::string avd = home.makeFolder(".android/avd/Test.avd");
    const std::string config = avd + "/config.ini";
    home.makeFolder("Library/Android/sdk/system-images/android-33/google_apis/arm64-v8a");
    const auto existsWith = [&](std::string_view text) {
        writeText(config, text);
        return RuleFamilies::avdSystemImageExists(avd, home.path());
    };

    EXPECT_TRUE(RuleFamilies::avdSystemImageExists(avd, home.path())) << "no config.ini";
    EXPECT_TRUE(existsWith("image.sysdir.1 = system-images/android-33/google_apis/arm64-v8a/"));
    EXPECT_TRUE(existsWith("avd.ini.encoding=UTF-8\nimage.sysdir.1 = system-images/android-33/google_apis/arm64-v8a/\n"
                           "image.sysdir.1=system-images/android-99/ignored/\n"));
    EXPECT_FALSE(existsWith("\r\n\timage.sysdir.1\t=\tsystem-images/android-34/default/x86_64/\r\n"));
    EXPECT_FALSE(existsWith("image.sysdir.1 = system-images/android-34/google_apis/arm64-v8a/"));
    EXPECT_TRUE(existsWith("hw.lcd.density=440\n")) << "no image named";
    EXPECT_TRUE(existsWith("image.sysdir.1=\n")) << "a key alone is one part";
    EXPECT_TRUE(existsWith("image.sysdir.2 = system-images/android-34/\n"));
    EXPECT_FALSE(existsWith("=image.sysdir.1=system-images/gone/")) << "a leading '=' is skipped";
    EXPECT_FALSE(existsWith("image.sysdir.1=system-images/gone\nimage.sysdir.1=system-images/android-33/"))
        << "the first line decides";
    home.makeFolder("Library/Android/sdk/system-images/odd=name");
    EXPECT_TRUE(existsWith("image.sysdir.1=system-images/odd=name")) << "only the first '=' splits";
    EXPECT_TRUE(existsWith("image.sysdir.1 = system-images/gone/\xff\n")) << "not UTF-8: unreadable";

    // Linux's SDK place counts as well as the Mac's.
    home.makeFolder("Android/Sdk/system-images/android-35/google_apis/x86_64");
    EXPECT_TRUE(existsWith("image.sysdir.1=system-images/android-35/google_apis/x86_64/"));
    EXPECT_FALSE(existsWith("image.sysdir.1=system-images/android-35/default/x86_64/"));

    // A folder that is not there reads as no configuration at all.
    EXPECT_TRUE(RuleFamilies::avdSystemImageExists(home / "missing.avd", home.path()));

    // A blank value names no image: below the SDK it would name the SDK itself.
    EXPECT_EQ(RuleFamilies::avdSystemImage("image.sysdir.1 = \t\r\nimage.sysdir.1=later/\n"), std::nullopt);
    EXPECT_EQ(RuleFamilies::avdSystemImage("image.sysdir.1 = images/a b/\n"), "images/a b/");
}

TEST(AndroidRulesTests, TheCatalogRunsTheFamiliesInTheirFixedOrderAndListsByCategory)
{
    test::TemporaryFolder home;
    home.makeFolder(".android/avd/Pixel_8.avd");
    home.makeFolder(".gradle/caches");
    home.makeFolder("Library/Developer/Xcode/Archives");
    home.makeFolder("Library/Developer/Xcode/DerivedData");
    home.makeFolder(".npm/_cacache");
    home.makeFolder(".cache/yarn");
    home.makeFolder(".dartServer");
    home.makeFolder(".cache/pip");
    home.makeFolder(".docker/scout");
    home.makeFolder(".config/JetBrains/GoLand2024.1");
    home.makeFolder(".config/JetBrains/GoLand2024.2");
    home.makeFolder(".config/google-chrome/OptGuideOnDeviceModel");
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());

    const auto ids = [&env] { return test::idsOf(CleanupCatalog::items(env)); };
    // Category by category: docker.scout of the developer tools lists under
    // Docker, before them; Chrome's model lists under Apps, after them.
    EXPECT_EQ(ids(), (Paths{"xcode.derivedData", "xcode.archives", "gradle.caches", "android.avd.Pixel_8", "npm.cache",
                            "yarn.cache", "dart.analysis", "docker.scout", "pip.cache", "ide.GoLand2024.1",
                            "chrome.onDeviceModel"}));
    EXPECT_EQ(ids(), ids()) << "an unchanged disk gives the same items";
}

} // namespace
} // namespace tarno
