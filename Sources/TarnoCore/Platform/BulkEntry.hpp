#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

// The value the bulk folder reader fills and the walks above it read. It lives
// with the reader, so the platform needs nothing from the walks.
namespace tarno {

// One entry of a folder as the bulk reader returned it. The name points into
// the walk's read buffers and is valid only during the visit that received it.
struct BulkEntry {
    enum class Kind { file, directory, symlink, other };

    Kind kind = Kind::other;
    const char* namePointer = nullptr; // NUL-terminated
    std::ptrdiff_t nameLength = 0;     // without the NUL
    std::uint64_t fileID = 0;
    std::int64_t linkCount = 0;        // 0 for a folder
    std::int64_t allocatedBytes = 0;   // 0 for a folder
    std::int64_t modified = 0;         // whole seconds since 1970
    std::uint64_t cloneID = 0;         // 0 where the volume reports no clones

    // The only place an entry's name becomes a string: ask only for entries you keep.
    std::string name() const { return std::string(namePointer, static_cast<std::size_t>(nameLength)); }

    bool isClone() const { return cloneID != 0 && cloneID != fileID; }

    // Compares with a literal without building a string.
    template <std::size_t N>
    bool isNamed(const char (&literal)[N]) const
    {
        return nameLength == static_cast<std::ptrdiff_t>(N - 1) && std::memcmp(namePointer, literal, N - 1) == 0;
    }

    // Byte comparison, no Unicode normalisation.
    bool isNamed(std::string_view other) const
    {
        return std::string_view(namePointer, static_cast<std::size_t>(nameLength)) == other;
    }
};

} // namespace tarno
