#include "TarnoCore/Platform/BulkDirectoryReader.hpp"

#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// Linux has no getattrlistbulk: a folder is read with getdents64 in 64 KiB
// batches, and each entry's figures come from one statx relative to the open
// folder, so no path is ever built for a file.

namespace tarno::Platform {

namespace {

constexpr std::size_t bufferSize = 65536;

// Only what an entry carries; the file system may skip the rest.
constexpr unsigned statxMask = STATX_TYPE | STATX_NLINK | STATX_INO | STATX_MTIME | STATX_BLOCKS;

// Never follow the entry, never trigger an automount, never wait on a
// network server to refresh figures it already has.
constexpr int statxFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;

bool isDotOrDotDot(const char* name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

BulkEntry::Kind kindOf(std::uint16_t mode)
{
    if (S_ISREG(mode))
        return BulkEntry::Kind::file;
    if (S_ISDIR(mode))
        return BulkEntry::Kind::directory;
    if (S_ISLNK(mode))
        return BulkEntry::Kind::symlink;
    return BulkEntry::Kind::other;
}

BulkEntry makeEntry(const char* name, const struct statx& status)
{
    BulkEntry entry;
    entry.kind = kindOf(status.stx_mode);
    entry.namePointer = name;
    entry.nameLength = static_cast<std::ptrdiff_t>(std::strlen(name));
    entry.fileID = status.stx_ino;
    entry.modified = status.stx_mtime.tv_sec;
    if (entry.kind != BulkEntry::Kind::directory) {
        entry.linkCount = status.stx_nlink;
        entry.allocatedBytes = static_cast<std::int64_t>(status.stx_blocks) * 512;
    }
    return entry;
}

} // namespace

struct BulkDirectoryReader::Buffers {
    std::vector<std::unique_ptr<char[]>> list;

    // The buffer for a folder's batch number `index`; every earlier batch of
    // the folder keeps its own, so all names stay readable at once.
    char* at(std::size_t index)
    {
        if (index == list.size())
            list.push_back(std::make_unique_for_overwrite<char[]>(bufferSize));
        return list[index].get();
    }
};

BulkDirectoryReader::BulkDirectoryReader()
    : m_buffers(std::make_unique<Buffers>())
{
}

BulkDirectoryReader::~BulkDirectoryReader() = default;

int BulkDirectoryReader::openFolder(const char* path)
{
    return ::open(path, O_RDONLY | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC);
}

BulkDirectoryReader::Result BulkDirectoryReader::read(int descriptor, std::vector<BulkEntry>& entries)
{
    for (std::size_t batch = 0;; ++batch) {
        char* buffer = m_buffers->at(batch);
        const long filled = ::syscall(SYS_getdents64, descriptor, buffer, bufferSize);
        if (filled == 0)
            return Result::complete;
        if (filled < 0)
            return batch == 0 ? Result::failedAtStart : Result::failedPartway;

        for (long offset = 0; offset < filled;) {
            const auto* record = reinterpret_cast<const struct dirent64*>(buffer + offset);
            offset += record->d_reclen;
            const char* name = record->d_name;
            if (isDotOrDotDot(name))
                continue;

            struct statx status;
            if (::statx(descriptor, name, statxFlags, statxMask, &status) != 0) {
                // Removed since the batch was read: simply no longer listed.
                if (errno == ENOENT)
                    continue;
                // A folder we may list but not search (read without execute
                // permission) ends here, which makes it unreadable.
                return batch == 0 ? Result::failedAtStart : Result::failedPartway;
            }
            entries.push_back(makeEntry(name, status));
        }
    }
}

} // namespace tarno::Platform
