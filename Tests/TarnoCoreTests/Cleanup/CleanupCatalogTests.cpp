#include "TarnoCore/Cleanup/CleanupCatalog.hpp"

#include "Support/RuleFamilyItems.hpp"
#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <unistd.h>
#include <sys/stat.h>

namespace tarno {
namespace {

using CleanupCatalog::Builder;
using Paths = std::vector<std::string>;

CleanupItem itemIn(CleanupCategory category, std::string id)
{
    return CleanupItem{std::move(id), "Item", category, "Nothing.", Safety::safe, CleanupAction::Delete{{}},
                       false, 1, std::nullopt};
}

TEST(CleanupCatalogBuilderTests, ChildrenAreSortedFullPathsIncludingHiddenOnes)
{
    test::TemporaryFolder home;
    home.makeFile("Caches/b");
    home.makeFile("Caches/.hidden");
    home.makeFile("Caches/a");
    home.makeFolder("Caches/C");

    const std::string caches = home / "Caches";
    EXPECT_EQ(Builder::children(caches),
              (Paths{caches + "/.hidden", caches + "/C", caches + "/a", caches + "/b"}));
    EXPECT_EQ(Builder::children(caches, [](std::string_view name) { return !name.starts_with("."); }),
              (Paths{caches + "/C", caches + "/a", caches + "/b"}));
    EXPECT_TRUE(Builder::children(home / "Missing").empty());
    EXPECT_TRUE(Builder::children(caches + "/a").empty()) << "a file has no children";
}

TEST(CleanupCatalogBuilderTests, AddKeepsWhatExistsAndClaimsIt)
{
    test::TemporaryFolder home;
    const std::string first = home.makeFolder("Library/Caches/one");
    const std::string second = home.makeFile("Library/Caches/two.db");
    const std::string dangling = home / "Library/Caches/link";
    ASSERT_EQ(::symlink((home / "nowhere").c_str(), dangling.c_str()), 0);
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    Builder builder(env);

    builder.add("none", "None", CleanupCategory::apps, "Nothing.", Safety::safe,
                CleanupAction::Delete{{home / "missing", home / "also-missing"}});
    EXPECT_TRUE(builder.claimed().empty());

    builder.add("caches", "Caches", CleanupCategory::apps, "Apps rebuild them.", Safety::review,
                CleanupAction::Delete{{first, home / "missing", second}}, 0);
    ASSERT_EQ(builder.items().size(), 1U);
    EXPECT_EQ(builder.items()[0], (CleanupItem{"caches", "Caches", CleanupCategory::apps, "Apps rebuild them.",
                                               Safety::review, CleanupAction::Delete{{first, second}}, false, 0,
                                               std::nullopt}));

    builder.add("link", "Link", CleanupCategory::trash, "Nothing.", Safety::safe, CleanupAction::Trash{{dangling}});
    ASSERT_EQ(builder.items().size(), 2U);
    EXPECT_EQ(builder.items()[1].action, CleanupAction{CleanupAction::Trash{{dangling}}});
    EXPECT_EQ(builder.items()[1].minimumBytesToShow, 1);
    EXPECT_EQ(builder.claimed(), (Paths{first, second, dangling}));
}

TEST(CleanupCatalogBuilderTests, RequiresAdminFollowsWhatAnUnprivilegedUserMayDo)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to make entries that belong to another user";
    test::TemporaryFolder home;
    test::openToEveryone(home.path());
    const std::string lockedFolder = home.makeFolder("locked/cache");
    const std::string openParent = home.makeFolder("open");
    const std::string openFolder = home.makeFolder("open/cache");
    ASSERT_EQ(::chmod(openParent.c_str(), 0777), 0);
    ASSERT_EQ(::chmod(openFolder.c_str(), 0777), 0);
    const std::string sticky = home.makeFolder("sticky");
    ASSERT_EQ(::chmod(sticky.c_str(), 01777), 0);
    const std::string foreign = home.makeFile("sticky/roots");
    const std::string own = home.makeFile("sticky/mine");
    ASSERT_EQ(::chown(own.c_str(), test::nobodyID, test::nobodyID), 0);

    // One letter per item, '1' when it requires an administrator: delete in / empty a folder the user may
    // not write; the Trash (never asks); delete in / empty a writable folder; someone else's entry and the
    // user's own in a sticky folder.
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    const auto adminFlags = [&] {
        Builder builder(env);
        const auto add = [&builder](auto action) {
            builder.add(std::to_string(builder.items().size()), "", CleanupCategory::apps, "", Safety::safe, action);
        };
        using Action = CleanupAction;
        add(Action::Delete{{lockedFolder}}); add(Action::DeleteContents{{lockedFolder}});
        add(Action::Trash{{lockedFolder}});
        add(Action::Delete{{openFolder}}); add(Action::DeleteContents{{openFolder}});
        add(Action::Delete{{own, foreign}}); add(Action::Delete{{own}});
        std::string flags;
        for (const CleanupItem& item : builder.items())
            flags += item.requiresAdmin ? '1' : '0';
        return flags;
    };
    const test::UnprivilegedRun asNobody = test::runAsNobody(adminFlags);
    ASSERT_TRUE(asNobody.ran) << asNobody.reason;
    EXPECT_EQ(asNobody.output, "1100010");
    EXPECT_EQ(adminFlags(), "0000000") << "root may do all of it";
}

TEST(CleanupCatalogBuilderTests, IsClaimedCoversTheClaimedPathAndWhatLiesInside)
{
    test::TemporaryFolder home;
    const std::string claimed = home.makeFolder("a/b");
    const CleanupEnvironment env = CleanupEnvironment::empty(home.path());
    Builder builder(env);
    builder.add("b", "B", CleanupCategory::apps, "Nothing.", Safety::safe, CleanupAction::DeleteContents{{claimed}});

    for (const std::string& inside : {claimed, claimed + "/c", claimed + "/c/d"})
        EXPECT_TRUE(builder.isClaimed(inside)) << inside;
    for (const std::string& outside : {claimed + "c", home / "a", home / "a/"})
        EXPECT_FALSE(builder.isClaimed(outside)) << outside;
}

TEST(CleanupCatalogTests, SortRunsCategoryByCategoryKeepingTheOrderOfAdding)
{
    using enum CleanupCategory;
    std::vector<CleanupItem> items = {itemIn(trash, "t1"), itemIn(xcode, "x1"), itemIn(trash, "t2"),
                                      itemIn(docker, "d1"), itemIn(xcode, "x2"), itemIn(apps, "a1"),
                                      itemIn(xcode, "x3")};
    CleanupCatalog::sortByCategory(items);
    EXPECT_EQ(test::idsOf(items), (Paths{"x1", "x2", "x3", "d1", "a1", "t1", "t2"}));
}

TEST(CleanupEnvironmentTests, LiveFindsApplicationsInTheHomesApplicationsFolder)
{
    test::TemporaryFolder home;
    home.makeFolder("Applications/Tarno Test Editor.app");
    const CleanupEnvironment env = CleanupEnvironment::live(home.path());

    EXPECT_EQ(env.home, home.path());
    EXPECT_TRUE(env.isAppInstalled({"Tarno Test Missing", "Tarno Test Editor"}, {}));
    EXPECT_FALSE(env.isAppInstalled({"Tarno Test Missing"}, {"com.example.missing"}));
    EXPECT_FALSE(env.isAppInstalled({"Tarno Test Editor.app"}, {})) << "names are given without the extension";
    EXPECT_FALSE(env.isAppInstalled({}, {}));
}

} // namespace
} // namespace tarno
