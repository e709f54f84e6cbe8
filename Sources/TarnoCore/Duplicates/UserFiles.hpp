#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// The one lister behind the duplicate and similar-photo finders: files a
// person would call their own, below the given folders, with what each
// occupies and a clone identity, and how much removing some of them frees.
namespace tarno::UserFiles {

struct File {
    std::string path;
    std::int64_t bytes = 0;  // allocated: what it occupies on disk
    std::int64_t length = 0; // logical size
    std::uint64_t cloneID = 0; // files with one identity share their data; never 0
    std::chrono::system_clock::time_point modified;
    std::chrono::system_clock::time_point created;
    bool operator==(const File&) const = default;
};

// Folder names never entered, matched exactly.
const std::set<std::string, std::less<>>& skippedFolderNames();
// Extensions (lower case) of folders that are one document or bundle, not loose files.
const std::set<std::string, std::less<>>& packageExtensions();

// Whether a folder of this name is a package: its last extension, lower-cased, is one of the above.
bool isPackage(std::string_view folderName);

// Lists the files of at least `minimumBytes` allocated bytes whose names pass
// `accept`, roots in order, folders depth first. Hidden names, repositories
// (a folder holding ".git"), packages, the skipped names and build output
// beside its tool's marker are left out; of hard links only the first is
// listed. `progress` gets the number of files examined now and then and once
// at the end; `isCancelled` is asked between folders, and a cancelled walk
// returns what it found.
std::vector<File> list(const std::vector<std::string>& roots,
                       std::int64_t minimumBytes,
                       const std::function<bool(std::string_view name)>& accept,
                       const std::function<void(std::int64_t examined)>& progress,
                       const std::function<bool()>& isCancelled);

// What removing the files at `removing` gives back, out of `files` (any
// records with `path`, `bytes` and `cloneID`): each clone identity counts
// once, and not at all while a file with that identity stays.
template <typename Record>
std::int64_t freed(const std::vector<Record>& files, const std::set<std::string>& removing)
{
    std::set<std::uint64_t> kept, counted;
    for (const Record& file : files) {
        if (!removing.contains(file.path))
            kept.insert(file.cloneID);
    }
    std::int64_t sum = 0;
    for (const Record& file : files) {
        if (removing.contains(file.path) && !kept.contains(file.cloneID) && counted.insert(file.cloneID).second)
            sum += file.bytes;
    }
    return sum;
}

} // namespace tarno::UserFiles
