#include "TarnoCore/Performance/MemorySnapshot.hpp"

namespace tarno {

std::string_view rawValue(MemorySnapshot::Pressure pressure)
{
    switch (pressure) {
    case MemorySnapshot::Pressure::normal:
        return "normal";
    case MemorySnapshot::Pressure::warning:
        return "warning";
    case MemorySnapshot::Pressure::critical:
        return "critical";
    }
    return "normal";
}

std::optional<MemorySnapshot::Pressure> memoryPressure(std::string_view raw)
{
    for (const auto pressure : {MemorySnapshot::Pressure::normal, MemorySnapshot::Pressure::warning,
                                MemorySnapshot::Pressure::critical}) {
        if (rawValue(pressure) == raw)
            return pressure;
    }
    return std::nullopt;
}

} // namespace tarno
