// Times the large file finder against the limit any search of the same
// folders meets on this machine: getdents64 and one statx per entry, on as
// many threads as there are cores, over the finder's own units (the folders
// two levels down) and leaving out the folders it leaves out. `find -size`
// over the same tree is timed by compare_large_find.sh.
//
// The tree is TARNO_BENCH_TREE (the benchmark corpus of make_corpus.py); the
// floor is 1,000,000 bytes.

#include "TarnoCore/Foundation/ConcurrentPerform.hpp"
#include "TarnoCore/Duplicates/LargeFileFinder.hpp"

#include "BareWalk.hpp"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr std::int64_t minimumBytes = 1'000'000;

const std::string& tree()
{
    static const std::string root = [] {
        const char* given = std::getenv("TARNO_BENCH_TREE");
        if (given == nullptr) {
            std::fprintf(stderr, "set TARNO_BENCH_TREE to a benchmark corpus (make_corpus.py)\n");
            std::exit(2);
        }
        return std::string(given);
    }();
    return root;
}

void finder(benchmark::State& state)
{
    std::size_t found = 0;
    std::atomic<std::int64_t> examined = 0;
    for (auto _ : state) {
        const std::vector<tarno::LargeFile> files = tarno::LargeFileFinder::find(
            tree(), minimumBytes, 1000, {},
            [&](std::int64_t total) {
                for (std::int64_t was = examined; total > was && !examined.compare_exchange_weak(was, total);) {
                }
            },
            [] { return false; });
        found = files.size();
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found);
    state.counters["examined"] = static_cast<double>(examined.load());
}

void bareWalkOnAllCores(benchmark::State& state)
{
    const tarno::LargeFileFinder::Subtrees split = tarno::LargeFileFinder::subtrees(tree(), 2, {});
    const auto& skipped = tarno::LargeFileFinder::skippedFolderNames();
    const auto enter = [&](std::string_view name) { return !skipped.contains(name); };
    std::atomic<std::int64_t> entries = 0;
    for (auto _ : state) {
        entries = 0;
        tarno::concurrentPerform(split.folders.size(), [&](std::size_t index) {
            entries += tarno::bench::bareWalk(split.folders[index], false, enter);
        });
    }
    state.counters["units"] = static_cast<double>(split.folders.size());
    state.counters["entries"] = static_cast<double>(entries.load());
}

} // namespace

BENCHMARK(finder)->Name("LargeFileFinder/find")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(bareWalkOnAllCores)->Name("Baseline/getdents64+statx on all cores")->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
