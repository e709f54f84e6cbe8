#include "TarnoCore/Performance/SlownessCheck.hpp"

#include <gtest/gtest.h>

namespace tarno {
namespace {

TEST(SlownessCheckFormats, DurationsAndPercentsAtTheirEdges)
{
    const std::pair<double, const char*> durations[] = {
        {0, "0 minutes"},      {59, "0 minutes"},     {60, "1 minute"},    {119, "1 minute"},
        {120, "2 minutes"},    {3599, "59 minutes"},  {3600, "1 hour"},    {7199, "1 hour"},
        {7200, "2 hours"},     {172'799, "47 hours"}, {172'800, "2 days"}, {1'000'000, "11 days"},
    };
    for (const auto& [seconds, text] : durations)
        EXPECT_EQ(SlownessCheck::duration(seconds), text) << seconds;

    const std::pair<double, const char*> percents[] = {
        {49.5, "50 %"}, {49.4, "49 %"}, {0, "0 %"}, {-0.5, "-1 %"}, {100.2, "100 %"},
    };
    for (const auto& [value, text] : percents)
        EXPECT_EQ(SlownessCheck::percent(value), text) << value;
}

} // namespace
} // namespace tarno
