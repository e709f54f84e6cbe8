// One pass of the Performance section's three-second loop (sample, recognise
// the developer tools, the idle bookkeeping) on this machine, then with 2,000
// more processes running; and what watching projects for edits costs.
//
// The share of a core the loop takes is a pass's processor time over the
// three seconds between passes: the "coreShare" counter.
//
//   tarno_performance_loop_benchmark [--benchmark_filter=…]
//   TARNO_BENCH_PROJECTS=DIR   watch the project folders below DIR (the
//                              benchmark corpus) instead of a made-up set

#include "TarnoCore/Performance/DeveloperTools.hpp"
#include "TarnoCore/Performance/FolderActivity.hpp"
#include "TarnoCore/Performance/IdleServers.hpp"
#include "TarnoCore/Performance/ProcessSampler.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <benchmark/benchmark.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

namespace fs = std::filesystem;

double processorSeconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Sleeping children that stand for a busy machine's processes.
class Crowd {
public:
    explicit Crowd(int count)
    {
        char sleep[] = "/bin/sleep";
        char seconds[] = "600";
        char* arguments[] = {sleep, seconds, nullptr};
        for (int index = 0; index < count; ++index) {
            pid_t pid = 0;
            if (::posix_spawn(&pid, sleep, nullptr, nullptr, arguments, environ) == 0)
                m_pids.push_back(pid);
        }
    }
    ~Crowd()
    {
        for (const pid_t pid : m_pids)
            ::kill(pid, SIGKILL);
        for (const pid_t pid : m_pids)
            ::waitpid(pid, nullptr, 0);
    }
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

private:
    std::vector<pid_t> m_pids;
};

void BM_LoopPass(benchmark::State& state)
{
    const Crowd crowd(static_cast<int>(state.range(0)));
    const std::string home = tarno::Platform::homeFolder();
    tarno::ProcessSampler sampler;
    sampler.sample();
    tarno::IdleServers idle;
    std::size_t processes = 0;
    const double processorBefore = processorSeconds();
    for (auto _ : state) {
        const tarno::ProcessSample sample = sampler.sample();
        const std::vector<tarno::DeveloperTools::DeveloperTool> tools = tarno::DeveloperTools::find(sample, home);
        std::vector<tarno::IdleServers::Server> servers;
        for (const auto& tool : tools) {
            if (tool.kind == tarno::DeveloperTools::DeveloperTool::Kind::devServer)
                servers.push_back({tool.id, tool.started, tool.folder, tool.clients});
        }
        idle.observe(servers, {}, std::chrono::system_clock::now());
        processes += sample.processes.size();
        benchmark::DoNotOptimize(tools.data());
    }
    const double passes = static_cast<double>(state.iterations());
    state.counters["processes"] = static_cast<double>(processes) / passes;
    state.counters["perProcess"] =
        benchmark::Counter(static_cast<double>(processes), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["coreShare%"] = (processorSeconds() - processorBefore) / passes / 3.0 * 100.0;
}
BENCHMARK(BM_LoopPass)->Arg(0)->Arg(2000)->Unit(benchmark::kMillisecond)->UseRealTime();

// Project folders: those given, or 40 made-up projects with sources and the
// build output and packages that are never watched.
std::vector<std::string> projects(const fs::path& scratch)
{
    std::vector<std::string> found;
    if (const char* given = std::getenv("TARNO_BENCH_PROJECTS")) {
        std::error_code error;
        for (const fs::directory_entry& entry : fs::directory_iterator(given, error)) {
            if (entry.is_directory(error))
                found.push_back(entry.path().string());
        }
        return found;
    }
    for (int project = 0; project < 40; ++project) {
        const fs::path root = scratch / ("project" + std::to_string(project));
        for (int folder = 0; folder < 60; ++folder)
            fs::create_directories(root / "src" / ("module" + std::to_string(folder)) / "parts");
        for (int package = 0; package < 300; ++package)
            fs::create_directories(root / "node_modules" / ("package" + std::to_string(package)) / "lib");
        fs::create_directories(root / ".git" / "objects");
        std::ofstream(root / "src" / "index.ts") << "export {};\n";
        found.push_back(root.string());
    }
    return found;
}

void BM_WatchProjects(benchmark::State& state)
{
    const fs::path scratch = fs::temp_directory_path() / ("tarno-watch-bench-" + std::to_string(::getpid()));
    const std::vector<std::string> folders = projects(scratch);
    std::size_t watches = 0;
    std::size_t polled = 0;
    for (auto _ : state) {
        auto activity = std::make_unique<tarno::FolderActivity>(std::chrono::seconds(5));
        activity->watch(folders);
        watches = activity->watchCount();
        polled = activity->polledFolders().size();
        // Tearing the watches down is not the setup's cost.
        state.PauseTiming();
        activity.reset();
        state.ResumeTiming();
    }
    state.counters["projects"] = static_cast<double>(folders.size());
    state.counters["watches"] = static_cast<double>(watches);
    state.counters["polled"] = static_cast<double>(polled);
    std::error_code error;
    fs::remove_all(scratch, error);
}
BENCHMARK(BM_WatchProjects)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

BENCHMARK_MAIN();
