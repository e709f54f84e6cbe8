#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace tarno::Platform {

// What the file searches read of one file they are about to offer, without
// following a link.
struct FileStatus {
    bool isRegularFile = false;
    std::int64_t length = 0; // logical size in bytes
    std::chrono::system_clock::time_point modified;
    // When the file was made; the modification time where the file system
    // does not record a birth time.
    std::chrono::system_clock::time_point created;
    bool operator==(const FileStatus&) const = default;
};

// Nothing when the path cannot be examined.
std::optional<FileStatus> fileStatus(const std::string& path);

// A regular file (a link is not) that starts as an AppImage does: an ELF
// header with "AI" and the format's type, 1 or 2, at bytes 8 to 10.
bool isAppImage(const std::string& path);

} // namespace tarno::Platform
