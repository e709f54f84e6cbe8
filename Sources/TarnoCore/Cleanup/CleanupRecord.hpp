#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace tarno {

// One line of the history of removals: what one operation gave back.
struct CleanupRecord {
    std::chrono::system_clock::time_point date; // when the operation ended; kept to the second
    std::string source;                          // the caller's word: "Cleanup" for the cleanup flow
    std::int64_t freedBytes = 0;
    std::vector<std::string> items;              // titles of what was removed, for the reader
    int failures = 0;                            // paths that could not be removed

    bool operator==(const CleanupRecord&) const = default;
};

} // namespace tarno
