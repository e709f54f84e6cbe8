// /proc/stat, for the boot time that process start times count from.

#include "FuzzSupport.hpp"

#include "TarnoCore/Platform/ProcessTable.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::text(data, size);
    const std::int64_t bootTime = Platform::ProcessTable::parseBootTime(text);
    // Only a "btime" line gives a time.
    Fuzz::require(bootTime == 0 || text.find("\nbtime ") != std::string_view::npos);
    return 0;
}
