#include "TarnoCore/Platform/VolumeCapacity.hpp"

#include <limits>

#include <sys/statvfs.h>

namespace tarno::Platform {

namespace {

// Block counts times the fragment size, kept within a signed 64-bit count.
std::int64_t bytes(fsblkcnt_t blocks, unsigned long blockSize)
{
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    std::uint64_t product = 0;
    if (__builtin_mul_overflow(blocks, blockSize, &product) || product > static_cast<std::uint64_t>(largest))
        return largest;
    return static_cast<std::int64_t>(product);
}

} // namespace

std::optional<VolumeCapacity> volumeCapacity(const std::string& path)
{
    struct statvfs volume {};
    if (::statvfs(path.c_str(), &volume) != 0)
        return std::nullopt;
    // f_frsize is the unit of the block counts; very old file systems leave it 0.
    const unsigned long blockSize = volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize;
    // f_bavail, not f_bfree: the blocks reserved for root are not the user's to fill.
    return VolumeCapacity{
        .total = bytes(volume.f_blocks, blockSize),
        .availableForImportantUsage = std::nullopt,
        .available = bytes(volume.f_bavail, blockSize),
    };
}

} // namespace tarno::Platform
