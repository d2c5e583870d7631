// Free and total bytes of a volume on Linux: the file system's own counts.
#include "Platform/DiskInfo.hpp"

#include "Platform/VolumeCapacity.hpp"

namespace velmora {

std::expected<DiskSpace, DiskInfoError> DiskInfo::diskSpace(const std::filesystem::path& home) const {
    return statvfsCapacity(home);
}

} // namespace velmora
