#pragma once

#include "TarnoCore/Platform/Locations.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

// A file big enough to be worth a look. Its path is its identity.
struct LargeFile {
    std::string path;
    std::int64_t bytes = 0;                          // allocated, not the logical length
    std::chrono::system_clock::time_point modified;  // whole seconds

    std::string name() const;   // the last path component
    std::string folder() const; // the path without it ("/" for a file at the top)

    bool operator==(const LargeFile&) const = default;
};

// Finds the largest files below one root. It goes everywhere a large file can
// lie, hidden folders and application data included, and stays out only of
// the few folders that hold nothing a user would remove by hand.
namespace LargeFileFinder {

// Folder names never entered, at any depth; matched exactly.
const std::set<std::string, std::less<>>& skippedFolderNames();

struct Subtrees {
    std::vector<std::string> folders; // each one unit of parallel work
    std::vector<std::string> files;   // regular files above those folders

    bool operator==(const Subtrees&) const = default;
};

// The top of the tree split `levels` deep: the regular files met on the way
// and the folders at that depth. Folders on another volume, with a skipped
// name or in `excluding` (absolute paths) are left out; links are never
// followed, and a root that is a link gives nothing.
Subtrees subtrees(const std::string& root, int levels, const std::set<std::string>& excluding);

// At most `limit` files of at least `minimumBytes` allocated bytes below
// `root`, largest first, equal sizes by path; a file with several hard links
// once, under its smallest path. Folders in `excluding` are not entered.
// `progress` gets the running number of files examined and `isCancelled` is
// polled, both from several threads at once and every few thousand files; a
// cancelled search returns the largest of what it had found.
std::vector<LargeFile> find(const std::string& root, std::int64_t minimumBytes, std::size_t limit,
                            const std::set<std::string>& excluding,
                            const std::function<void(std::int64_t)>& progress,
                            const std::function<bool()>& isCancelled);

// The folders where applications keep their own data: the home's Library,
// the desktop's config and data folders, Flatpak's per-app folders. A file
// in one of them belongs to an app, and removing it by hand can break it.
std::vector<std::string> appDataFolders(const std::string& home, const Platform::UserFolders& folders);

// Whether the path lies inside one of those folders.
bool isInside(const std::string& path, const std::vector<std::string>& folders);

} // namespace LargeFileFinder
} // namespace tarno
