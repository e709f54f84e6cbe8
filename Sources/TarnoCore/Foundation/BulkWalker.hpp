#pragma once

#include "TarnoCore/Platform/BulkEntry.hpp"

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tarno {

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
