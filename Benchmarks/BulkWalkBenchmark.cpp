// Times the bulk walker and the size scanner against the plainest walk that
// reads the same figures: getdents64 and one statx per entry on one thread.
//
// The tree is TARNO_BENCH_TREE when set (for instance a corpus made by
// make_corpus.py), else about 20,000 files built once in a temporary folder.

#include "TarnoCore/Foundation/BulkWalker.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"

#include "BareWalk.hpp"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

// 20 projects × 10 packages × 10 folders × 10 files, with a hard link in
// every folder, as a node_modules store would have.
class GeneratedTree {
public:
    GeneratedTree()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tarno-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            std::abort();
        m_root = pattern;
        const std::string content(3000, 'b');
        for (int project = 0; project < 20; ++project) {
            for (int package = 0; package < 10; ++package) {
                for (int folder = 0; folder < 10; ++folder) {
                    const std::string directory = m_root + "/project" + std::to_string(project) + "/node_modules/pkg"
                                                  + std::to_string(package) + "/lib" + std::to_string(folder);
                    std::filesystem::create_directories(directory);
                    for (int file = 0; file < 10; ++file) {
                        std::ofstream out(directory + "/module" + std::to_string(file) + ".js", std::ios::binary);
                        out.write(content.data(), (file * 997 + folder * 131) % static_cast<int>(content.size()));
                    }
                    std::filesystem::create_hard_link(directory + "/module0.js", directory + "/linked.js");
                }
            }
        }
    }
    ~GeneratedTree()
    {
        std::error_code error;
        std::filesystem::remove_all(m_root, error);
    }
    GeneratedTree(const GeneratedTree&) = delete;
    GeneratedTree& operator=(const GeneratedTree&) = delete;

    const std::string& root() const { return m_root; }

private:
    std::string m_root;
};

const std::string& benchmarkTree()
{
    static const std::string given = [] {
        const char* path = std::getenv("TARNO_BENCH_TREE");
        return path ? std::string(path) : std::string();
    }();
    if (!given.empty())
        return given;
    static const GeneratedTree generated;
    return generated.root();
}

void walkCountingEntries(benchmark::State& state)
{
    const std::string& root = benchmarkTree();
    std::int64_t entries = 0;
    for (auto _ : state) {
        entries = 0;
        tarno::BulkWalker::walk(
            root,
            [&](tarno::BulkFolder& folder) {
                entries += static_cast<std::int64_t>(folder.entries.size());
                return true;
            },
            [](const std::string&) {});
        benchmark::DoNotOptimize(entries);
    }
    state.counters["entries"] = static_cast<double>(entries);
    state.SetItemsProcessed(state.iterations() * entries);
}

void measureSize(benchmark::State& state)
{
    const std::vector<std::string> paths{benchmarkTree()};
    tarno::SizeResult result;
    for (auto _ : state) {
        result = tarno::SizeScanner::measure(paths);
        benchmark::DoNotOptimize(result);
    }
    state.counters["files"] = static_cast<double>(result.files);
    state.counters["bytes"] = static_cast<double>(result.bytes);
}

void bareGetdentsStatx(benchmark::State& state)
{
    const std::string& root = benchmarkTree();
    std::int64_t entries = 0;
    for (auto _ : state) {
        entries = tarno::bench::bareWalk(root);
        benchmark::DoNotOptimize(entries);
    }
    state.counters["entries"] = static_cast<double>(entries);
    state.SetItemsProcessed(state.iterations() * entries);
}

} // namespace

BENCHMARK(walkCountingEntries)->Name("BulkWalker/walk")->Unit(benchmark::kMillisecond);
BENCHMARK(measureSize)->Name("SizeScanner/measure")->Unit(benchmark::kMillisecond);
BENCHMARK(bareGetdentsStatx)->Name("Baseline/getdents64+statx")->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
