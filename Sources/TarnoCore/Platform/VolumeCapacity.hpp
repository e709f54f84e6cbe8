#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarno::Platform {

// What a volume says about its size, in bytes; any figure may be missing.
struct VolumeCapacity {
    std::optional<std::int64_t> total;
    // What the system could free at once for something the user needs now, on
    // top of the plain figure. Linux has no such notion and leaves it absent.
    std::optional<std::int64_t> availableForImportantUsage;
    std::optional<std::int64_t> available; // what an unprivileged user may still write

    bool operator==(const VolumeCapacity&) const = default;
};

// The capacity of the volume that holds `path`; absent when it cannot be asked.
std::optional<VolumeCapacity> volumeCapacity(const std::string& path);

} // namespace tarno::Platform
