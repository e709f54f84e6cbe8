#pragma once

#include <cstdint>
#include <string>

namespace tarno::ByteFormat {

// Disk sizes: 1,000 bytes to the kilobyte ("0 bytes", "512 bytes", "12 KB", "1.5 GB").
std::string string(std::int64_t bytes);

// Memory sizes: 1,024 bytes to the kilobyte, same style.
std::string memory(std::int64_t bytes);

} // namespace tarno::ByteFormat
