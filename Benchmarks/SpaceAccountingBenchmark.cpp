// Times the projects' space accounting against the limit any walk of the same
// folders meets on this machine: getdents64 and one statx per entry, on as
// many threads as there are cores, the folders split at their first level as
// the accounting splits them. du -s over the same folders is timed by
// compare_projects_du.sh.
//
// The projects are those under TARNO_BENCH_TREE/projects (the benchmark
// corpus: npm and pnpm trees, Rust and Gradle output), with the tree's pnpm
// store as the cache.

#include "TarnoCore/Foundation/ConcurrentPerform.hpp"
#include "TarnoCore/Projects/ProjectFinder.hpp"
#include "TarnoCore/Projects/ProjectScanner.hpp"
#include "TarnoCore/Projects/SpaceAccounting.hpp"

#include "BareWalk.hpp"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <dirent.h>

namespace {

struct Corpus {
    std::string home;
    std::vector<tarno::SpaceOwner> owners;
};

const Corpus& corpus()
{
    static const Corpus found = [] {
        Corpus result;
        const char* tree = std::getenv("TARNO_BENCH_TREE");
        if (tree == nullptr) {
            std::fprintf(stderr, "set TARNO_BENCH_TREE to a benchmark corpus (make_corpus.py)\n");
            std::exit(2);
        }
        result.home = tree;
        for (const tarno::FoundArtifact& artifact :
             tarno::ProjectFinder::find({result.home + "/projects"}, [] { return false; }).artifacts)
            result.owners.push_back(tarno::SpaceOwner{artifact.path, {}});
        return result;
    }();
    return found;
}

void accounting(benchmark::State& state)
{
    const Corpus& projects = corpus();
    const std::vector<std::string> caches = tarno::ProjectScanner::cacheFolders(projects.home);
    std::int64_t entries = 0;
    for (auto _ : state) {
        const tarno::SpaceAccount account = tarno::SpaceAccounting::measure(
            projects.owners, caches, [&](std::int64_t seen) { entries = seen; }, [] { return false; });
        benchmark::DoNotOptimize(account);
    }
    state.counters["owners"] = static_cast<double>(projects.owners.size());
    state.counters["entries"] = static_cast<double>(entries);
}

void bareWalkOnAllCores(benchmark::State& state)
{
    const Corpus& projects = corpus();
    // The same units as the accounting: each owner's loose files, and each of its subfolders.
    struct Unit {
        std::string path;
        bool looseFilesOnly;
    };
    std::vector<Unit> units;
    for (const tarno::SpaceOwner& owner : projects.owners) {
        units.push_back(Unit{owner.path, true});
        if (DIR* folder = ::opendir(owner.path.c_str())) {
            while (const dirent* entry = ::readdir(folder)) {
                if (entry->d_type == DT_DIR && std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                    units.push_back(Unit{owner.path + "/" + entry->d_name, false});
            }
            ::closedir(folder);
        }
    }
    std::atomic<std::int64_t> entries = 0;
    for (auto _ : state) {
        entries = 0;
        tarno::concurrentPerform(units.size(), [&](std::size_t index) {
            entries += tarno::bench::bareWalk(units[index].path, units[index].looseFilesOnly);
        });
    }
    state.counters["entries"] = static_cast<double>(entries.load());
}

} // namespace

BENCHMARK(accounting)->Name("SpaceAccounting/measure")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(bareWalkOnAllCores)->Name("Baseline/getdents64+statx on all cores")->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
