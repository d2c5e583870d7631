// The live free-space probe: asks statvfs about the volume of the home folder.
#pragma once

#include "Platform/DiskSpaceProbe.hpp"

namespace velmora {

class DiskInfo final : public DiskSpaceProbe {
public:
    // Free counts the blocks available to unprivileged users (not those reserved for root), which is
    // what the user can still fill.
    std::expected<DiskSpace, DiskInfoError> diskSpace(const std::filesystem::path& home) const override;
};

} // namespace velmora
