#include "TarnoCore/Foundation/ByteFormat.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace tarno {
namespace {

TEST(ByteFormatTests, SmallCountsAreBytesWithZeroAsANumber)
{
    EXPECT_EQ(ByteFormat::string(0), "0 bytes");
    EXPECT_EQ(ByteFormat::string(1), "1 byte");
    EXPECT_EQ(ByteFormat::string(2), "2 bytes");
    EXPECT_EQ(ByteFormat::string(999), "999 bytes");
    EXPECT_EQ(ByteFormat::memory(0), "0 bytes");
    EXPECT_EQ(ByteFormat::memory(999), "999 bytes");
}

TEST(ByteFormatTests, DiskSizesCountAThousandToTheUnitWithFixedDecimals)
{
    EXPECT_EQ(ByteFormat::string(1'000), "1 KB");
    EXPECT_EQ(ByteFormat::string(1'499), "1 KB");
    EXPECT_EQ(ByteFormat::string(1'500), "2 KB"); // whole kilobytes, half rounds up
    EXPECT_EQ(ByteFormat::string(12'345), "12 KB");
    EXPECT_EQ(ByteFormat::string(1'000'000), "1 MB");
    EXPECT_EQ(ByteFormat::string(1'500'000), "1.5 MB");
    EXPECT_EQ(ByteFormat::string(1'250'000), "1.3 MB");
    EXPECT_EQ(ByteFormat::string(1'230'000'000), "1.23 GB");
    EXPECT_EQ(ByteFormat::string(1'205'000'000), "1.21 GB");
    EXPECT_EQ(ByteFormat::string(1'500'000'000), "1.5 GB"); // trailing zero dropped
    EXPECT_EQ(ByteFormat::string(2'000'000'000'000), "2 TB");
    EXPECT_EQ(ByteFormat::string(3'456'000'000'000'000), "3.46 PB");
}

TEST(ByteFormatTests, AFigureThatRoundsToAThousandMovesToTheNextUnit)
{
    EXPECT_EQ(ByteFormat::string(999'499), "999 KB");
    EXPECT_EQ(ByteFormat::string(999'500), "1 MB");
    EXPECT_EQ(ByteFormat::string(999'949'999), "999.9 MB");
    EXPECT_EQ(ByteFormat::string(999'950'000), "1 GB");
    EXPECT_EQ(ByteFormat::string(999'995'000'000), "1 TB");
    EXPECT_EQ(ByteFormat::memory(1'000), "1 KB");
    EXPECT_EQ(ByteFormat::memory(1'023'488), "1 MB"); // 999.5 KiB
}

TEST(ByteFormatTests, MemorySizesCount1024ToTheUnit)
{
    EXPECT_EQ(ByteFormat::memory(1'024), "1 KB");
    EXPECT_EQ(ByteFormat::memory(1'536), "2 KB");
    EXPECT_EQ(ByteFormat::memory(1'048'576), "1 MB");
    EXPECT_EQ(ByteFormat::memory(1'572'864), "1.5 MB");
    EXPECT_EQ(ByteFormat::memory(8LL << 30), "8 GB");
    EXPECT_EQ(ByteFormat::memory(17'716'740'096), "16.5 GB");
    EXPECT_EQ(ByteFormat::string(8LL << 30), "8.59 GB");
}

TEST(ByteFormatTests, NegativeCountsKeepTheirSignAndTheExtremesFormat)
{
    EXPECT_EQ(ByteFormat::string(-1), "-1 byte");
    EXPECT_EQ(ByteFormat::string(-1'500'000), "-1.5 MB");
    EXPECT_EQ(ByteFormat::memory(-2'048), "-2 KB");
    EXPECT_EQ(ByteFormat::string(std::numeric_limits<std::int64_t>::max()), "9.22 EB");
    EXPECT_EQ(ByteFormat::string(std::numeric_limits<std::int64_t>::min()), "-9.22 EB");
    EXPECT_EQ(ByteFormat::memory(std::numeric_limits<std::int64_t>::max()), "8 EB");
}

} // namespace
} // namespace tarno
