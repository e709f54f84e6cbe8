#include "TarnoCore/Cleanup/Rules/RuleSupport.hpp"

#include "TarnoCore/Cleanup/CleanupCatalog.hpp"

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include <sys/stat.h>

namespace tarno::RuleSupport {

namespace {

bool isValidUtf8(std::string_view text)
{
    std::size_t index = 0;
    while (index < text.size()) {
        const auto lead = static_cast<unsigned char>(text[index]);
        std::size_t length = 0;
        char32_t value = 0;
        if (lead < 0x80) {
            ++index;
            continue;
        } else if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
            value = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            value = lead & 0x0F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            value = lead & 0x07;
        } else {
            return false;
        }
        if (index + length > text.size())
            return false;
        for (std::size_t next = 1; next < length; ++next) {
            const auto continuation = static_cast<unsigned char>(text[index + next]);
            if ((continuation & 0xC0) != 0x80)
                return false;
            value = (value << 6) | (continuation & 0x3F);
        }
        // Overlong forms, surrogates and values past Unicode's end.
        if ((length == 3 && value < 0x800) || (length == 4 && (value < 0x10000 || value > 0x10FFFF))
            || (value >= 0xD800 && value <= 0xDFFF))
            return false;
        index += length;
    }
    return true;
}

} // namespace

std::optional<std::string> readUtf8(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::ostringstream contents;
    contents << in.rdbuf();
    if (in.bad())
        return std::nullopt;
    std::string text = std::move(contents).str();
    if (!isValidUtf8(text))
        return std::nullopt;
    return text;
}

std::vector<std::string_view> nonEmptyLines(std::string_view text)
{
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find_first_of("\r\n", start), text.size());
        if (end > start)
            lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::string_view trimmedOfBlanks(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::vector<std::string_view> keyAndValue(std::string_view line)
{
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    for (std::size_t index = 0; index < line.size(); ++index) {
        if (line[index] != '=')
            continue;
        if (index > start) {
            parts.push_back(line.substr(start, index - start));
            start = index + 1;
            break;
        }
        start = index + 1;
    }
    if (start < line.size())
        parts.push_back(line.substr(start));
    for (std::string_view& part : parts)
        part = trimmedOfBlanks(part);
    return parts;
}

std::string replacingAll(std::string text, std::string_view target, std::string_view replacement)
{
    if (target.empty())
        return text;
    for (std::size_t at = text.find(target); at != std::string::npos;
         at = text.find(target, at + replacement.size()))
        text.replace(at, target.size(), replacement);
    return text;
}

bool existsFollowingLinks(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

bool isRealFolder(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::vector<std::string> childrenOfRealFolder(const std::string& folder,
                                              const std::function<bool(std::string_view name)>& predicate)
{
    if (!isRealFolder(folder))
        return {};
    return CleanupCatalog::Builder::children(folder, predicate);
}

std::vector<std::string> withoutRepeats(std::vector<std::string> paths)
{
    std::set<std::string> seen;
    std::erase_if(paths, [&seen](const std::string& path) { return !seen.insert(path).second; });
    return paths;
}

} // namespace tarno::RuleSupport
