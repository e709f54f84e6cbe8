#include "TarnoCore/Platform/MemoryInfo.hpp"

#include <charconv>
#include <fstream>
#include <limits>
#include <sstream>
#include <string_view>

namespace tarno::Platform::MemoryInfo {

namespace {

// procfs files report a size of 0, so they are read to the end, not by size.
std::optional<std::string> contents(const std::string& path)
{
    std::ifstream file(path);
    if (!file)
        return std::nullopt;
    std::ostringstream text;
    text << file.rdbuf();
    if (file.bad())
        return std::nullopt;
    return std::move(text).str();
}

bool isBlank(char character)
{
    return character == ' ' || character == '\t';
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && (isBlank(text.back()) || text.back() == '\r'))
        text.remove_suffix(1);
    return text;
}

// "  16384256 kB" → bytes; "0" → 0. Anything else, or a figure too large for
// 64 bits, is no value.
std::optional<std::int64_t> meminfoValue(std::string_view text)
{
    text = trimmed(text);
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number < 0)
        return std::nullopt;
    const std::string_view unit = trimmed(text.substr(static_cast<std::size_t>(end - text.data())));
    if (unit.empty())
        return number;
    if (unit != "kB")
        return std::nullopt;
    if (number > std::numeric_limits<std::int64_t>::max() / 1024)
        return std::nullopt;
    return number * 1024;
}

// "avg10=1.25" within a line of "key=value" words.
std::optional<double> averageNamed(std::string_view line, std::string_view key)
{
    std::size_t start = 0;
    while (start < line.size()) {
        while (start < line.size() && isBlank(line[start]))
            ++start;
        std::size_t end = start;
        while (end < line.size() && !isBlank(line[end]))
            ++end;
        const std::string_view word = line.substr(start, end - start);
        if (word.size() > key.size() && word.starts_with(key) && word[key.size()] == '=') {
            const std::string_view value = word.substr(key.size() + 1);
            double number = 0;
            const auto [last, error] = std::from_chars(value.data(), value.data() + value.size(), number);
            if (error != std::errc() || last != value.data() + value.size() || !(number >= 0))
                return std::nullopt;
            return number;
        }
        start = end;
    }
    return std::nullopt;
}

} // namespace

Fields meminfo(const std::string& procRoot)
{
    const std::optional<std::string> text = contents(procRoot + "/meminfo");
    return text ? parseMeminfo(*text) : Fields{};
}

Fields parseMeminfo(std::string_view text)
{
    Fields fields;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos)
            continue;
        const std::string_view name = trimmed(line.substr(0, colon));
        const std::optional<std::int64_t> value = meminfoValue(line.substr(colon + 1));
        if (!name.empty() && value)
            fields.insert_or_assign(std::string(name), *value);
    }
    return fields;
}

std::optional<PressureStall> pressureStall(const std::string& procRoot)
{
    const std::optional<std::string> text = contents(procRoot + "/pressure/memory");
    return text ? parsePressureStall(*text) : std::nullopt;
}

std::optional<PressureStall> parsePressureStall(std::string_view text)
{
    std::optional<PressureStall> stall;
    std::optional<PressureStall> full;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view view = trimmed(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        const bool isSome = view.starts_with("some ");
        const bool isFull = view.starts_with("full ");
        if (!isSome && !isFull)
            continue;
        const std::optional<double> avg10 = averageNamed(view, "avg10");
        const std::optional<double> avg60 = averageNamed(view, "avg60");
        if (!avg10 || !avg60)
            continue;
        if (isSome)
            stall = PressureStall{.someAvg10 = *avg10, .someAvg60 = *avg60, .fullAvg10 = 0, .fullAvg60 = 0};
        else
            full = PressureStall{.someAvg10 = 0, .someAvg60 = 0, .fullAvg10 = *avg10, .fullAvg60 = *avg60};
    }
    if (stall && full) {
        stall->fullAvg10 = full->fullAvg10;
        stall->fullAvg60 = full->fullAvg60;
    }
    return stall;
}

} // namespace tarno::Platform::MemoryInfo
