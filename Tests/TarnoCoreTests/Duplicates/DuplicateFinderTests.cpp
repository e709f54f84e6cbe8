#include "TarnoCore/Duplicates/DuplicateFinder.hpp"

#include "Support/ReflinkVolume.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <mutex>

namespace tarno {
namespace {

using test::TemporaryFolder;
using ::testing::ElementsAre;
using Clock = std::chrono::system_clock;

// A file of `size` bytes of a repeating pattern, with `changes` bytes set at the given offsets.
std::string writeFile(const TemporaryFolder& folder, const std::string& relative, std::size_t size,
                      const std::vector<std::size_t>& changes = {})
{
    std::string content(size, '\0');
    for (std::size_t index = 0; index < size; ++index)
        content[index] = static_cast<char>('a' + index % 23);
    for (std::size_t offset : changes)
        content[offset] = '#';
    const std::string path = folder / relative;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::vector<std::vector<std::string>> namesOf(const std::vector<DuplicateGroup>& groups)
{
    std::vector<std::vector<std::string>> names;
    for (const DuplicateGroup& group : groups) {
        names.emplace_back();
        for (const DuplicateFile& file : group.files)
            names.back().push_back(file.name());
    }
    return names;
}

TEST(DuplicateFinderTests, TheFunnelJoinsOnlyWholeEqualContent)
{
    TemporaryFolder home;
    // Exactly the whole-file limit, different in the middle: told apart at once.
    writeFile(home, "Documents/edge-1", 131'072);
    writeFile(home, "Documents/edge-2", 131'072, {65'536});
    // Longer, different only between head and tail: told apart by the second pass.
    writeFile(home, "Documents/middle-1", 200'000);
    writeFile(home, "Documents/middle-2", 200'000, {100'000});
    // Three with one head and tail, two of them the same.
    writeFile(home, "Documents/large-1", 300'000);
    writeFile(home, "Documents/large-2", 300'000);
    writeFile(home, "Documents/large-3", 300'000, {150'000});
    writeFile(home, "Pictures/small-1", 100'000);
    writeFile(home, "Downloads/small-2", 100'000);
    writeFile(home, "Pictures/alone", 123'456);

    std::mutex lock;
    std::vector<DuplicateFinder::Stage> stages;
    const std::vector<DuplicateGroup> groups = DuplicateFinder::find(
        DuplicateFinder::defaultRoots(home.path()), 50'000, home.path(),
        [&](const DuplicateFinder::Stage& stage) {
            const std::lock_guard guard(lock);
            stages.push_back(stage);
        },
        [] { return false; });

    EXPECT_THAT(namesOf(groups), ElementsAre(ElementsAre("large-1", "large-2"), ElementsAre("small-1", "small-2")));
    for (const DuplicateGroup& group : groups) {
        // The hash is always the whole file's.
        EXPECT_EQ(group.hash, DuplicateFinder::digest(group.files[0].path, group.size, false));
        EXPECT_EQ(group.reclaimable(), group.files[1].bytes);
    }
    EXPECT_NE(DuplicateFinder::digest(home / "Documents/large-3", 300'000, true),
              DuplicateFinder::digest(home / "Documents/large-3", 300'000, false));
    // Nine files had a partner of their length; the count ends there once.
    const auto finished = std::count(stages.begin(), stages.end(), DuplicateFinder::Stage{DuplicateFinder::Comparing{9, 9}});
    EXPECT_EQ(finished, 1);
    EXPECT_TRUE(std::holds_alternative<DuplicateFinder::Looking>(stages.front()));

    // Nothing with a partner: no comparison at all.
    stages.clear();
    EXPECT_TRUE(DuplicateFinder::find({home / "Pictures"}, 110'000, home.path(), [&](const auto& stage) {
        const std::lock_guard guard(lock);
        stages.push_back(stage);
    }, [] { return false; }).empty());
    EXPECT_TRUE(std::all_of(stages.begin(), stages.end(),
                            [](const auto& stage) { return std::holds_alternative<DuplicateFinder::Looking>(stage); }));

    // What cannot be opened has no digest: gone, or a link put in its place.
    std::filesystem::create_symlink(home / "Pictures/alone", home / "Pictures/link");
    EXPECT_EQ(DuplicateFinder::digest(home / "Pictures/gone", 10, false), std::nullopt);
    EXPECT_EQ(DuplicateFinder::digest(home / "Pictures/link", 123'456, false), std::nullopt);
}

TEST(DuplicateFinderTests, ACancelDuringComparingReturnsOnlyWholeSets)
{
    TemporaryFolder home;
    for (int set = 0; set < 40; ++set) {
        for (int copy = 0; copy < 3; ++copy)
            writeFile(home, "Documents/set" + std::to_string(set) + "/copy" + std::to_string(copy),
                      static_cast<std::size_t>(60'000 + set * 4096));
    }
    std::atomic<bool> cancelled = false;
    const std::vector<DuplicateGroup> groups = DuplicateFinder::find(
        {home / "Documents"}, 50'000, home.path(),
        [&](const DuplicateFinder::Stage& stage) {
            if (std::holds_alternative<DuplicateFinder::Comparing>(stage))
                cancelled = true;
        },
        [&] { return cancelled.load(); });
    EXPECT_TRUE(cancelled);
    EXPECT_LT(groups.size(), 40u);
    // Each set is reported with all three of its copies, or not at all.
    for (const DuplicateGroup& group : groups) {
        ASSERT_EQ(group.files.size(), 3u);
        for (const DuplicateFile& file : group.files)
            EXPECT_EQ(DuplicateFinder::digest(file.path, group.size, false), group.hash);
    }
}

TEST(DuplicateFinderTests, TheKeeperIsTheOriginalOutsideDownloads)
{
    const std::string home = "/home/alex";
    const Clock::time_point old = Clock::time_point(std::chrono::hours(1000)), recent = old + std::chrono::hours(1);
    const auto file = [](std::string path, Clock::time_point created) {
        return DuplicateFile{std::move(path), 4096, created, created, 1};
    };
    const struct {
        std::vector<DuplicateFile> files;
        std::string keeper;
    } cases[] = {
        // The folder decides before the date and the name.
        {{file(home + "/Downloads/report.pdf", old), file(home + "/Documents/report.pdf", recent)},
         home + "/Documents/report.pdf"},
        {{file(home + "/Downloads/report.pdf", old), file(home + "/Documents/report copy.pdf", recent)},
         home + "/Documents/report copy.pdf"},
        // Then the name, then the date.
        {{file(home + "/Documents/report (1).pdf", old), file(home + "/Desktop/report.pdf", recent)},
         home + "/Desktop/report.pdf"},
        {{file(home + "/Documents/b/report.pdf", recent), file(home + "/Documents/a/report.pdf", old)},
         home + "/Documents/a/report.pdf"},
        // Equal dates: the shorter path, then the smaller.
        {{file(home + "/Documents/deep/report.pdf", old), file(home + "/Music/report.pdf", old)},
         home + "/Music/report.pdf"},
        {{file(home + "/Music/b.pdf", old), file(home + "/Music/a.pdf", old)}, home + "/Music/a.pdf"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(DuplicateFinder::keeperFirst(each.files, home).front().path, each.keeper);

    const struct {
        const char* name;
        bool isCopy;
    } names[] = {
        {"report copy.pdf", true},  {"report copy 2.pdf", true}, {"report (3).pdf", true}, {"notes copy", true},
        {"Copy of report.pdf", false}, {"report COPY.pdf", false}, {"report copy.tar.gz", false},
        {"report(1).pdf", false},   {"report copy2.pdf", false}, {"IMG 2024.jpg", false},
        {"scan (12).tif", true},    {"report ().pdf", false},    {"(1).pdf", false}, {".hidden copy", true},
    };
    for (const auto& each : names)
        EXPECT_EQ(DuplicateFinder::looksLikeACopy(each.name), each.isCopy) << each.name;
}

// Clones share their blocks: a set of clones gives nothing back, and a
// clone pair inside a larger set counts once.
TEST(DuplicateFinderTests, ClonesAreCountedOnce)
{
    test::expectNoFindingsOnReflinkVolumes([](const TemporaryFolder& root, const std::string&) -> std::string {
        const std::string original = writeFile(root, "Documents/photo.raw", 400'000);
        writeFile(root, "Documents/other/photo.raw", 400'000);
        const std::string lone = writeFile(root, "Pictures/scan.tif", 300'000);
        if (!test::reflinkCopy(original, root / "Pictures/photo clone.raw")
            || !test::reflinkCopy(lone, root / "Pictures/scan copy.tif"))
            return "skip: this volume makes no reflinks";
        ::sync(); // written data gets its extents, as any file that is not brand new has
        const auto groups = DuplicateFinder::find({root / "Documents", root / "Pictures"}, 100'000, root.path(),
                                                  {}, [] { return false; });
        if (groups.size() != 2)
            return "expected two sets, found " + std::to_string(groups.size());
        std::string findings;
        const DuplicateGroup& photos = groups[0];
        const DuplicateGroup& scans = groups[1];
        if (photos.files.size() != 3 || scans.files.size() != 2)
            findings += "the sets do not hold every copy; ";
        // Of three photos two share blocks: removing both others frees one copy's worth.
        if (photos.reclaimable() != photos.files[0].bytes)
            findings += "a clone pair in a set of three is not counted once; ";
        if (scans.reclaimable() != 0)
            findings += "a set of clones gives something back; ";
        return findings;
    });
}

} // namespace
} // namespace tarno
