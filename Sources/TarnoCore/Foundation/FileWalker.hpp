#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

struct _ftsent;

namespace tarno {

enum class WalkDecision { proceed, skipDirectory, stop };

// One entry of an fts walk. Borrowed: valid only during the visitor call.
struct WalkEntry {
    enum class Kind { file, directory, symlink, other, unreadableDirectory };

    Kind kind = Kind::other;
    const _ftsent* entry = nullptr;

    std::string path() const;
    std::string name() const;          // for the root, the whole root path
    int depth() const;                 // 0 for the root
    std::int64_t allocatedBytes() const;
    std::uint64_t inode() const;
    std::int64_t linkCount() const;
    std::chrono::system_clock::time_point modified() const; // whole seconds

    template <std::size_t N>
    bool isNamed(const char (&literal)[N]) const
    {
        return nameEquals(literal, N - 1);
    }

private:
    bool nameEquals(const char* bytes, std::size_t length) const;
};

// Pre-order walk over fts: physical, no chdir, one volume.
namespace FileWalker {

void walk(const std::string& root, const std::function<WalkDecision(const WalkEntry&)>& visit);

} // namespace FileWalker
} // namespace tarno
