#include "TarnoCore/Foundation/RelativeDate.hpp"

#include <cstdint>

namespace tarno::RelativeDate {

namespace {

std::string ago(std::int64_t count, const char* unit)
{
    return std::to_string(count) + " " + unit + (count == 1 ? "" : "s") + " ago";
}

} // namespace

std::string named(std::chrono::system_clock::time_point date, std::chrono::system_clock::time_point now)
{
    const std::int64_t seconds = std::chrono::duration_cast<std::chrono::seconds>(now - date).count();
    constexpr std::int64_t minute = 60, hour = 3600, day = 86'400;
    if (seconds < minute)
        return "now";
    if (seconds < hour)
        return ago(seconds / minute, "minute");
    if (seconds < day)
        return ago(seconds / hour, "hour");
    const std::int64_t days = seconds / day;
    if (days == 1)
        return "yesterday";
    if (days < 7)
        return ago(days, "day");
    if (days < 14)
        return "last week";
    if (days < 30)
        return ago(days / 7, "week");
    const std::int64_t months = days / 30;
    if (months == 1)
        return "last month";
    if (days < 365)
        return ago(months < 12 ? months : 11, "month"); // 360 to 364 days are not yet a year
    const std::int64_t years = days / 365;
    return years == 1 ? "last year" : ago(years, "year");
}

} // namespace tarno::RelativeDate
