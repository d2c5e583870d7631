// The live free-space probe for the volume of the home folder.
#pragma once

#include "Platform/DiskSpaceProbe.hpp"

namespace velmora {

// macOS: the volume's capacity available for important usage and its total capacity, as Core
// Foundation reports them for the home folder. Linux: statvfs.
class DiskInfo final : public DiskSpaceProbe {
public:
    std::expected<DiskSpace, DiskInfoError> diskSpace(const std::filesystem::path& home) const override;
};

} // namespace velmora
