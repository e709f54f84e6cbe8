#include "TarnoCore/Duplicates/LargeFileFinder.hpp"

#include "TarnoCore/Foundation/BulkWalker.hpp"
#include "TarnoCore/Foundation/ConcurrentPerform.hpp"

#include <algorithm>
#include <atomic>
#include <string_view>
#include <unordered_set>

#include <sys/stat.h>

namespace tarno {

std::string LargeFile::name() const
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string LargeFile::folder() const
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return {};
    return slash == 0 ? std::string("/") : path.substr(0, slash);
}

namespace LargeFileFinder {

namespace {

// Files are counted and polled for in steps this large, so that progress and
// cancellation cost nothing per file.
constexpr std::int64_t filesPerReport = 4096;
constexpr int splitLevels = 2;

struct Candidate {
    LargeFile file;
    std::uint64_t inode = 0;
    bool isHardLinked = false;
};

struct Collected {
    std::vector<Candidate> candidates;
    std::int64_t examined = 0;
};

std::string_view nameOf(const BulkEntry& entry)
{
    return {entry.namePointer, static_cast<std::size_t>(entry.nameLength)};
}

std::string lastComponent(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::chrono::system_clock::time_point wholeSeconds(std::int64_t seconds)
{
    return std::chrono::system_clock::time_point{std::chrono::seconds(seconds)};
}

void splitFolder(const std::string& path, int levels, dev_t device, const std::set<std::string>& excluding,
                 Subtrees& into)
{
    const auto& skipped = skippedFolderNames();
    std::vector<std::string> subfolders;
    // One folder's entries only: the walk is told to stop after the first.
    BulkWalker::walk(
        path,
        [&](BulkFolder& folder) {
            for (const BulkEntry& entry : folder.entries) {
                if (entry.kind == BulkEntry::Kind::file) {
                    into.files.push_back(folder.pathOf(entry));
                    continue;
                }
                if (entry.kind != BulkEntry::Kind::directory || skipped.contains(nameOf(entry)))
                    continue;
                std::string child = folder.pathOf(entry);
                if (excluding.contains(child))
                    continue;
                // A mount point shows as a folder of another device.
                struct stat status;
                if (::lstat(child.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_dev != device)
                    continue;
                subfolders.push_back(std::move(child));
            }
            return false;
        },
        [](const std::string&) {});
    for (std::string& child : subfolders) {
        if (levels >= 2)
            splitFolder(child, levels - 1, device, excluding, into);
        else
            into.folders.push_back(std::move(child));
    }
}

// Largest first, equal sizes by path; each hard-linked file once, under the
// first (smallest) path met in that order, so links never take two places.
std::vector<LargeFile> largest(std::vector<Candidate>& candidates, std::size_t limit)
{
    std::sort(candidates.begin(), candidates.end(), [](const Candidate& left, const Candidate& right) {
        if (left.file.bytes != right.file.bytes)
            return left.file.bytes > right.file.bytes;
        return left.file.path < right.file.path;
    });
    std::vector<LargeFile> result;
    std::unordered_set<std::uint64_t> seenInodes;
    for (Candidate& candidate : candidates) {
        if (result.size() >= limit)
            break;
        if (candidate.isHardLinked && !seenInodes.insert(candidate.inode).second)
            continue;
        result.push_back(std::move(candidate.file));
    }
    return result;
}

} // namespace

const std::set<std::string, std::less<>>& skippedFolderNames()
{
    static const std::set<std::string, std::less<>> names = {"node_modules", ".git", ".Trash"};
    return names;
}

Subtrees subtrees(const std::string& root, int levels, const std::set<std::string>& excluding)
{
    Subtrees result;
    struct stat status;
    if (::lstat(root.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        return result;
    splitFolder(root, levels, status.st_dev, excluding, result);
    return result;
}

std::vector<LargeFile> find(const std::string& root, std::int64_t minimumBytes, std::size_t limit,
                            const std::set<std::string>& excluding,
                            const std::function<void(std::int64_t)>& progress,
                            const std::function<bool()>& isCancelled)
{
    // Names first, so that the walks build a path only for a folder that may be excluded.
    std::set<std::string, std::less<>> excludedNames;
    for (const std::string& path : excluding)
        excludedNames.insert(lastComponent(path));
    const auto& skipped = skippedFolderNames();

    const Subtrees split = subtrees(root, splitLevels, excluding);
    Locked<Collected> collector;

    std::vector<Candidate> loose;
    for (const std::string& path : split.files) {
        struct stat status;
        if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
            continue;
        const std::int64_t bytes = static_cast<std::int64_t>(status.st_blocks) * 512;
        if (bytes < minimumBytes)
            continue;
        loose.push_back(Candidate{LargeFile{path, bytes, wholeSeconds(status.st_mtim.tv_sec)}, status.st_ino,
                                  status.st_nlink > 1});
    }
    collector.change([&](Collected& collected) { collected.candidates = std::move(loose); });

    // Set once any walk has seen a cancel, so that walks not yet begun don't begin.
    std::atomic<bool> cancelled = false;
    concurrentPerform(split.folders.size(), [&](std::size_t index) {
        if (cancelled)
            return;
        std::int64_t pending = 0;
        std::vector<Candidate> found;
        // The lock is held for the merge alone, never while the caller's callables run.
        const auto merge = [&] {
            std::int64_t total = 0;
            collector.change([&](Collected& collected) {
                total = collected.examined += pending;
                collected.candidates.insert(collected.candidates.end(), std::make_move_iterator(found.begin()),
                                            std::make_move_iterator(found.end()));
            });
            pending = 0;
            found.clear();
            if (progress)
                progress(total);
        };
        BulkWalker::walk(
            split.folders[index],
            [&](BulkFolder& folder) {
                for (std::size_t entryIndex = 0; entryIndex < folder.entries.size(); ++entryIndex) {
                    const BulkEntry& entry = folder.entries[entryIndex];
                    if (entry.kind == BulkEntry::Kind::file) {
                        ++pending;
                        if (entry.allocatedBytes >= minimumBytes)
                            found.push_back(Candidate{
                                LargeFile{folder.pathOf(entry), entry.allocatedBytes, wholeSeconds(entry.modified)},
                                entry.fileID, entry.linkCount > 1});
                    } else if (entry.kind == BulkEntry::Kind::directory) {
                        const std::string_view name = nameOf(entry);
                        if (skipped.contains(name)
                            || (excludedNames.contains(name) && excluding.contains(folder.pathOf(entry))))
                            folder.skipped.insert(entryIndex);
                    }
                }
                if (pending < filesPerReport)
                    return true;
                merge();
                if (isCancelled && isCancelled()) {
                    cancelled = true;
                    return false;
                }
                return true;
            },
            [](const std::string&) {});
        merge();
    });

    Collected collected = collector.take();
    return largest(collected.candidates, limit);
}

std::vector<std::string> appDataFolders(const std::string& home, const Platform::UserFolders& folders)
{
    return {home + "/Library", folders.config, folders.data, home + "/.var/app"};
}

bool isInside(const std::string& path, const std::vector<std::string>& folders)
{
    return std::any_of(folders.begin(), folders.end(), [&](const std::string& folder) {
        return path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 && path[folder.size()] == '/';
    });
}

} // namespace LargeFileFinder
} // namespace tarno
