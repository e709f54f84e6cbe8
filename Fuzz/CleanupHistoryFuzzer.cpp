// history.json may be edited by hand or cut short by a full disk.

#include "FuzzSupport.hpp"

#include "TarnoCore/Cleanup/CleanupHistory.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::optional<std::vector<CleanupRecord>> records = CleanupHistory::decode(Fuzz::text(data, size));
    if (!records)
        return 0;
    // The next append writes back what was read; if that did not read again,
    // the user's history would be set aside as corrupt.
    const std::optional<std::vector<CleanupRecord>> again = CleanupHistory::decode(CleanupHistory::encode(*records));
    Fuzz::require(again.has_value() && *again == *records);
    return 0;
}
