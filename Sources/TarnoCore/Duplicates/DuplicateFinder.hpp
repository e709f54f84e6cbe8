#pragma once

#include "TarnoCore/Duplicates/UserFiles.hpp"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarno {

// One copy in a set of files with the same content.
struct DuplicateFile {
    std::string path;
    std::int64_t bytes = 0; // allocated
    std::chrono::system_clock::time_point modified;
    std::chrono::system_clock::time_point created;
    std::uint64_t cloneID = 0;
    bool operator==(const DuplicateFile&) const = default;

    std::string name() const;
    std::string folder() const;
};

// Files whose whole content has one SHA-256, the one to keep first.
struct DuplicateGroup {
    std::string hash;       // 64 lower-case hexadecimal digits
    std::int64_t size = 0;  // logical length of every member
    std::vector<DuplicateFile> files;
    bool operator==(const DuplicateGroup&) const = default;

    // What removing every file but the first gives back.
    std::int64_t reclaimable() const;
    // What removing these paths gives back: a clone counts once, and not while one stays.
    std::int64_t freed(const std::set<std::string>& removing) const;
};

// A funnel over the user's files: same length, then a digest of head and
// tail (or of the whole of a small file), then the digest of the whole file.
// Only files that still have a partner go on to the next step.
namespace DuplicateFinder {

struct Looking {
    std::int64_t files = 0; // examined so far
    bool operator==(const Looking&) const = default;
};
struct Comparing {
    std::int64_t done = 0;
    std::int64_t of = 0;
    bool operator==(const Comparing&) const = default;
};
using Stage = std::variant<Looking, Comparing>;

// Files up to this length are hashed whole at once; longer ones get a digest
// of their first and last `edgeBytes` first.
inline constexpr std::int64_t wholeFileLimit = 131'072;
inline constexpr std::int64_t edgeBytes = 65'536;

// The sets of identical files, those that give back most first. `progress`
// and `isCancelled` are called from several threads. Cancelled while
// listing: nothing; while comparing: the sets finished so far.
std::vector<DuplicateGroup> find(const std::vector<std::string>& roots,
                                 std::int64_t minimumBytes,
                                 const std::string& home,
                                 const std::function<void(const Stage&)>& progress,
                                 const std::function<bool()>& isCancelled);

// The usual folders of a home's own files.
std::vector<std::string> defaultRoots(const std::string& home);

// SHA-256 of the file in hexadecimal, of head and tail only when `partial`
// and the file is longer than wholeFileLimit; nothing when it cannot be read.
std::optional<std::string> digest(const std::string& path, std::int64_t size, bool partial);

// "Report copy.pdf", "Report copy 2.pdf", "Report (1).pdf".
bool looksLikeACopy(std::string_view name);

// The copy to keep first: outside the downloads folder, not named like a
// copy, made earliest, with the shortest path, then the smallest.
std::vector<DuplicateFile> keeperFirst(std::vector<DuplicateFile> files, const std::string& home);

} // namespace DuplicateFinder
} // namespace tarno
