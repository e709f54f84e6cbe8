#include "TarnoCore/Foundation/RelativeDate.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

TEST(RelativeDateTests, NamesEachSpanAtItsEdges)
{
    using std::chrono::seconds;
    const std::chrono::system_clock::time_point now{seconds(2'000'000'000)};
    constexpr long minute = 60, hour = 3600, day = 86'400;
    const struct {
        long secondsAgo;
        const char* words;
    } cases[] = {
        {-5 * day, "now"},        {59, "now"},
        {minute, "1 minute ago"}, {hour - 1, "59 minutes ago"},
        {hour, "1 hour ago"},     {day - 1, "23 hours ago"},
        {day, "yesterday"},       {2 * day - 1, "yesterday"},
        {2 * day, "2 days ago"},  {7 * day, "last week"},
        {14 * day, "2 weeks ago"}, {30 * day, "last month"},
        {60 * day, "2 months ago"}, {364 * day, "11 months ago"},
        {365 * day, "last year"}, {3 * 365 * day, "3 years ago"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(RelativeDate::named(now - seconds(each.secondsAgo), now), each.words) << each.secondsAgo;
}

} // namespace
} // namespace tarno
