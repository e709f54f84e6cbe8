#include "ItemMeasurer.hpp"

#include <algorithm>
#include <atomic>
#include <thread>

namespace tarno::cli::ItemMeasurer {

std::vector<SizeResult> measureAll(const std::vector<CleanupItem>& items)
{
    constexpr std::size_t maximumAtOnce = 4;
    std::vector<SizeResult> sizes(items.size());
    std::atomic<std::size_t> next = 0;
    {
        // Each worker takes the next unmeasured item and writes only its own slot.
        std::vector<std::jthread> workers;
        const std::size_t count = std::min(maximumAtOnce, items.size());
        for (std::size_t worker = 0; worker < count; ++worker) {
            workers.emplace_back([&] {
                for (std::size_t index = next++; index < items.size(); index = next++)
                    sizes[index] = items[index].measure();
            });
        }
    }
    return sizes;
}

std::int64_t unreadableDirectories(const std::vector<SizeResult>& sizes)
{
    std::int64_t count = 0;
    for (const SizeResult& size : sizes)
        count += size.unreadableDirectories;
    return count;
}

} // namespace tarno::cli::ItemMeasurer
