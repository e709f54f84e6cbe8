#include "TarnoCore/Performance/SystemStats.hpp"

#include <algorithm>
#include <initializer_list>
#include <string_view>

namespace tarno::SystemStats {

namespace {

using Platform::MemoryInfo::Fields;
using Platform::MemoryInfo::PressureStall;

// No machine has an exbibyte of memory; a larger figure comes from a made-up
// file and is held there, so that the sums below cannot overflow.
constexpr std::int64_t largestField = std::int64_t{1} << 60;

std::int64_t field(const Fields& meminfo, std::string_view name)
{
    const auto found = meminfo.find(name);
    return found != meminfo.end() ? std::clamp<std::int64_t>(found->second, 0, largestField) : 0;
}

std::int64_t sum(const Fields& meminfo, std::initializer_list<std::string_view> names)
{
    std::int64_t total = 0;
    for (const std::string_view name : names)
        total += field(meminfo, name);
    return total;
}

int freePercent(const Fields& meminfo)
{
    const std::int64_t total = field(meminfo, "MemTotal");
    // A machine that cannot be read never looks tight.
    if (total <= 0 || !meminfo.contains("MemAvailable"))
        return 100;
    const std::int64_t clamped = std::min(field(meminfo, "MemAvailable"), total);
    return static_cast<int>(static_cast<double>(clamped) * 100.0 / static_cast<double>(total));
}

} // namespace

MemorySnapshot memory(const std::string& procRoot)
{
    return memory(Platform::MemoryInfo::meminfo(procRoot), Platform::MemoryInfo::pressureStall(procRoot));
}

MemorySnapshot memory(const Fields& meminfo, const std::optional<PressureStall>& stall)
{
    // Shmem (tmpfs, shared anonymous mappings) sits inside Cached, but the
    // kernel cannot drop it, only swap it, like any anonymous page: it is
    // programs' memory, not cache.
    const std::int64_t shmem = std::min(field(meminfo, "Shmem"), field(meminfo, "Cached"));

    MemorySnapshot snapshot;
    snapshot.total = field(meminfo, "MemTotal");
    snapshot.app = field(meminfo, "AnonPages") + shmem;
    // zswap's pool is the compressed copy in memory; Zswapped is what it stands for.
    snapshot.compressed = field(meminfo, "Zswap");
    // Buffers is page cache of block devices (file system metadata): it is
    // dropped on demand like Cached, so it belongs with it.
    snapshot.cached = sum(meminfo, {"Buffers", "Cached", "SReclaimable"}) - shmem;
    // What the kernel holds and cannot give back is everything in use that is
    // neither programs' memory, cache nor zswap: unreclaimable slab, kernel
    // stacks, page tables, and the driver, network and vmalloc memory that no
    // field names (hundreds of megabytes on a quiet machine). Taken as the
    // rest, so used + cached + MemFree is the total, as free reckons it.
    const std::int64_t inUse = snapshot.total - field(meminfo, "MemFree");
    snapshot.wired = std::max<std::int64_t>(0, inUse - snapshot.app - snapshot.cached - snapshot.compressed);
    snapshot.swapUsed = std::max<std::int64_t>(0, field(meminfo, "SwapTotal") - field(meminfo, "SwapFree"));
    snapshot.freePercent = freePercent(meminfo);
    snapshot.pressure = pressure(stall, snapshot.freePercent);
    return snapshot;
}

MemorySnapshot::Pressure pressure(const std::optional<PressureStall>& stall, int freePercent)
{
    using Pressure = MemorySnapshot::Pressure;
    if (!stall) {
        // Below 15% available the kernel is already dropping cache that
        // programs will read again; at 5% it evicts the pages they run from.
        if (freePercent <= criticalFreePercent)
            return Pressure::critical;
        if (freePercent <= warningFreePercent)
            return Pressure::warning;
        return Pressure::normal;
    }
    // `full` means nothing ran at all while memory was found: a tenth of the
    // last ten seconds is a freeze anyone notices, and 5% held over a minute is
    // a machine that keeps stuttering.
    if (stall->fullAvg10 >= criticalFullAvg10 || stall->fullAvg60 >= criticalFullAvg60)
        return Pressure::critical;
    // `some` at 10% over ten seconds (or 5% over a minute) is when switching
    // apps and opening tabs starts to lag; a short full stall is felt too.
    // These sit well below where systemd-oomd starts killing (60% some).
    if (stall->someAvg10 >= warningSomeAvg10 || stall->someAvg60 >= warningSomeAvg60
        || stall->fullAvg10 >= warningFullAvg10)
        return Pressure::warning;
    return Pressure::normal;
}

std::optional<DiskUsage> disk(const std::string& path)
{
    return disk(Platform::volumeCapacity(path));
}

std::optional<DiskUsage> disk(const std::optional<Platform::VolumeCapacity>& capacity)
{
    if (!capacity || !capacity->total)
        return std::nullopt;
    // The figure for important usage counts what can be purged at once; a
    // volume that gives 0 there has not really computed it.
    const std::optional<std::int64_t>& important = capacity->availableForImportantUsage;
    const std::int64_t available = important && *important >= 1 ? *important : capacity->available.value_or(0);
    return DiskUsage{.total = *capacity->total, .available = available};
}

} // namespace tarno::SystemStats
