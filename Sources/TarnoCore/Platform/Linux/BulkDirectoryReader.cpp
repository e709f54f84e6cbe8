#include "TarnoCore/Platform/BulkDirectoryReader.hpp"

#include <cerrno>
#include <cstddef>
#include <optional>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <sys/syscall.h>
#include <unistd.h>

// Linux has no getattrlistbulk: a folder is read with getdents64 in 64 KiB
// batches, and each entry's figures come from one statx relative to the open
// folder, so no path is ever built for a file.
//
// Clone identity: on btrfs and XFS a copy made with a reflink shares its data
// blocks with the original, as a clone does on the Mac. A file whose extents
// are all shared gets the physical address of its first extent as its
// identity, so the original and each whole copy carry the same one; any other
// file gets 0. A file that shares only some extents therefore counts as
// wholly its own, and what deleting it frees is overstated by the shared part;
// so is a whole copy of a range that starts elsewhere in the original.
// Only those two file systems are asked (once per volume), so ext4 and tmpfs
// pay nothing.

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

bool volumeHasReflinks(int folder)
{
    struct statfs volume {};
    if (::fstatfs(folder, &volume) != 0)
        return false;
    const auto type = static_cast<unsigned long>(volume.f_type);
    return type == BTRFS_SUPER_MAGIC || type == XFS_SUPER_MAGIC;
}

// The first extent's physical address when every extent of the file is
// shared, else 0 (also when the file cannot be opened or mapped).
std::uint64_t sharedExtentIdentity(int folder, const char* name)
{
    const int file = ::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return 0;
    constexpr std::uint32_t batch = 32;
    alignas(struct fiemap) std::byte buffer[sizeof(struct fiemap) + batch * sizeof(struct fiemap_extent)];
    auto* map = reinterpret_cast<struct fiemap*>(buffer);
    std::uint64_t identity = 0;
    for (std::uint64_t start = 0;;) {
        std::memset(buffer, 0, sizeof buffer);
        map->fm_start = start;
        map->fm_length = FIEMAP_MAX_OFFSET - start;
        map->fm_extent_count = batch;
        if (::ioctl(file, FS_IOC_FIEMAP, map) != 0 || map->fm_mapped_extents == 0) {
            identity = 0;
            break;
        }
        bool last = false;
        for (std::uint32_t index = 0; index < map->fm_mapped_extents; ++index) {
            const struct fiemap_extent& extent = map->fm_extents[index];
            if ((extent.fe_flags & FIEMAP_EXTENT_SHARED) == 0 || (extent.fe_flags & FIEMAP_EXTENT_UNKNOWN) != 0) {
                ::close(file);
                return 0;
            }
            if (identity == 0)
                identity = extent.fe_physical;
            start = extent.fe_logical + extent.fe_length;
            last = last || (extent.fe_flags & FIEMAP_EXTENT_LAST) != 0;
        }
        if (last)
            break;
    }
    ::close(file);
    return identity;
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
    // The last volume asked whether it has reflinks, and its answer.
    std::optional<dev_t> volume;
    bool volumeHasReflinks = false;

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
            BulkEntry entry = makeEntry(name, status);
            if (entry.kind == BulkEntry::Kind::file && entry.allocatedBytes > 0) {
                const dev_t volume = makedev(status.stx_dev_major, status.stx_dev_minor);
                if (m_buffers->volume != volume) {
                    m_buffers->volume = volume;
                    m_buffers->volumeHasReflinks = volumeHasReflinks(descriptor);
                }
                if (m_buffers->volumeHasReflinks)
                    entry.cloneID = sharedExtentIdentity(descriptor, name);
            }
            entries.push_back(entry);
        }
    }
}

} // namespace tarno::Platform
