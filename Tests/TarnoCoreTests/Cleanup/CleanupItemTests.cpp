#include "TarnoCore/Cleanup/CleanupItem.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace tarno {
namespace {

using Paths = std::vector<std::string>;

TEST(CleanupActionTests, PathsPermanenceAndKindOfEachCase)
{
    const CleanupAction remove = CleanupAction::Delete{{"/h/a", "/h/b"}};
    EXPECT_EQ(remove.paths(), (Paths{"/h/a", "/h/b"}));
    EXPECT_TRUE(remove.isPermanent());
    EXPECT_EQ(remove.kindName(), "delete");

    const CleanupAction empty = CleanupAction::DeleteContents{{"/h/c"}};
    EXPECT_EQ(empty.paths(), (Paths{"/h/c"}));
    EXPECT_TRUE(empty.isPermanent());
    EXPECT_EQ(empty.kindName(), "deleteContents");

    const CleanupAction trash = CleanupAction::Trash{{"/h/d"}};
    EXPECT_EQ(trash.paths(), (Paths{"/h/d"}));
    EXPECT_FALSE(trash.isPermanent());
    EXPECT_EQ(trash.kindName(), "trash");

    // A tool's item is measured by what the tool reduces, never by the tool.
    const CleanupAction run = CleanupAction::Run{"/usr/bin/tool", {"clean", "--all"}, {"/h/e"}};
    EXPECT_EQ(run.paths(), (Paths{"/h/e"}));
    EXPECT_TRUE(run.isPermanent());
    EXPECT_EQ(run.kindName(), "run");
    EXPECT_TRUE((CleanupAction{CleanupAction::Run{"/usr/bin/tool", {}, {}}}.paths().empty()));

    // clearFirst lies inside the worktree: only the worktree is measured.
    const CleanupAction worktree = CleanupAction::RemoveWorktree{"/h/repo", "/h/wt", {"/h/wt/node_modules"}};
    EXPECT_EQ(worktree.paths(), (Paths{"/h/wt"}));
    EXPECT_TRUE(worktree.isPermanent());
    EXPECT_EQ(worktree.kindName(), "removeWorktree");

    EXPECT_NE(CleanupAction{CleanupAction::Delete{{"/h/a"}}}, CleanupAction{CleanupAction::Trash{{"/h/a"}}});
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

    EXPECT_EQ(safety(rawValue(Safety::safe)), Safety::safe);
    EXPECT_EQ(safety(rawValue(Safety::review)), Safety::review);
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
    SizeResult reported;
    reported.bytes = 1234;
    EXPECT_EQ(itemFor(file, 1234).measure(), reported);
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
