#pragma once

#include "TarnoCore/Cleanup/Cleaner.hpp"

#include <cstdint>
#include <vector>

namespace tarno {

// What one clean gave back, by measurement.
struct CleanSummary {
    std::int64_t freed = 0;        // gone from the disk
    std::int64_t trashed = 0;      // moved to the Trash, so not free yet
    std::int64_t insideDocker = 0; // the part of freed that Docker hands back later
    std::vector<CleanReport::Failure> failures; // in the order they happened

    bool operator==(const CleanSummary&) const = default;
};

} // namespace tarno
