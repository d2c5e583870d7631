#include "Platform/VolumeCapacity.hpp"

#include <algorithm>
#include <limits>

#include <sys/statvfs.h>

namespace velmora {

namespace {

// Block counts times block size, clamped so that an absurd report cannot overflow.
std::int64_t bytes(std::uint64_t blocks, std::uint64_t blockSize) {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (blockSize != 0 && blocks > largest / blockSize)
        return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(blocks * blockSize);
}

} // namespace

std::expected<DiskSpace, DiskInfoError> statvfsCapacity(const std::filesystem::path& folder) {
    struct statvfs volume;
    if (::statvfs(folder.c_str(), &volume) != 0)
        return std::unexpected(DiskInfoError::capacityUnavailable);
    // Pseudo file systems (proc, sysfs) answer with zero blocks: that is no capacity at all.
    const std::uint64_t blockSize = volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize;
    const std::int64_t total = bytes(volume.f_blocks, blockSize);
    if (total <= 0)
        return std::unexpected(DiskInfoError::capacityUnavailable);
    return DiskSpace{.free = bytes(volume.f_bavail, blockSize), .total = total};
}

std::expected<DiskSpace, DiskInfoError> reportedCapacity(const ReportedCapacity& reported) {
    if (!reported.free || !reported.total || *reported.total <= 0)
        return std::unexpected(DiskInfoError::capacityUnavailable);
    return DiskSpace{.free = std::clamp<std::int64_t>(*reported.free, 0, *reported.total),
                     .total = *reported.total};
}

} // namespace velmora
