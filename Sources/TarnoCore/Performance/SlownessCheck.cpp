#include "TarnoCore/Performance/SlownessCheck.hpp"

#include <cmath>
#include <cstdint>

namespace tarno::SlownessCheck {

std::string percent(double value)
{
    return std::to_string(static_cast<std::int64_t>(std::round(value))) + " %";
}

std::string duration(double seconds)
{
    const auto minutes = static_cast<std::int64_t>(seconds / 60);
    if (minutes == 1)
        return "1 minute";
    if (minutes < 60)
        return std::to_string(minutes) + " minutes";
    if (minutes < 120)
        return "1 hour";
    if (minutes < 2880)
        return std::to_string(minutes / 60) + " hours";
    return std::to_string(minutes / 1440) + " days";
}

} // namespace tarno::SlownessCheck
