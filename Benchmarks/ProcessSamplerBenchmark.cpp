// One sample of every process on this machine, as the monitor and the
// screens take it, and what it costs per process.

#include "TarnoCore/Performance/ProcessSampler.hpp"

#include <benchmark/benchmark.h>

namespace {

void BM_Sample(benchmark::State& state)
{
    tarno::ProcessSampler sampler;
    sampler.sample(); // so that the shares are worked out as in steady use
    std::size_t processes = 0;
    for (auto _ : state) {
        const tarno::ProcessSample sample = sampler.sample();
        processes += sample.processes.size();
        benchmark::DoNotOptimize(sample.groups.data());
    }
    state.counters["processes"] =
        benchmark::Counter(static_cast<double>(processes) / static_cast<double>(state.iterations()));
    // Iterations per process, inverted: the time column reads as seconds per process.
    state.counters["perProcess"] = benchmark::Counter(static_cast<double>(processes),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_Sample)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Grouping(benchmark::State& state)
{
    tarno::ProcessSampler sampler;
    const tarno::ProcessSample sample = sampler.sample();
    for (auto _ : state)
        benchmark::DoNotOptimize(tarno::ProcessSampler::groups(sample.processes).data());
    state.counters["processes"] = static_cast<double>(sample.processes.size());
}
BENCHMARK(BM_Grouping)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
