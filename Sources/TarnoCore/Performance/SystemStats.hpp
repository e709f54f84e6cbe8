#pragma once

#include "TarnoCore/Performance/DiskUsage.hpp"
#include "TarnoCore/Performance/MemorySnapshot.hpp"
#include "TarnoCore/Platform/MemoryInfo.hpp"
#include "TarnoCore/Platform/VolumeCapacity.hpp"

#include <optional>
#include <string>

// How full the machine is: one reading of memory, one of a volume. Every
// screen, check and alert takes its figures from here so that they agree.
namespace tarno::SystemStats {

// The reading of the running machine; `procRoot` is where procfs is mounted.
// Never fails: what cannot be read takes the fallback of MemorySnapshot.
MemorySnapshot memory(const std::string& procRoot = "/proc");

// The reading made of the kernel's counters.
MemorySnapshot memory(const Platform::MemoryInfo::Fields& meminfo,
                      const std::optional<Platform::MemoryInfo::PressureStall>& stall);

// The pressure a person would feel. With stall figures, from them; without,
// from the share of memory still available.
MemorySnapshot::Pressure pressure(const std::optional<Platform::MemoryInfo::PressureStall>& stall,
                                  int freePercent);

// Thresholds in percent of wall time spent stalled (see SystemStats.cpp).
inline constexpr double criticalFullAvg10 = 10.0;
inline constexpr double criticalFullAvg60 = 5.0;
inline constexpr double warningSomeAvg10 = 10.0;
inline constexpr double warningSomeAvg60 = 5.0;
inline constexpr double warningFullAvg10 = 2.0;
// Without stall figures: at or below these free percentages.
inline constexpr int criticalFreePercent = 5;
inline constexpr int warningFreePercent = 15;

// The capacity of the volume that holds `path`; absent when the volume cannot
// be asked or gives no total.
std::optional<DiskUsage> disk(const std::string& path);

// The usage made of what a volume says.
std::optional<DiskUsage> disk(const std::optional<Platform::VolumeCapacity>& capacity);

} // namespace tarno::SystemStats
