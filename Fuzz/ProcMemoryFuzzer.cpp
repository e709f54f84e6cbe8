// /proc/<pid>/smaps_rollup and /proc/<pid>/status, or a made-up procfs tree.

#include "FuzzSupport.hpp"

#include "TarnoCore/Platform/ProcessTable.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::text(data, size);
    // Memory is summed over processes and groups: no figure may be negative.
    Fuzz::require(Platform::ProcessTable::rollupMemoryBytes(text) >= 0);
    Fuzz::require(Platform::ProcessTable::anonymousMemoryBytes(text) >= 0);
    return 0;
}
