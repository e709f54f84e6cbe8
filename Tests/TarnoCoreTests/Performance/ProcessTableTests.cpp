#include "TarnoCore/Performance/ProcessSampler.hpp"
#include "TarnoCore/Platform/ProcessTable.hpp"

#include "Support/TemporaryFolder.hpp"
#include "Support/Unprivileged.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <limits>

#include <sys/stat.h>

namespace tarno {
namespace {

using Platform::ProcessTable;
using Strings = std::vector<std::string>;

constexpr std::int64_t bootTime = 1'700'000'000;

// A made-up procfs tree: each process is a folder of the files the table reads.
struct FakeProcfs {
    FakeProcfs() { write("stat", "cpu  1 2 3 4\nintr 0\nbtime " + std::to_string(bootTime) + "\nprocesses 9\n"); }

    ProcessTable table() const { return ProcessTable(folder.path(), 100); }

    void write(const std::string& relative, const std::string& contents) const
    {
        folder.makeFile(relative);
        std::ofstream(folder / relative, std::ios::binary) << contents;
    }

    // stat with the given short name, parent, user and system ticks, start ticks; smaps_rollup with Pss and SwapPss.
    void addProcess(std::int32_t pid, const std::string& command, std::int32_t parent, std::uint64_t user,
                    std::uint64_t system, std::uint64_t start, std::int64_t pssKB = 0, std::int64_t swapPssKB = 0) const
    {
        setTimes(pid, command, parent, user, system, start);
        write(std::to_string(pid) + "/smaps_rollup",
              "00400000-7ffd0000 ---p 00000000 00:00 0   [rollup]\nRss:    9000 kB\nPss:   " + std::to_string(pssKB)
                  + " kB\nPss_Anon:    7 kB\nSwap:   400 kB\nSwapPss:  " + std::to_string(swapPssKB) + " kB\n");
    }

    void setTimes(std::int32_t pid, const std::string& command, std::int32_t parent, std::uint64_t user,
                  std::uint64_t system, std::uint64_t start, char state = 'S', std::int32_t group = 1) const
    {
        write(std::to_string(pid) + "/stat",
              std::to_string(pid) + " (" + command + ") " + state + " " + std::to_string(parent) + " "
                  + std::to_string(group) + " 1 0 -1 4194560 10 0 0 0 "
                  + std::to_string(user) + " " + std::to_string(system) + " 0 0 20 0 1 0 " + std::to_string(start)
                  + " 41803776 2941 18446744073709551615 1 1 0 0 0 0 0 4096 1256 0 0 0 17 1 0 0 0 0 0\n");
    }

    void link(std::int32_t pid, const std::string& name, const std::string& target) const
    {
        folder.makeSymlink(target, std::to_string(pid) + "/" + name);
    }

