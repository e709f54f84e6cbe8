// File names as the command line writes them in JSON: any bytes in, valid
// UTF-8 JSON out, and the bytes back again by the documented escapes.

#include "FuzzSupport.hpp"

#include "JsonEncoding.hpp"

#include <string>

using namespace tarno;

namespace {

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// Undoes the writer's escapes: \\udcXX gives the byte XX back; the JSON
// escapes give their character. Anything else in the text must be printable.
std::string bytesOf(std::string_view written)
{
    Fuzz::require(written.size() >= 2 && written.front() == '"' && written.back() == '"');
    std::string bytes;
    for (std::size_t at = 1; at + 1 < written.size(); ++at) {
        const char c = written[at];
        Fuzz::require(static_cast<unsigned char>(c) >= 0x20 && c != '"');
        if (c != '\\') {
            bytes += c;
            continue;
        }
        const char escape = written.at(++at);
        switch (escape) {
        case '"': bytes += '"'; break;
        case '\\': bytes += '\\'; break;
        case 'b': bytes += '\b'; break;
        case 'f': bytes += '\f'; break;
        case 'n': bytes += '\n'; break;
        case 'r': bytes += '\r'; break;
        case 't': bytes += '\t'; break;
        case 'u': {
            int value = 0;
            for (int digit = 0; digit < 4; ++digit) {
                const int hex = hexDigit(written.at(++at));
                Fuzz::require(hex >= 0);
                value = value * 16 + hex;
            }
            // A control character, or a byte that is not part of valid UTF-8.
            Fuzz::require(value < 0x20 || (value >= 0xDC80 && value <= 0xDCFF));
            bytes += static_cast<char>(value < 0x20 ? value : value - 0xDC00);
            break;
        }
        default: Fuzz::require(false);
        }
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string name(Fuzz::text(data, size));
    const std::string written = cli::JsonEncoding::write(cli::JsonEncoding::Json(name));
    Fuzz::require(bytesOf(written) == name);
    // The text is valid UTF-8, and where the name was too, the JSON library reads it back as it was.
    const auto parsed = cli::JsonEncoding::Json::parse(written, nullptr, false);
    bool nameIsUTF8 = true;
    try {
        (void)cli::JsonEncoding::Json(name).dump();
    } catch (const cli::JsonEncoding::Json::exception&) {
        nameIsUTF8 = false;
    }
    if (nameIsUTF8)
        Fuzz::require(!parsed.is_discarded() && parsed.get<std::string>() == name);
    return 0;
}
