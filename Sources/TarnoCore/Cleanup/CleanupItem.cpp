#include "TarnoCore/Cleanup/CleanupItem.hpp"

namespace tarno {

SizeResult CleanupItem::measure(const std::function<bool()>& isCancelled) const
{
    // A size a tool reported stands for the item; the disk is not read.
    if (knownBytes) {
        SizeResult reported;
        reported.bytes = *knownBytes;
        return reported;
    }
    return SizeScanner::measure(action.paths(), isCancelled);
}

} // namespace tarno
