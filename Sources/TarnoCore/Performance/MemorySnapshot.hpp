#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarno {

// One reading of physical memory, all sizes in bytes.
struct MemorySnapshot {
    // How hard the system is working to find memory, in rising order.
    enum class Pressure { normal, warning, critical };

    std::int64_t total = 0;      // physical memory; 0 when it cannot be read
    std::int64_t app = 0;        // anonymous and shared-anonymous pages: what programs hold
    std::int64_t wired = 0;      // what the kernel holds and cannot give back
    std::int64_t compressed = 0; // the compressed pool kept in memory
    std::int64_t cached = 0;     // file pages and caches the kernel hands back on demand
    std::int64_t swapUsed = 0;
    int freePercent = 100;       // share of memory the system regards as free
    Pressure pressure = Pressure::normal;

    // Cached memory and swap stand outside: the first is handed back on demand,
    // the second is not in physical memory.
    std::int64_t used() const { return app + wired + compressed; }

    bool operator==(const MemorySnapshot&) const = default;
};

std::string_view rawValue(MemorySnapshot::Pressure pressure);
std::optional<MemorySnapshot::Pressure> memoryPressure(std::string_view raw);

} // namespace tarno
