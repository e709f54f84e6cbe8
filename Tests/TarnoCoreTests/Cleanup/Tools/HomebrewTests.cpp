#include "TarnoCore/Cleanup/Tools/Homebrew.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include <sys/stat.h>

namespace tarno {
namespace {

// A stand-in for brew that insists on the dry run's arguments and quiet environment, then runs `body`.
std::string fakeBrew(const test::TemporaryFolder& folder, const std::string& body, mode_t mode = 0755)
{
    const std::string path = folder.makeFile("brew-" + std::to_string(std::hash<std::string>{}(body)));
    std::ofstream(path) << "#!/bin/sh\n"
                           "[ \"$*\" = 'cleanup --dry-run' ] || exit 2\n"
                           "[ \"$HOMEBREW_NO_AUTO_UPDATE\" = 1 ] && [ \"$HOMEBREW_NO_ENV_HINTS\" = 1 ] || exit 3\n"
                        << body << "\n";
    ::chmod(path.c_str(), mode);
    return path;
}

TEST(HomebrewTests, ParseEstimateReadsBinaryUnits)
{
    const std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    const std::vector<std::pair<std::string, std::optional<std::int64_t>>> cases = {
        {"This operation would free approximately 1.5GB of disk space.", 1'610'612'736},
        {"approximately 1.5 GB", 1'610'612'736}, {"approximately 10B", 10}, {"approximately 3KB", 3072},
        {"approximately 2MB", 2'097'152}, {"approximately 1TB", 1'099'511'627'776},
        {"approximately 0.5\n\tKB", 512},
        {"approximately 1.9B", 1}, // truncated towards zero
        {"approximately 12 files, approximately 4KB", 4096}, {"approximately 1KX then approximately 5B", 5},
        {"approximately " + std::string(400, '9') + "TB", largest},
        {"approximately " + std::string(1'000'000, '9') + "GB", largest},
        {"Pruned 0 symbolic links from /opt/homebrew", std::nullopt}, {"", std::nullopt},
        {"approximately GB", std::nullopt}, {"Approximately 1.5GB", std::nullopt},
        {"approximately 1.5 gb", std::nullopt},  // units are upper case
        {"approximately  1.5GB", std::nullopt},  // one blank after the word
        {"approximately 1.2.3GB", std::nullopt}, // a run that is not a number
        {"approximately " + std::string(1'000'000, '.') + "B", std::nullopt},
    };
    for (const auto& [text, bytes] : cases)
        EXPECT_EQ(Homebrew::parseEstimate(text), bytes) << text.substr(0, 80);
}

TEST(HomebrewTests, CleanupItemFromTheDryRun)
{
    test::TemporaryFolder folder;
    const std::string brew = fakeBrew(folder, "echo 'Would remove: /opt/homebrew/Cellar/git/2.40'\n"
                                              "echo 'This operation would free approximately 1.5GB of disk space.'");
    const std::string skipped = fakeBrew(folder, "echo 'approximately 9GB'", 0644);

    EXPECT_EQ(Homebrew::cleanupItem({folder / "missing", skipped, brew}),
              (CleanupItem{"homebrew.oldVersions", "Homebrew: old versions", CleanupCategory::developerTools,
                           "None. Homebrew keeps them only so you could switch back.", Safety::safe,
                           CleanupAction::Run{brew, {"cleanup"}, {}}, false, 1'000'000, 1'610'612'736}));

    const auto onStandardError = Homebrew::cleanupItem({fakeBrew(folder, "echo 'approximately 2KB' >&2")});
    ASSERT_TRUE(onStandardError);
    EXPECT_EQ(onStandardError->knownBytes, 2048);
}

TEST(HomebrewTests, NoItemWhenBrewHasNothingToSay)
{
    test::TemporaryFolder folder;
    for (const std::string body : {"true", "echo 'approximately 0B'", "echo 'approximately 1GB'; exit 1"})
        EXPECT_FALSE(Homebrew::cleanupItem({fakeBrew(folder, body)})) << body;
    EXPECT_FALSE(Homebrew::cleanupItem({fakeBrew(folder, "echo 'approximately 1GB'", 0644)}));
    EXPECT_FALSE(Homebrew::cleanupItem(std::vector<std::string>{}));
}

} // namespace
} // namespace tarno
