#include "TarnoCore/Cleanup/CleanupItem.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace tarno {
namespace {

using Paths = std::vector<std::string>;

TEST(CleanupActionTests, PathsPermanenceAndKindOfEachCase)
{
    using Action = CleanupAction;
    const std::vector<std::tuple<CleanupAction, Paths, bool, std::string_view>> cases = {
        {Action::Delete{{"/h/a", "/h/b"}}, {"/h/a", "/h/b"}, true, "delete"},
        {Action::DeleteContents{{"/h/c"}}, {"/h/c"}, true, "deleteContents"},
        {Action::Trash{{"/h/d"}}, {"/h/d"}, false, "trash"},
        // A tool's item is measured by what the tool reduces, never by the tool.
        {Action::Run{"/usr/bin/tool", {"clean", "--all"}, {"/h/e"}}, {"/h/e"}, true, "run"},
        {Action::Run{"/usr/bin/tool", {}, {}}, {}, true, "run"},
        // clearFirst lies inside the worktree: only the worktree is measured.
        {Action::RemoveWorktree{"/h/repo", "/h/wt", {"/h/wt/node_modules"}}, {"/h/wt"}, true, "removeWorktree"},
    };
    for (const auto& [action, paths, permanent, kind] : cases) {
        EXPECT_EQ(action.paths(), paths) << kind;
        EXPECT_EQ(action.isPermanent(), permanent) << kind;
        EXPECT_EQ(action.kindName(), kind);
    }
    EXPECT_NE(CleanupAction{Action::Delete{{"/h/a"}}}, CleanupAction{Action::Trash{{"/h/a"}}});
}

TEST(CleanupCategoryTests, RawValuesNameTheirOwnCaseInScreenOrder)
{
    for (std::size_t index = 0; index < allCleanupCategories.size(); ++index) {
        const CleanupCategory category = allCleanupCategories[index];
        EXPECT_EQ(static_cast<std::size_t>(category), index);
        EXPECT_EQ(cleanupCategory(rawValue(category)), category) << rawValue(category);
    }
    EXPECT_EQ(title(CleanupCategory::flutter), "Flutter and Dart");
    EXPECT_EQ(symbol(CleanupCategory::trash), "trash");
    EXPECT_EQ(cleanupCategory("Xcode"), std::nullopt);

    for (const Safety level : {Safety::safe, Safety::review})
        EXPECT_EQ(safety(rawValue(level)), level);
    EXPECT_EQ(safety("Your call"), std::nullopt);
}

CleanupItem itemFor(const std::string& path, std::optional<std::int64_t> knownBytes)
{
    return CleanupItem{"test.item", "Test", CleanupCategory::apps, "Nothing.", Safety::safe,
                       CleanupAction::Delete{{path}}, false, 1, knownBytes};
}

TEST(CleanupItemTests, KnownBytesStandForTheSizeWithoutReadingTheDisk)
{
    test::TemporaryFolder home;
    const std::string file = home.makeFile("cache.bin", 64 * 1024);
    ASSERT_GT(SizeScanner::measure({file}).bytes, 0); // so a zero below can only come from knownBytes

    EXPECT_EQ(itemFor(file, 0).measure(), SizeResult{});
    EXPECT_EQ(itemFor(file, 1234).measure(), (SizeResult{1234, 0, 0, std::nullopt}));
}

TEST(CleanupItemTests, WithoutKnownBytesTheActionsPathsAreMeasured)
{
    test::TemporaryFolder home;
    const std::string file = home.makeFile("cache/a.bin", 64 * 1024);
    home.makeFile("cache/b.bin", 8 * 1024);
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);

    const SizeResult single = itemFor(file, std::nullopt).measure();
    EXPECT_EQ(single.bytes, status.st_blocks * 512);
    EXPECT_EQ(single.files, 1);
    EXPECT_EQ(single.newestModification, std::chrono::system_clock::from_time_t(status.st_mtime));

    const SizeResult folder = itemFor(home / "cache", std::nullopt).measure();
    EXPECT_EQ(folder, SizeScanner::measure({home / "cache"}));
    EXPECT_EQ(folder.files, 2);

    CleanupItem tool = itemFor(file, std::nullopt);
    tool.action = CleanupAction::Run{file, {}, {}};
    EXPECT_EQ(tool.measure(), SizeResult{}) << "a tool with nothing it affects measures nothing";
}

} // namespace
} // namespace tarno
