#include "TarnoCore/Performance/SystemStats.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include <sys/statvfs.h>
#include <unistd.h>

namespace tarno {
namespace {

using Platform::MemoryInfo::PressureStall;
using Pressure = MemorySnapshot::Pressure;
using test::TemporaryFolder;

constexpr std::int64_t kB = 1024;

void write(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::trunc) << text;
}

// A made-up procfs root holding meminfo and, when given, pressure/memory.
std::string procRoot(const TemporaryFolder& folder, const std::string& meminfo,
                     const std::optional<std::string>& pressure = std::nullopt)
{
    const std::string root = folder.makeFolder("proc");
    write(root + "/meminfo", meminfo);
    if (pressure)
        write(folder.makeFolder("proc/pressure") + "/memory", *pressure);
    return root;
}

const std::string quietPressure = "some avg10=0.00 avg60=0.00 avg300=0.00 total=0\n"
                                  "full avg10=0.00 avg60=0.00 avg300=0.00 total=0\n";

TEST(SystemStatsTests, MeminfoFieldsMapToTheSnapshotsFields)
{
    const TemporaryFolder folder;
    const std::string root = procRoot(
        folder,
        "MemTotal:       16000000 kB\nMemFree:         2000000 kB\nMemAvailable:    6400000 kB\n"
        "Buffers:          100000 kB\nCached:          5000000 kB\nSwapCached:        10000 kB\n"
        "Unevictable:        4000 kB\nSwapTotal:       8000000 kB\nSwapFree:        7000000 kB\n"
        "Zswap:            300000 kB\nZswapped:         900000 kB\nAnonPages:       6000000 kB\n"
        "Shmem:            200000 kB\nSReclaimable:     400000 kB\nSUnreclaim:       150000 kB\n"
        "KernelStack:       20000 kB\nPageTables:        60000 kB\nHugePages_Total:       0\n",
        quietPressure);

    const MemorySnapshot memory = SystemStats::memory(root);
    EXPECT_EQ(memory.total, 16'000'000 * kB);
    // Shared memory moves from the cache to the programs: the kernel cannot drop it.
    EXPECT_EQ(memory.app, (6'000'000 + 200'000) * kB);
    // The kernel's share is the rest of what is in use: used, cache and free make the total.
    EXPECT_EQ(memory.wired, (16'000'000 - 2'000'000 - 6'200'000 - 5'300'000 - 300'000) * kB);
    EXPECT_EQ(memory.compressed, 300'000 * kB);
    EXPECT_EQ(memory.cached, (100'000 + 5'000'000 + 400'000 - 200'000) * kB);
    EXPECT_EQ(memory.swapUsed, 1'000'000 * kB);
    EXPECT_EQ(memory.freePercent, 40);
    EXPECT_EQ(memory.pressure, Pressure::normal);
    // Cache and swap stay out of what is used.
    EXPECT_EQ(memory.used(), memory.app + memory.wired + memory.compressed);
}

TEST(SystemStatsTests, FiguresTooLargeForAnyMachineAreHeldSoTheSumsCannotOverflow)
{
    // Each near 2^63 bytes: summed as they are, Buffers + Cached + SReclaimable would overflow.
    const std::string huge = " 9007199254740991 kB\n";
    const Platform::MemoryInfo::Fields fields = Platform::MemoryInfo::parseMeminfo(
        "MemTotal:" + huge + "MemFree: 0 kB\nMemAvailable:" + huge + "Buffers:" + huge + "Cached:" + huge
        + "SReclaimable:" + huge + "AnonPages:" + huge + "Shmem:" + huge + "Zswap:" + huge
        + "SwapTotal:" + huge + "SwapFree: 0 kB\n");
    ASSERT_EQ(fields.at("Cached"), 9007199254740991 * kB);

    const MemorySnapshot memory = SystemStats::memory(fields, std::nullopt);
    constexpr std::int64_t held = std::int64_t{1} << 60;
    EXPECT_EQ(memory.total, held);
    EXPECT_EQ(memory.app, 2 * held);
    EXPECT_EQ(memory.cached, 2 * held);
    EXPECT_EQ(memory.compressed, held);
    EXPECT_EQ(memory.wired, 0);
    EXPECT_EQ(memory.swapUsed, held);
    EXPECT_EQ(memory.freePercent, 100);
}

TEST(SystemStatsTests, OddSpacingUnitlessValuesAndBrokenLinesAreReadOrSkipped)
{
    const TemporaryFolder folder;
    const std::string root = procRoot(folder, "MemTotal:\t1000 kB\nMemAvailable:333 kB   \r\nAnonPages   :   7 kB\n"
                                              "Buffers: lots kB\n"                      // not a number
                                              "Cached: 50 MB\n"                         // not a kernel unit
                                              "no colon at all 12 kB\n"
                                              "SReclaimable: 99999999999999999999 kB\n" // beyond 64 bits
                                              "SUnreclaim: 9007199254740993 kB\n"       // overflows as bytes
                                              "KernelStack: 3\n\n");
    const Platform::MemoryInfo::Fields fields = Platform::MemoryInfo::meminfo(root);
    EXPECT_EQ(fields.at("MemTotal"), 1000 * kB);
    EXPECT_EQ(fields.at("MemAvailable"), 333 * kB);
    EXPECT_EQ(fields.at("AnonPages"), 7 * kB);
    EXPECT_EQ(fields.at("KernelStack"), 3);
    for (const char* skipped : {"Buffers", "Cached", "SReclaimable", "SUnreclaim"})
        EXPECT_FALSE(fields.contains(skipped)) << skipped;

    const MemorySnapshot memory = SystemStats::memory(root);
    EXPECT_EQ(memory.freePercent, 33); // rounded down
    EXPECT_EQ(memory.cached, 0);
    EXPECT_EQ(memory.compressed, 0); // a kernel without zswap has no Zswap line
}

TEST(SystemStatsTests, WhatCannotBeReadNeverLooksTight)
{
    const TemporaryFolder folder;
    EXPECT_EQ(SystemStats::memory(folder / "nowhere"), MemorySnapshot{});
    EXPECT_EQ(MemorySnapshot{}.freePercent, 100);

    // A total but no MemAvailable, and swap counters that disagree.
    const MemorySnapshot memory =
        SystemStats::memory(procRoot(folder, "MemTotal: 4000 kB\nSwapTotal: 10 kB\nSwapFree: 20 kB\n"));
    EXPECT_EQ(memory.total, 4000 * kB);
    EXPECT_EQ(memory.freePercent, 100);
    EXPECT_EQ(memory.pressure, Pressure::normal);
    EXPECT_EQ(memory.swapUsed, 0);
}

TEST(SystemStatsTests, PressureStallFileIsReadWithOrWithoutItsFullLine)
{
    const TemporaryFolder folder;
    const std::string root = procRoot(folder, "",
                                      "some avg10=12.50 avg60=3.25 avg300=1.00 total=123456\n"
                                      "full  avg10=4.00\tavg60=0.75 avg300=0.10 total=789\n");
    EXPECT_EQ(Platform::MemoryInfo::pressureStall(root),
              (PressureStall{.someAvg10 = 12.5, .someAvg60 = 3.25, .fullAvg10 = 4.0, .fullAvg60 = 0.75}));

    write(root + "/pressure/memory", "some avg10=1.00 avg60=2.00 avg300=0.00 total=5\n");
    EXPECT_EQ(Platform::MemoryInfo::pressureStall(root),
              (PressureStall{.someAvg10 = 1.0, .someAvg60 = 2.0, .fullAvg10 = 0, .fullAvg60 = 0}));

    for (const char* broken : {"", "some avg10=abc avg60=1.00\n", "full avg10=1.00 avg60=1.00\n",
                               "some avg60=1.00 avg300=0.00\n"}) {
        write(root + "/pressure/memory", broken);
        EXPECT_EQ(Platform::MemoryInfo::pressureStall(root), std::nullopt) << broken;
    }
    EXPECT_EQ(Platform::MemoryInfo::pressureStall(folder / "nowhere"), std::nullopt);
}

TEST(SystemStatsTests, StallFiguresDecideAndWithoutThemTheAvailableShare)
{
    struct Case {
        PressureStall stall;
        Pressure expected;
    };
    for (const auto& [stall, expected] : {
             Case{{0, 0, 0, 0}, Pressure::normal}, Case{{9.99, 4.99, 1.99, 4.99}, Pressure::normal},
             Case{{10.0, 0, 0, 0}, Pressure::warning}, Case{{0, 5.0, 0, 0}, Pressure::warning},
             Case{{0, 0, 2.0, 0}, Pressure::warning}, Case{{100, 100, 9.99, 4.99}, Pressure::warning},
             Case{{0, 0, 10.0, 0}, Pressure::critical}, Case{{0, 0, 0, 5.0}, Pressure::critical}}) {
        // Even with little memory available: a full cache of idle pages is not a slow machine.
        for (const int availablePercent : {100, 1})
            EXPECT_EQ(SystemStats::pressure(stall, availablePercent), expected)
                << stall.someAvg10 << " " << stall.someAvg60 << " " << stall.fullAvg10 << " " << stall.fullAvg60;
    }
    for (const auto& [availablePercent, expected] :
         {std::pair{100, Pressure::normal}, {16, Pressure::normal}, {15, Pressure::warning}, {6, Pressure::warning},
          {5, Pressure::critical}, {0, Pressure::critical}})
        EXPECT_EQ(SystemStats::pressure(std::nullopt, availablePercent), expected) << availablePercent;

    // End to end: no pressure folder, 4% available; with a quiet stall file the same machine is fine.
    const TemporaryFolder folder;
    const std::string root = procRoot(folder, "MemTotal: 1000 kB\nMemAvailable: 40 kB\n");
    EXPECT_EQ(SystemStats::memory(root).pressure, Pressure::critical);
    write(folder.makeFolder("proc/pressure") + "/memory", quietPressure);
    EXPECT_EQ(SystemStats::memory(root).pressure, Pressure::normal);
}

TEST(SystemStatsTests, PressureRawValuesRoundTrip)
{
    for (const Pressure pressure : {Pressure::normal, Pressure::warning, Pressure::critical})
        EXPECT_EQ(memoryPressure(rawValue(pressure)), pressure);
    EXPECT_EQ(memoryPressure("high"), std::nullopt);
}

TEST(SystemStatsTests, ThisMachinesMemoryIsSelfConsistent)
{
    const MemorySnapshot memory = SystemStats::memory();
    // Both are the kernel's totalram.
    EXPECT_EQ(memory.total, static_cast<std::int64_t>(::sysconf(_SC_PHYS_PAGES)) * ::sysconf(_SC_PAGESIZE));
    EXPECT_GT(memory.app, 0);
    EXPECT_GT(memory.wired, 0);
    EXPECT_GE(memory.cached, 0);
    EXPECT_GE(memory.compressed, 0);
    EXPECT_GE(memory.swapUsed, 0);
    EXPECT_LE(memory.used() + memory.cached, memory.total);
    EXPECT_GE(memory.freePercent, 0);
    EXPECT_LE(memory.freePercent, 100);
}

TEST(SystemStatsTests, DiskMatchesStatvfsArithmeticForAUsersBlocks)
{
    const TemporaryFolder folder;
    const std::optional<DiskUsage> usage = SystemStats::disk(folder.path());
    struct statvfs volume {};
    ASSERT_EQ(::statvfs(folder.path().c_str(), &volume), 0);
    ASSERT_TRUE(usage.has_value());
    const auto unit = static_cast<std::int64_t>(volume.f_frsize);
    EXPECT_EQ(usage->total, static_cast<std::int64_t>(volume.f_blocks) * unit);
    // Free space moves while others write; a few megabytes of slack.
    EXPECT_NEAR(static_cast<double>(usage->available), static_cast<double>(volume.f_bavail) * unit, 64e6);
    EXPECT_LE(usage->available, usage->total);
    EXPECT_GT(usage->usedFraction(), 0.0);
    EXPECT_LE(usage->usedFraction(), 1.0);
    EXPECT_EQ(SystemStats::disk(folder / "missing/deeper"), std::nullopt);
}

TEST(SystemStatsTests, DiskTakesTheBestAvailableFigureAndNeedsATotal)
{
    using Platform::VolumeCapacity;
    const auto disk = [](std::optional<std::int64_t> total, std::optional<std::int64_t> important,
                         std::optional<std::int64_t> available) {
        return SystemStats::disk(
            VolumeCapacity{.total = total, .availableForImportantUsage = important, .available = available});
    };
    EXPECT_EQ(SystemStats::disk(std::nullopt), std::nullopt);
    EXPECT_EQ(disk(std::nullopt, 5, 5), std::nullopt);
    EXPECT_EQ(disk(100, 40, 30), (DiskUsage{.total = 100, .available = 40}));
    // A volume that reports 0 for important usage has not worked it out.
    EXPECT_EQ(disk(100, 0, 30), (DiskUsage{.total = 100, .available = 30}));
    EXPECT_EQ(disk(100, std::nullopt, std::nullopt), (DiskUsage{.total = 100, .available = 0}));

    EXPECT_EQ((DiskUsage{.total = 0, .available = 0}).usedFraction(), 0.0);
    EXPECT_EQ((DiskUsage{.total = -5, .available = 0}).usedFraction(), 0.0);
    EXPECT_DOUBLE_EQ((DiskUsage{.total = 200, .available = 50}).usedFraction(), 0.75);
}

} // namespace
} // namespace tarno