    test::TemporaryFolder folder;
};

const ProcessSnapshot* snapshotOf(const ProcessSample& sample, std::int32_t pid)
{
    const auto found = std::ranges::find(sample.processes, pid, &ProcessSnapshot::pid);
    return found == sample.processes.end() ? nullptr : &*found;
}

TEST(ProcessTable, ReadsStatWithOddShortNamesGroupsAndEndedProcesses)
{
    FakeProcfs procfs;
    procfs.addProcess(10, "my (odd) name) Z", 4, 7, 3, 250);
    procfs.addProcess(11, "", 1, 0, 0, 0);
    procfs.write("12/stat", "12 (no closing parenthesis S 1 1\n");
    procfs.write("13/stat", "13 (short) S 1 1 1\n"); // a line cut short is no status
    // Only a zombie and a dead process have ended; sleeping, running and stopped ones have not.
    const std::vector<std::pair<char, bool>> states = {{'Z', true}, {'X', true}, {'R', false}, {'T', false}};
    for (std::int32_t pid = 30; const auto& [state, ended] : states)
        procfs.setTimes(pid++, "member", 1, 0, 0, 0, state, 77);

    const ProcessTable table = procfs.table();
    EXPECT_EQ(table.status(10), (ProcessTable::Status{4, "my (odd) name) Z", 10, 250, 1, false}));
    EXPECT_EQ(table.status(11)->command, "");
    for (std::int32_t pid = 30; const auto& [state, ended] : states) {
        const auto status = table.status(pid++);
        ASSERT_TRUE(status) << state;
        EXPECT_EQ(status->processGroup, 77) << state;
        EXPECT_EQ(status->hasEnded, ended) << state;
    }
    for (const std::int32_t pid : {12, 13, 99})
        EXPECT_EQ(table.status(pid), std::nullopt) << pid;
    EXPECT_EQ(table.bootTime(), bootTime);
}

TEST(ProcessTable, MemoryIsProportionalWithSwapAndFallsBackToAnonymousMemory)
{
    FakeProcfs procfs;
    procfs.addProcess(20, "a", 1, 0, 0, 0, 1500, 100);
    // No rollup: resident anonymous memory from status; none at all for a kernel thread.
    procfs.write("21/status", "Name:\tb\nRssAnon:\t    2048 kB\nRssFile:\t 9999 kB\n");
    procfs.write("22/status", "Name:\tkthreadd\nKthread:\t1\n");

    const ProcessTable table = procfs.table();
    EXPECT_EQ(table.memoryBytes(20), (1500 + 100) * 1024);
    EXPECT_EQ(table.memoryBytes(21), 2048 * 1024);
    EXPECT_EQ(table.memoryBytes(22), 0);
    EXPECT_EQ(table.memoryBytes(23), std::nullopt) << "a process that is gone";
}

TEST(ProcessTable, NegativeOrOverlargeMemoryFiguresCountAsAbsent)
{
    const std::string max = "9223372036854775807";
    const std::string largest = std::to_string(std::numeric_limits<std::int64_t>::max() / 1024);
    const std::vector<std::pair<std::string, std::int64_t>> rollups = {
        {"Pss: 10 kB\nSwapPss: 2 kB\n", 12 * 1024},
        {"Pss: -10 kB\nSwapPss: 2 kB\n", 2 * 1024},
        {"Pss: " + max + " kB\nSwapPss: 2 kB\n", 2 * 1024},
        {"Pss: " + largest + " kB\n", std::numeric_limits<std::int64_t>::max() / 1024 * 1024},
        {"Pss: " + largest + " kB\nSwapPss: " + largest + " kB\n", 0},
    };
    for (const auto& [text, bytes] : rollups)
        EXPECT_EQ(ProcessTable::rollupMemoryBytes(text), bytes) << text;
    EXPECT_EQ(ProcessTable::anonymousMemoryBytes("RssAnon: -1 kB\n"), 0);
    EXPECT_EQ(ProcessTable::anonymousMemoryBytes("RssAnon: " + max + " kB\n"), 0);
    EXPECT_EQ(ProcessTable::anonymousMemoryBytes("RssAnon: 3 kB\n"), 3 * 1024);
}

TEST(ProcessTable, ArgumentsFoldersAndExecutable)
{
    FakeProcfs procfs;
    procfs.write("30/cmdline", std::string("python3\0-c\0\0print(1)\0", 21));
    procfs.write("31/cmdline", std::string("nginx: worker process", 21)); // a rewritten title
    procfs.write("32/cmdline", "");
    procfs.link(30, "exe", "/usr/bin/python3.11 (deleted)");
    procfs.link(30, "cwd", "/home/a/project with space");
    procfs.link(31, "exe", "/usr/sbin/nginx");

    const ProcessTable table = procfs.table();
    EXPECT_EQ(ProcessSampler::arguments(30, table), (Strings{"python3", "-c", "", "print(1)"}));
    EXPECT_EQ(ProcessSampler::arguments(31, table), (Strings{"nginx: worker process"}));
    EXPECT_TRUE(ProcessSampler::arguments(32, table).empty());
    EXPECT_TRUE(ProcessSampler::arguments(33, table).empty());
    EXPECT_EQ(ProcessSampler::path(30, table), "/usr/bin/python3.11");
    EXPECT_EQ(ProcessSampler::path(32, table), "");
    EXPECT_EQ(ProcessSampler::workingDirectory(30, table), "/home/a/project with space");
    EXPECT_EQ(ProcessSampler::workingDirectory(31, table), std::nullopt);
}

TEST(ProcessTable, SocketsOfTheProcessFromBothTables)
{
    FakeProcfs procfs;
    for (const auto& [fd, target] : {std::pair{0, "/dev/null"}, {3, "socket:[1001]"}, {4, "socket:[1002]"},
                                     {5, "socket:[1003]"}, {6, "socket:[2001]"}, {7, "socket:[1004]"},
                                     {8, "pipe:[1005]"}})
        procfs.link(40, "fd/" + std::to_string(fd), target);
    const std::string heading =
        "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n";
    procfs.write("40/net/tcp",
                 heading
                     + "   0: 0100007F:1F90 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 1001 1 0 100 0 0 10 0\n"
                       "   1: 0100007F:1F90 0100007F:D431 01 00000000:00000000 00:00000000 00000000     0        0 1002 1 0 20 4 30 10 -1\n"
                       "   2: 0100007F:0016 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 9999 1 0 100 0 0 10 0\n"
                       "   3: 0100007F:C350 0100007F:1F90 06 00000000:00000000 03:00001234 00000000     0        0 0 3 0\n"
                       "   4: 0100007F:1F91 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 1004 1 0 100 0 0 10 0\n");
    procfs.write("40/net/tcp6",
                 heading
                     + "   0: 00000000000000000000000001000000:1F90 00000000000000000000000000000000:0000 0A 00000000:00000000 00:00000000 00000000  1000        0 2001 1 0 100 0 0 10 0\n"
                       "   1: 00000000000000000000000001000000:1F92 00000000000000000000000001000000:A000 08 00000000:00000000 00:00000000 00000000  1000        0 1003 1 0 100 0 0 10 0\n");

    const ProcessTable table = procfs.table();
    using State = TCPSocket::State;
    EXPECT_EQ(ProcessSampler::tcpSockets(40, table),
              (std::vector<TCPSocket>{{State::listening, 8080, 0}, {State::established, 8080, 54321},
                                      {State::listening, 8081, 0}, {State::listening, 8080, 0},
                                      {State::other, 8082, 40960}}));
    EXPECT_EQ(ProcessSampler::listeningPorts(40, table), (std::vector<std::uint16_t>{8080, 8081}));
    EXPECT_TRUE(ProcessSampler::tcpSockets(41, table).empty());
}

TEST(ProcessTable, UnreadableMemoryLeavesTheProcessOut)
{
    FakeProcfs procfs;
    procfs.addProcess(50, "mine", 1, 0, 0, 0, 10);
    procfs.addProcess(51, "theirs", 1, 0, 0, 0, 10);
    ::chmod((procfs.folder / "51/smaps_rollup").c_str(), 0600);
    for (const char* relative : {"", "50", "51"})
        test::openToEveryone(procfs.folder / relative);

    const test::UnprivilegedRun run = test::runAsNobody([&] {
        std::string pids;
        for (const ProcessSnapshot& snapshot : ProcessSampler(procfs.table()).sample().processes)
            pids += std::to_string(snapshot.pid) + " ";
        return pids;
    });
    if (!run.ran)
        GTEST_SKIP() << run.reason;
    EXPECT_EQ(run.output, "50 ");
}

TEST(ProcessSamplerOnAMadeUpTree, SnapshotsAndProcessorShares)
{
    FakeProcfs procfs;
    procfs.addProcess(1, "init", 0, 100, 50, 1, 2000);
    procfs.link(1, "exe", "/usr/lib/systemd/systemd");
    procfs.addProcess(700, "python (x) y", 1, 10, 0, 12345, 300, 20);
    procfs.link(700, "exe", "/usr/bin/python3");
    procfs.addProcess(2, "kthreadd", 0, 0, 0, 0);
    procfs.write("2/smaps_rollup", ""); // a kernel thread has no memory map
    procfs.write("self/stat", "not a process");
    procfs.folder.makeFolder("800"); // listed, then gone before it is read
    procfs.folder.makeFolder("0");

    std::uint64_t clock = 5'000'000'000;
    ProcessSampler sampler(procfs.table(), [&clock] { return clock; });
    const ProcessSample first = sampler.sample();
    ASSERT_EQ(first.processes.size(), 3u);
    for (const ProcessSnapshot& snapshot : first.processes)
        EXPECT_EQ(snapshot.cpuPercent, 0) << "a first sample has no shares";
    const auto started = std::chrono::system_clock::time_point(std::chrono::seconds(bootTime))
                         + std::chrono::milliseconds(123450);
    EXPECT_EQ(*snapshotOf(first, 700), (ProcessSnapshot{700, 1, "/usr/bin/python3", "python3", 320 * 1024, 0, "",
                                                        started}));
    // The short name stands in for a missing path.
    EXPECT_EQ(snapshotOf(first, 2)->name, "kthreadd");
    EXPECT_EQ(snapshotOf(first, 2)->memoryBytes, 0);
    EXPECT_EQ(first.groups.front().id, "systemd");
    EXPECT_TRUE(first.groups.front().isSystemService);

    // Two seconds later python used one and a half seconds of processor; init's time went down.
    clock += 2'000'000'000;
    procfs.setTimes(700, "python (x) y", 1, 110, 50, 12345);
    procfs.setTimes(1, "init", 0, 10, 0, 1);
    const ProcessSample second = sampler.sample();
    EXPECT_DOUBLE_EQ(snapshotOf(second, 700)->cpuPercent, 75.0);
    EXPECT_EQ(snapshotOf(second, 1)->cpuPercent, 0);
    EXPECT_EQ(snapshotOf(second, 2)->cpuPercent, 0);

    // A process that is new to the sampler starts at 0; one that vanished is forgotten.
    procfs.addProcess(900, "new", 1, 500, 0, 9);
    std::filesystem::remove_all(procfs.folder / "700");
    clock += 1'000'000'000;
    const ProcessSample third = sampler.sample();
    EXPECT_EQ(snapshotOf(third, 700), nullptr);
    EXPECT_EQ(snapshotOf(third, 900)->cpuPercent, 0);
    EXPECT_EQ(snapshotOf(third, 900)->name, "new");

    // A start or a boot time past what the clock can hold leaves the start unknown.
    procfs.addProcess(901, "far", 1, 0, 0, 9'000'000'000'000'000'000ULL);
    EXPECT_EQ(snapshotOf(sampler.sample(), 901)->started, std::nullopt);
    procfs.write("stat", "btime 9223372036854775807\n");
    EXPECT_EQ(snapshotOf(sampler.sample(), 900)->started, std::nullopt);
}

TEST(ProcessSamplerOnAMadeUpTree, WorkingDirectoriesInPidOrderWithRepeats)
{
    FakeProcfs procfs;
    procfs.link(3, "cwd", "/srv/app");
    procfs.link(4, "cwd", "/srv/app");
    procfs.folder.makeFolder("5");
    procfs.link(6, "cwd", "/");

    Strings folders = ProcessSampler::workingDirectories(procfs.table());
    std::sort(folders.begin(), folders.end()); // the folder's listing order is the file system's
    EXPECT_EQ(folders, (Strings{"/", "/srv/app", "/srv/app"}));
}

} // namespace
} // namespace tarno
