// /proc/pressure/memory: the kernel's stall averages.

#include "FuzzSupport.hpp"

#include "TarnoCore/Performance/SystemStats.hpp"
#include "TarnoCore/Platform/MemoryInfo.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::optional<Platform::MemoryInfo::PressureStall> stall =
        Platform::MemoryInfo::parsePressureStall(Fuzz::text(data, size));
    if (!stall)
        return 0;
    // A share of time: never negative, never not a number.
    for (const double average : {stall->someAvg10, stall->someAvg60, stall->fullAvg10, stall->fullAvg60})
        Fuzz::require(average >= 0);
    (void)SystemStats::pressure(stall, 50);
    return 0;
}
