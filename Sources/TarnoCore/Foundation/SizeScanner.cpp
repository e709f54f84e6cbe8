#include "TarnoCore/Foundation/SizeScanner.hpp"

#include "TarnoCore/Foundation/BulkWalker.hpp"

#include <unordered_set>

#include <sys/stat.h>

namespace tarno::SizeScanner {

namespace {

constexpr std::int64_t foldersPerCancellationCheck = 256;

// A hard-linked file met again. Keyed by device too, so two given paths on
// different volumes cannot mistake each other's inode numbers for one file.
class SeenFiles {
public:
    // True the first time a file is offered.
    bool insert(std::uint64_t device, std::uint64_t inode)
    {
        return m_files.insert(Key{device, inode}).second;
    }

private:
    struct Key {
        std::uint64_t device;
        std::uint64_t inode;
        bool operator==(const Key&) const = default;
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const
        {
            return std::hash<std::uint64_t>{}(key.inode ^ (key.device * 0x9E3779B97F4A7C15ULL));
        }
    };
    std::unordered_set<Key, KeyHash> m_files;
};

void mergeModification(SizeResult& result, std::int64_t seconds)
{
    const std::chrono::system_clock::time_point modified{std::chrono::seconds(seconds)};
    if (!result.newestModification || modified > *result.newestModification)
        result.newestModification = modified;
}

void countFile(SizeResult& result, std::int64_t allocatedBytes, std::int64_t modified)
{
    result.bytes += allocatedBytes;
    result.files += 1;
    mergeModification(result, modified);
}

} // namespace

SizeResult measure(const std::vector<std::string>& paths, const std::function<bool()>& isCancelled)
{
    SizeResult result;
    SeenFiles seen;
    bool cancelled = false;

    for (const std::string& path : paths) {
        if (cancelled)
            break;
        struct stat status;
        if (::lstat(path.c_str(), &status) != 0)
            continue;

        if (!S_ISDIR(status.st_mode)) {
            if (status.st_nlink >= 2 && !seen.insert(status.st_dev, status.st_ino))
                continue;
            countFile(result, static_cast<std::int64_t>(status.st_blocks) * 512, status.st_mtime);
            continue;
        }

        // The walk never leaves the volume of its root, so every entry shares its device.
        const std::uint64_t device = status.st_dev;
        std::int64_t folders = 0;
        BulkWalker::walk(
            path,
            [&](BulkFolder& folder) {
                ++folders;
                if (folders % foldersPerCancellationCheck == 0 && isCancelled()) {
                    cancelled = true;
                    return false;
                }
                for (const BulkEntry& entry : folder.entries) {
                    switch (entry.kind) {
                    case BulkEntry::Kind::file:
                        if (entry.linkCount >= 2 && !seen.insert(device, entry.fileID))
                            break;
                        countFile(result, entry.allocatedBytes, entry.modified);
                        break;
                    case BulkEntry::Kind::symlink:
                    case BulkEntry::Kind::other:
                        result.bytes += entry.allocatedBytes;
                        break;
                    case BulkEntry::Kind::directory:
                        break;
                    }
                }
                return true;
            },
            [&](const std::string&) { result.unreadableDirectories += 1; });
    }
    return result;
}

} // namespace tarno::SizeScanner
