#pragma once

#include <cstdint>

namespace tarno {

// The capacity of one volume, in bytes.
struct DiskUsage {
    std::int64_t total = 0;
    std::int64_t available = 0; // what an ordinary user can still write

    std::int64_t used() const { return total - available; }

    // used / total; 0 for a volume with no total, so callers can divide freely.
    double usedFraction() const
    {
        return total > 0 ? static_cast<double>(used()) / static_cast<double>(total) : 0.0;
    }

    bool operator==(const DiskUsage&) const = default;
};

} // namespace tarno
