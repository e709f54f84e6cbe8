// /proc/meminfo, through to the memory reading every screen shows.

#include "FuzzSupport.hpp"

#include "TarnoCore/Performance/SystemStats.hpp"
#include "TarnoCore/Platform/MemoryInfo.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Platform::MemoryInfo::Fields fields = Platform::MemoryInfo::parseMeminfo(Fuzz::text(data, size));
    for (const auto& [name, value] : fields)
        Fuzz::require(!name.empty() && value >= 0);
    const MemorySnapshot snapshot = SystemStats::memory(fields, std::nullopt);
    Fuzz::require(snapshot.total >= 0 && snapshot.app >= 0 && snapshot.wired >= 0 && snapshot.compressed >= 0
                  && snapshot.cached >= 0 && snapshot.swapUsed >= 0);
    Fuzz::require(snapshot.freePercent >= 0 && snapshot.freePercent <= 100);
    return 0;
}
