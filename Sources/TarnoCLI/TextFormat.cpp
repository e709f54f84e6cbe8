#include "TextFormat.hpp"

#include <ctime>

namespace tarno::cli::TextFormat {

std::string isoTimestamp(std::chrono::system_clock::time_point instant)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(instant);
    std::tm parts{};
    if (::gmtime_r(&seconds, &parts) == nullptr)
        return {};
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return std::string(text, length);
}

std::string_view safetyLabel(Safety safety)
{
    switch (safety) {
    case Safety::safe:
        return "Safe";
    case Safety::review:
        return "Your call";
    }
    return "Your call";
}

} // namespace tarno::cli::TextFormat
