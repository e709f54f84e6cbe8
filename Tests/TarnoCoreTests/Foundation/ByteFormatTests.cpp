#include "TarnoCore/Foundation/ByteFormat.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace tarno {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();

// Disk sizes count a thousand to the unit with up to two decimals, trailing zeros dropped, whole
// kilobytes; a figure that rounds to a thousand moves to the next unit; the sign is kept.
TEST(ByteFormatTests, DiskSizes)
{
    const std::pair<std::int64_t, const char*> cases[] = {
        {0, "0 bytes"}, {1, "1 byte"}, {2, "2 bytes"}, {999, "999 bytes"}, {1'000, "1 KB"}, {1'499, "1 KB"},
        {1'500, "2 KB"}, {12'345, "12 KB"}, {1'000'000, "1 MB"}, {1'500'000, "1.5 MB"}, {1'250'000, "1.3 MB"},
        {1'230'000'000, "1.23 GB"}, {1'205'000'000, "1.21 GB"}, {1'500'000'000, "1.5 GB"},
        {2'000'000'000'000, "2 TB"}, {3'456'000'000'000'000, "3.46 PB"}, {999'499, "999 KB"}, {999'500, "1 MB"},
        {999'949'999, "999.9 MB"}, {999'950'000, "1 GB"}, {999'995'000'000, "1 TB"}, {8LL << 30, "8.59 GB"},
        {-1, "-1 byte"}, {-1'500'000, "-1.5 MB"}, {most, "9.22 EB"}, {-most - 1, "-9.22 EB"}};
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(ByteFormat::string(bytes), text) << bytes;
}

TEST(ByteFormatTests, MemorySizesCount1024ToTheUnit)
{
    const std::pair<std::int64_t, const char*> cases[] = {
        {0, "0 bytes"}, {999, "999 bytes"}, {1'000, "1 KB"}, {1'024, "1 KB"}, {1'536, "2 KB"},
        {1'023'488, "1 MB"}, // 999.5 KiB
        {1'048'576, "1 MB"}, {1'572'864, "1.5 MB"}, {8LL << 30, "8 GB"}, {17'716'740'096, "16.5 GB"},
        {-2'048, "-2 KB"}, {most, "8 EB"}};
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(ByteFormat::memory(bytes), text) << bytes;
}

} // namespace
} // namespace tarno
