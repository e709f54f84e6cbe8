#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

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

// One folder handed to a visitor: its path, depth and every entry but "." and "..".
struct BulkFolder {
    std::string path;  // the root as given, then names joined with "/"
    int depth = 0;     // 0 for the root
    std::vector<BulkEntry> entries;
    std::set<std::size_t> skipped; // indices of subfolders the walk must not enter

    bool contains(std::string_view name) const;

    // path + "/" + name; nothing is normalised.
    std::string pathOf(const BulkEntry& entry) const;
};

// Walks a tree a whole folder at a time, depth-first, never following a link
// and never leaving the root's volume. One folder descriptor is open at a
// time, and read buffers are reused from folder to folder.
namespace BulkWalker {

using Visit = std::function<bool(BulkFolder&)>;            // false ends the walk
using Unreadable = std::function<void(const std::string&)>;

void walk(const std::string& root, const Visit& visit, const Unreadable& unreadable);

} // namespace BulkWalker
} // namespace tarno
