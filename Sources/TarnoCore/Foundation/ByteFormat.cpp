#include "TarnoCore/Foundation/ByteFormat.hpp"

#include <array>
#include <string_view>

#include <fmt/format.h>

namespace tarno::ByteFormat {

namespace {

struct Unit {
    std::string_view word;
    int decimals; // shown before trailing zeros are dropped
};

constexpr std::array<Unit, 6> units{{
    {"KB", 0}, {"MB", 1}, {"GB", 2}, {"TB", 2}, {"PB", 2}, {"EB", 2},
}};

// magnitude / unitSize with `decimals` digits after the point, as a whole
// number of hundredths (or tenths, or units), rounded half up. Long division
// keeps it exact for the whole 64-bit range.
std::uint64_t scaledQuotient(std::uint64_t magnitude, std::uint64_t unitSize, int decimals)
{
    std::uint64_t scaled = magnitude / unitSize;
    std::uint64_t remainder = magnitude % unitSize;
    for (int digit = 0; digit < decimals; ++digit) {
        remainder *= 10;
        scaled = scaled * 10 + remainder / unitSize;
        remainder %= unitSize;
    }
    if (remainder >= unitSize - remainder)
        ++scaled;
    return scaled;
}

std::uint64_t powerOfTen(int exponent)
{
    std::uint64_t result = 1;
    while (exponent-- > 0)
        result *= 10;
    return result;
}

std::string format(std::int64_t bytes, std::uint64_t base)
{
    const bool negative = bytes < 0;
    // Negating in unsigned arithmetic also covers the most negative value.
    const std::uint64_t magnitude = negative ? 0 - static_cast<std::uint64_t>(bytes) : static_cast<std::uint64_t>(bytes);
    const std::string_view sign = negative ? "-" : "";

    if (magnitude < 1000)
        return fmt::format("{}{} {}", sign, magnitude, magnitude == 1 ? "byte" : "bytes");

    std::uint64_t unitSize = 1;
    for (std::size_t index = 0; index < units.size(); ++index) {
        unitSize *= base;
        const Unit& unit = units[index];
        const std::uint64_t denominator = powerOfTen(unit.decimals);
        const std::uint64_t scaled = scaledQuotient(magnitude, unitSize, unit.decimals);
        // A figure that rounds to 1,000 of a unit reads better as 1 of the next.
        if (scaled >= 1000 * denominator && index + 1 < units.size())
            continue;

        const std::uint64_t whole = scaled / denominator;
        std::uint64_t fraction = scaled % denominator;
        int digits = unit.decimals;
        while (digits > 0 && fraction % 10 == 0) {
            fraction /= 10;
            --digits;
        }
        if (digits == 0)
            return fmt::format("{}{} {}", sign, whole, unit.word);
        return fmt::format("{}{}.{:0{}} {}", sign, whole, fraction, digits, unit.word);
    }
    return {}; // not reached: the last unit always formats
}

} // namespace

std::string string(std::int64_t bytes)
{
    return format(bytes, 1000);
}

std::string memory(std::int64_t bytes)
{
    return format(bytes, 1024);
}

} // namespace tarno::ByteFormat
