#include "ItemMeasurer.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <string>

namespace tarno::cli {
namespace {

TEST(ItemMeasurerTests, EverySizeLandsInItsItemsPlace)
{
    test::TemporaryFolder home;
    std::vector<CleanupItem> items;
    // More items than workers, each of a different size, one with a reported size.
    for (int index = 0; index < 9; ++index) {
        const std::string folder = home.makeFolder("cache" + std::to_string(index));
        for (int file = 0; file <= index; ++file)
            home.makeFile("cache" + std::to_string(index) + "/f" + std::to_string(file), 5000);
        items.push_back(CleanupItem{"item" + std::to_string(index), "Item", CleanupCategory::apps, "Nothing.",
                                    Safety::safe, CleanupAction::DeleteContents{{folder}}, false, 1,
                                    index == 4 ? std::optional<std::int64_t>(77) : std::nullopt});
    }

    const std::vector<SizeResult> sizes = ItemMeasurer::measureAll(items);
    ASSERT_EQ(sizes.size(), items.size());
    for (std::size_t index = 0; index < items.size(); ++index)
        EXPECT_EQ(sizes[index], items[index].measure()) << items[index].id;
    EXPECT_EQ(sizes[8].files, 9);
    EXPECT_EQ(sizes[4].bytes, 77);
    EXPECT_TRUE(ItemMeasurer::measureAll({}).empty());
}

} // namespace
} // namespace tarno::cli
