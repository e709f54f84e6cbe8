#pragma once

#include <string_view>

namespace tarno::Text {

// Blanks, tabs, new lines and the other C white-space characters.
inline constexpr std::string_view whiteSpace = " \t\n\v\f\r";

// The text without white space at either end; a tool's message is read so.
inline std::string_view trimmed(std::string_view text)
{
    const std::size_t start = text.find_first_not_of(whiteSpace);
    if (start == std::string_view::npos)
        return {};
    return text.substr(start, text.find_last_not_of(whiteSpace) - start + 1);
}

} // namespace tarno::Text
