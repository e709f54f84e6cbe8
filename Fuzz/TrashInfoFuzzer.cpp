// The .trashinfo Tarno writes carries a path whose names anyone may have
// chosen; other Trash readers must read back exactly that path.

#include "FuzzSupport.hpp"

#include "TarnoCore/Platform/Trash.hpp"

#include <optional>

using namespace tarno;

namespace {

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::optional<std::string> percentDecoded(std::string_view text)
{
    std::string decoded;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] != '%') {
            decoded += text[index];
            continue;
        }
        if (index + 2 >= text.size())
            return std::nullopt;
        const int high = hexValue(text[index + 1]);
        const int low = hexValue(text[index + 2]);
        if (high < 0 || low < 0)
            return std::nullopt;
        decoded += static_cast<char>(high * 16 + low);
        index += 2;
    }
    return decoded;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path(Fuzz::text(data, size));
    const std::string info = Platform::Trash::infoText(path, std::chrono::system_clock::time_point{});
    // Three lines: the group, the path, the date; the path on one line of its own.
    constexpr std::string_view start = "[Trash Info]\nPath=";
    Fuzz::require(info.starts_with(start));
    const std::size_t end = info.find('\n', start.size());
    Fuzz::require(end != std::string::npos && info.compare(end, 14, "\nDeletionDate=") == 0);
    const std::string_view encoded = std::string_view(info).substr(start.size(), end - start.size());
    Fuzz::require(encoded.find_first_of(" \t\r\n\0", 0, 5) == std::string_view::npos);
    Fuzz::require(percentDecoded(encoded) == path);
    return 0;
}
