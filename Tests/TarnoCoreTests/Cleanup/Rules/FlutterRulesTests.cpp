#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

using CleanupCatalog::Builder;

using test::writeText;

std::vector<CleanupItem> flutterItems(const std::string& home) { return test::familyItems(home, RuleFamilies::flutter); }

// An SDK folder that the rules recognise: it has bin/flutter.
std::string makeSdk(const test::TemporaryFolder& home, const std::string& relative)
{
    home.makeFile(relative + "/bin/flutter", 10);
    return home / relative;
}

CleanupItem sdkItem(const std::string& path, const std::string& display, const std::string& version,
                    const std::string& consequence)
{
    return test::ruleItem("flutter.sdk." + display, "Flutter " + version + " SDK in " + display,
                          CleanupCategory::flutter, consequence, Safety::review, CleanupAction::Delete{{path}});
}

TEST(FlutterRulesTests, TheToolCachesInOrderWordForWord)
{
    test::TemporaryFolder home;
    EXPECT_TRUE(flutterItems(home.path()).empty());

    home.makeFolder(".dartServer/.analysis-driver");
    home.makeFolder(".pub-cache/hosted/pub.dev");
    home.makeFolder(".pub-cache/bin"); // activated tools stay
    home.makeFolder(".shorebird/bin/cache/flutter");

    EXPECT_EQ(flutterItems(home.path()),
              (std::vector<CleanupItem>{
                  {"dart.analysis", "Dart analysis cache", CleanupCategory::flutter,
                   "The first analysis after reopening a project is slower.", Safety::safe,
                   CleanupAction::Delete{{home / ".dartServer"}}, false, 1, std::nullopt},
                  {"pub.cache", "Pub package cache", CleanupCategory::flutter,
                   "Every project needs \"flutter pub get\" again, and globally activated tools may need reactivating.",
                   Safety::review, CleanupAction::Delete{{home / ".pub-cache/hosted"}}, false, 1, std::nullopt},
                  {"shorebird.cache", "Shorebird's copies of Flutter", CleanupCategory::flutter,
                   "Shorebird downloads the one it needs again on its next run, a few minutes for each.",
                   Safety::review, CleanupAction::Delete{{home / ".shorebird/bin/cache"}}, false, 1, std::nullopt},
              }));
}

TEST(FlutterRulesTests, EverySdkButFvmsDefaultIsOfferedWithItsVersion)
{
    test::TemporaryFolder home;
    test::TemporaryFolder elsewhere;
    const std::string old = makeSdk(home, "fvm/versions/3.19.0");
    writeText(old + "/version", "3.19.0\n");
    writeText(makeSdk(home, "fvm/versions/3.22.0") + "/version", "3.22.0\n");
    home.makeSymlink(home / "fvm/versions/3.22.0", "fvm/default");
    home.makeFolder("fvm/versions/stable"); // no bin/flutter: not an SDK
    writeText(makeSdk(elsewhere, "sdk") + "/version", "3.0.0");
    home.makeSymlink(elsewhere / "sdk", "fvm/versions/linked"); // never followed
    const std::string development = makeSdk(home, "development/flutter");
    home.makeFolder("development/flutter/bin/cache");
    writeText(development + "/bin/cache/flutter.version.json", R"({"frameworkVersion": "3.24.3"})");
    const std::string snap = makeSdk(home, "snap/flutter/common/flutter"); // Linux's snap: no version known

    const char* elsewhereConsequence = "Projects or editors that point at this SDK need another one.";
    EXPECT_EQ(flutterItems(home.path()),
              (std::vector<CleanupItem>{
                  sdkItem(old, "~/fvm/versions/3.19.0", "3.19.0",
                          "fvm installs it again with \"fvm install 3.19.0\" if a project asks for it."),
                  sdkItem(development, "~/development/flutter", "3.24.3", elsewhereConsequence),
                  sdkItem(snap, "~/snap/flutter/common/flutter", "unknown version", elsewhereConsequence),
              }));

    // A relative default link with a trailing slash names the same version;
    // without a default link, every version is offered.
    std::filesystem::remove(home / "fvm/default");
    home.makeSymlink("versions/3.19.0/", "fvm/default");
    EXPECT_EQ(flutterItems(home.path()).at(0).id, "flutter.sdk.~/fvm/versions/3.22.0");
    std::filesystem::remove(home / "fvm/default");
    EXPECT_EQ(flutterItems(home.path()).size(), 4U);
}

TEST(FlutterRulesTests, FlutterVersionPrefersTheVersionFileThenTheJson)
{
    test::TemporaryFolder sdk;
    sdk.makeFolder("bin/cache");
    struct Case {
        const char* versionFile; // nullptr: no file
        const char* json;        // nullptr: no file
        std::optional<std::string> expected;
    };
    const std::vector<Case> cases{
        {nullptr, nullptr, std::nullopt},
        {" 3.24.1\n\n", R"({"frameworkVersion": "3.0.0"})", "3.24.1"},
        {"", R"({"frameworkVersion": "3.19.6", "flutterVersion": "3.19.0"})", "3.19.6"},
        {" \n\t", R"({"flutterVersion": "3.16.9"})", "3.16.9"},
        {nullptr, R"({"frameworkVersion": 3, "flutterVersion": "3.13.0"})", "3.13.0"},
        {nullptr, R"({"channel": "stable"})", std::nullopt},
        {nullptr, R"(["3.24.3"])", std::nullopt},
        {nullptr, R"({"frameworkVersion": "3.24.3")", std::nullopt},
        {"", "", std::nullopt},
    };
    for (const Case& testCase : cases) {
        std::filesystem::remove(sdk / "version");
        std::filesystem::remove(sdk / "bin/cache/flutter.version.json");
        if (testCase.versionFile != nullptr)
            writeText(sdk / "version", testCase.versionFile);
        if (testCase.json != nullptr)
            writeText(sdk / "bin/cache/flutter.version.json", testCase.json);
        EXPECT_EQ(RuleFamilies::flutterVersion(sdk.path()), testCase.expected)
            << (testCase.versionFile ? testCase.versionFile : "(none)") << " / "
            << (testCase.json ? testCase.json : "(none)");
    }
}

} // namespace
} // namespace tarno
