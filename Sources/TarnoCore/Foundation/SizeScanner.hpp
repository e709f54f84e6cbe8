#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarno {

// A measured size: allocated bytes, hard links counted once.
struct SizeResult {
    std::int64_t bytes = 0;
    std::int64_t files = 0;
    std::int64_t unreadableDirectories = 0;
    std::optional<std::chrono::system_clock::time_point> newestModification;

    bool operator==(const SizeResult&) const = default;
};

namespace SizeScanner {

// How much disk the paths take. A missing path adds nothing; a cancelled
// measure returns what it had. isCancelled is polled once per 256 folders.
SizeResult measure(const std::vector<std::string>& paths,
                   const std::function<bool()>& isCancelled = [] { return false; });

} // namespace SizeScanner
} // namespace tarno
