#include "TarnoCore/Foundation/ConcurrentPerform.hpp"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace tarno {

void concurrentPerform(std::size_t iterations, const std::function<void(std::size_t)>& body)
{
    if (iterations == 0)
        return;
    const std::size_t cores = std::max<std::size_t>(1, std::thread::hardware_concurrency());
    const std::size_t threadCount = std::min(cores, iterations);
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t index = next++; index < iterations; index = next++)
            body(index);
    };
    std::vector<std::jthread> threads;
    threads.reserve(threadCount - 1);
    for (std::size_t thread = 1; thread < threadCount; ++thread)
        threads.emplace_back(work);
    // The caller's thread takes a share too.
    work();
}

} // namespace tarno
