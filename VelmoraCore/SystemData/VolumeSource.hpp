// Where the volume inventory comes from: diskutil on a Mac, the mount table on Linux. The system data
// report takes one, so that tests can hand it a fixed inventory.
#pragma once

#include "Support/StopToken.hpp"
#include "SystemData/VolumeInventoryError.hpp"
#include "SystemData/VolumeInventoryResult.hpp"

#include <expected>

namespace velmora {

// Thread-safe; every call asks the system afresh and keeps nothing.
class VolumeSource {
public:
    virtual ~VolumeSource() = default;

    // Blocks until the inventory is read; a triggered `stop` ends it early with `commandFailed`.
    virtual std::expected<VolumeInventoryResult, VolumeInventoryError> load(StopToken stop = {}) const = 0;
};

} // namespace velmora
