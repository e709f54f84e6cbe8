#include "TarnoCore/Platform/FileStatus.hpp"

#include "TarnoCore/Platform/TreeRemoval.hpp"

#include <array>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno::Platform {

namespace {

std::chrono::system_clock::time_point timeOf(const struct statx_timestamp& stamp)
{
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(std::chrono::seconds(stamp.tv_sec) +
                                                                        std::chrono::nanoseconds(stamp.tv_nsec)));
}

} // namespace

std::optional<FileStatus> fileStatus(const std::string& path)
{
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE | STATX_SIZE | STATX_MTIME | STATX_BTIME,
                &status) != 0)
        return std::nullopt;
    FileStatus result;
    result.isRegularFile = S_ISREG(status.stx_mode);
    result.length = static_cast<std::int64_t>(status.stx_size);
    result.modified = timeOf(status.stx_mtime);
    // ext4, btrfs, XFS and tmpfs keep a birth time; others leave it out.
    result.created = (status.stx_mask & STATX_BTIME) != 0 ? timeOf(status.stx_btime) : result.modified;
    return result;
}

bool isAppImage(const std::string& path)
{
    const TreeRemoval::Descriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    std::array<unsigned char, 11> header{};
    if (::pread(file.get(), header.data(), header.size(), 0) != static_cast<ssize_t>(header.size()))
        return false;
    return header[0] == 0x7F && header[1] == 'E' && header[2] == 'L' && header[3] == 'F' && header[8] == 'A'
        && header[9] == 'I' && (header[10] == 1 || header[10] == 2);
}

} // namespace tarno::Platform
