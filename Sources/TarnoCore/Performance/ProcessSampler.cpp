#include "TarnoCore/Performance/ProcessSampler.hpp"

#include "TarnoCore/Platform/SystemPaths.hpp"

#include <algorithm>
#include <limits>
#include <map>

namespace tarno {

namespace {

std::string_view lastComponent(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::uint64_t steadyNanoseconds()
{
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}


constexpr std::string_view kernelGroup = "System (kernel)";

struct Accumulator {
    std::string name;
    std::optional<std::string> bundlePath;
    std::vector<std::int32_t> pids;
    std::optional<std::int32_t> mainPID;
    std::int64_t memory = 0;
    double cpu = 0;
    bool isSystemService = true;
};

} // namespace

std::optional<std::string> ProcessSampler::bundlePath(std::string_view path)
{
    constexpr std::string_view application = ".app/";
    constexpr std::string_view bundle = ".app.bundle/";
    const std::size_t applicationAt = path.find(application);
    const std::size_t bundleAt = path.find(bundle);
    if (applicationAt == std::string_view::npos && bundleAt == std::string_view::npos)
        return std::nullopt;
    if (applicationAt <= bundleAt)
        return std::string(path.substr(0, applicationAt + application.size() - 1));
    return std::string(path.substr(0, bundleAt + bundle.size() - 1));
}

ProcessSampler::ProcessSampler()
    : ProcessSampler(Platform::ProcessTable())
{
}

ProcessSampler::ProcessSampler(Platform::ProcessTable table, MonotonicClock clock)
    : m_table(std::move(table))
    , m_clock(clock ? std::move(clock) : MonotonicClock(steadyNanoseconds))
    , m_timebase{1'000'000'000, m_table.ticksPerSecond()}
{
}

ProcessSample ProcessSampler::sample()
{
    const std::lock_guard lock(m_sampling);
    const std::uint64_t now = m_clock();
    const std::uint64_t elapsed = m_previousTime == 0 ? 0 : now - m_previousTime;
    const std::int64_t bootTime = m_table.bootTime();
    const std::uint64_t denom = m_timebase.denom == 0 ? 1 : m_timebase.denom;

    std::unordered_map<std::int32_t, std::uint64_t> newCPU;
    ProcessSample sample;
    for (const std::int32_t pid : m_table.allPIDs()) {
        // Memory that cannot be read means another user's process; a stat
        // that cannot be read, one that ended since the listing.
        const std::optional<std::int64_t> memory = m_table.memoryBytes(pid);
        if (!memory)
            continue;
        const std::optional<Platform::ProcessTable::Status> status = m_table.status(pid);
        if (!status)
            continue;

        // Divided before multiplied so that years of processor time cannot overflow.
        const std::uint64_t ticks = status->processorTicks;
        const std::uint64_t total = ticks / denom * m_timebase.numer + ticks % denom * m_timebase.numer / denom;
        newCPU[pid] = total;

        ProcessSnapshot snapshot;
        snapshot.pid = pid;
        snapshot.parentPID = status->parentPID;
        snapshot.memoryBytes = *memory;
        if (!m_previousCPU.empty() && elapsed != 0) {
            const auto previous = m_previousCPU.find(pid);
            if (previous != m_previousCPU.end() && total >= previous->second)
                snapshot.cpuPercent =
                    static_cast<double>(total - previous->second) / static_cast<double>(elapsed) * 100;
        }
        snapshot.path = m_table.executablePath(pid);
        if (!snapshot.path.empty())
            snapshot.name = lastComponent(snapshot.path);
        else if (!status->command.empty())
            snapshot.name = status->command;
        else
            snapshot.name = "pid " + std::to_string(pid);
        // Linux has no notion of a responsible process: each answers for itself.
        // A boot time or start the clock cannot hold (a damaged /proc) leaves the start unknown.
        constexpr std::int64_t latestSecond = std::numeric_limits<std::int64_t>::max() / 1'000'000'000 - 1;
        const std::uint64_t secondsSinceBoot = status->startTicks / denom;
        if (bootTime > 0 && bootTime < latestSecond
            && secondsSinceBoot < static_cast<std::uint64_t>(latestSecond - bootTime)) {
            const auto sinceBoot = std::chrono::nanoseconds(
                static_cast<std::int64_t>(status->startTicks / denom * 1'000'000'000
                                          + status->startTicks % denom * 1'000'000'000 / denom));
            snapshot.started = std::chrono::system_clock::time_point(std::chrono::seconds(bootTime))
                               + std::chrono::duration_cast<std::chrono::system_clock::duration>(sinceBoot);
        }
        sample.processes.push_back(std::move(snapshot));
    }

    m_previousCPU = std::move(newCPU);
    m_previousTime = now;
    sample.groups = groups(sample.processes);
    return sample;
}

std::vector<std::string> ProcessSampler::arguments(std::int32_t pid, const Platform::ProcessTable& table)
{
    return table.arguments(pid);
}

std::optional<std::string> ProcessSampler::workingDirectory(std::int32_t pid, const Platform::ProcessTable& table)
{
    return table.workingDirectory(pid);
}

std::vector<std::string> ProcessSampler::workingDirectories(const Platform::ProcessTable& table)
{
    std::vector<std::string> folders;
    for (const std::int32_t pid : table.allPIDs()) {
        if (std::optional<std::string> folder = table.workingDirectory(pid))
            folders.push_back(std::move(*folder));
    }
    return folders;
}

std::vector<TCPSocket> ProcessSampler::tcpSockets(std::int32_t pid, const Platform::ProcessTable& table)
{
    return table.tcpSockets(pid);
}

std::vector<std::uint16_t> ProcessSampler::listeningPorts(std::int32_t pid, const Platform::ProcessTable& table)
{
    std::vector<std::uint16_t> ports;
    for (const TCPSocket& socket : table.tcpSockets(pid)) {
        if (socket.state == TCPSocket::State::listening)
            ports.push_back(socket.localPort);
    }
    std::sort(ports.begin(), ports.end());
    ports.erase(std::unique(ports.begin(), ports.end()), ports.end());
    return ports;
}

std::string ProcessSampler::path(std::int32_t pid, const Platform::ProcessTable& table)
{
    return table.executablePath(pid);
}

bool ProcessSampler::isSystemService(std::string_view path)
{
    return Platform::isSystemPath(path);
}

std::vector<ProcessGroup> ProcessSampler::groups(const std::vector<ProcessSnapshot>& snapshots)
{
    std::vector<std::string> keys; // in the order first seen, so that ties keep it
    std::map<std::string, Accumulator, std::less<>> accumulators;
    for (const ProcessSnapshot& snapshot : snapshots) {
        // A system helper working for an application counts towards that
        // application; any other executable stands for itself.
        std::string_view owner = snapshot.path;
        bool throughResponsibility = false;
        if (isSystemService(snapshot.path) && !snapshot.responsiblePath.empty()
            && !isSystemService(snapshot.responsiblePath)) {
            owner = snapshot.responsiblePath;
            throughResponsibility = true;
        }

        // Kernel threads (kthreadd and its children) have no executable;
        // one group stands for all of them rather than a row per thread.
        const bool isKernelThread = snapshot.path.empty() && (snapshot.parentPID == 2 || snapshot.pid == 2);

        const std::optional<std::string> bundle = bundlePath(owner);
        std::optional<std::string> applicationName;
        std::string key;
        if (isKernelThread) {
            key = kernelGroup;
        } else if (bundle) {
            std::string_view bundleName = lastComponent(*bundle);
            bundleName.remove_suffix(bundleName.ends_with(".app.bundle") ? 11 : 4);
            applicationName = std::string(bundleName);
            key = "app:" + *applicationName;
        } else {
            key = owner.empty() ? snapshot.name : std::string(lastComponent(owner));
        }

        auto found = accumulators.find(key);
        if (found == accumulators.end()) {
            Accumulator fresh;
            fresh.name = applicationName.value_or(key);
            fresh.bundlePath = bundle;
            found = accumulators.emplace(key, std::move(fresh)).first;
            keys.push_back(key);
        }
        Accumulator& group = found->second;
        // An ordinary bundle outranks a ".app.bundle" of the same name; among
        // ordinary ones the first seen stays.
        if (bundle && !(group.bundlePath && group.bundlePath->ends_with(".app")))
            group.bundlePath = bundle;
        group.pids.push_back(snapshot.pid);
        group.memory += snapshot.memoryBytes;
        group.cpu += snapshot.cpuPercent;
        group.isSystemService = group.isSystemService && isSystemService(owner);
        if (bundle && !group.mainPID && !throughResponsibility
            && std::string_view(snapshot.path).starts_with(*bundle + "/Contents/MacOS/"))
            group.mainPID = snapshot.pid;
    }

    std::vector<ProcessGroup> result;
    result.reserve(keys.size());
    for (const std::string& key : keys) {
        Accumulator& group = accumulators.find(key)->second;
        ProcessGroup finished;
        finished.id = key;
        finished.name = std::move(group.name);
        finished.bundlePath = std::move(group.bundlePath);
        finished.mainPID = group.mainPID.value_or(
            group.pids.empty() ? 0 : *std::min_element(group.pids.begin(), group.pids.end()));
        finished.pids = std::move(group.pids);
        finished.memoryBytes = group.memory;
        finished.cpuPercent = group.cpu;
        finished.isSystemService = group.isSystemService;
        result.push_back(std::move(finished));
    }
    std::stable_sort(result.begin(), result.end(),
                     [](const ProcessGroup& a, const ProcessGroup& b) { return a.memoryBytes > b.memoryBytes; });
    return result;
}

} // namespace tarno
