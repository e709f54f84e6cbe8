#include "TarnoCore/Foundation/NaturalOrder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tarno {
namespace {

TEST(NaturalOrderTests, SortsLikeTheFinder)
{
    // Ascending: numbers by value whatever their length, letters without case,
    // then the bytes for names that would otherwise be equal.
    const std::vector<std::string> ordered = {
        "007", "7", "8", "10", "App", "app", "App 2", "App 10", "App 10 b", "app10", "Beta",
        "x" + std::string(20, '9'), "x1" + std::string(20, '0'),
    };
    for (std::size_t i = 0; i < ordered.size(); ++i) {
        EXPECT_EQ(NaturalOrder::compare(ordered[i], ordered[i]), std::strong_ordering::equal) << ordered[i];
        for (std::size_t j = i + 1; j < ordered.size(); ++j) {
            EXPECT_EQ(NaturalOrder::compare(ordered[i], ordered[j]), std::strong_ordering::less)
                << ordered[i] << " | " << ordered[j];
            EXPECT_EQ(NaturalOrder::compare(ordered[j], ordered[i]), std::strong_ordering::greater)
                << ordered[j] << " | " << ordered[i];
        }
    }

    std::vector<std::string> shuffled(ordered.rbegin(), ordered.rend());
    std::rotate(shuffled.begin(), shuffled.begin() + 5, shuffled.end());
    std::sort(shuffled.begin(), shuffled.end(), NaturalOrder::less);
    EXPECT_EQ(shuffled, ordered);
}

} // namespace
} // namespace tarno
