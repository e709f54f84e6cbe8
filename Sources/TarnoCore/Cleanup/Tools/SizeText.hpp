#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

// Reading the sizes that tools print, such as "1.2GB" or "1.5 GB". Shared by
// the adapters; the units differ from tool to tool and stay with them.
namespace tarno::SizeText {

struct Number {
    std::optional<double> value; // absent when the run does not read as a number
    std::string_view rest;       // what follows the run
};

// The text's leading run of digits and points, read as a decimal number
// whatever the process's locale. A run too long for a double reads as
// infinity (or 0 when all its digits before the point are 0).
inline Number leadingNumber(std::string_view text)
{
    const std::size_t length = std::min(text.find_first_not_of("0123456789."), text.size());
    const std::string_view run = text.substr(0, length);
    Number number{std::nullopt, text.substr(length)};
    double value = 0;
    const auto [end, error] = std::from_chars(run.data(), run.data() + run.size(), value, std::chars_format::fixed);
    if (end != run.data() + run.size())
        return number;
    if (error == std::errc())
        number.value = value;
    else if (error == std::errc::result_out_of_range)
        number.value = run.substr(0, run.find('.')).find_first_not_of('0') != std::string_view::npos
            ? std::numeric_limits<double>::infinity()
            : 0.0;
    return number;
}

// number × factor, truncated towards zero; past the 64-bit range, its maximum.
inline std::int64_t bytes(double number, double factor)
{
    const double product = number * factor;
    if (!(product > 0))
        return 0;
    // 2^63 is the first double past the range.
    if (product >= 9223372036854775808.0)
        return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(product);
}

} // namespace tarno::SizeText
