// How the start disk is divided: its capacity, its free space, its volumes and, from other
// containers, the simulator volumes.
#pragma once

#include "SystemData/APFSVolume.hpp"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <vector>

namespace velmora {

struct VolumeInventoryResult {
    std::int64_t containerSize = 0;
    std::int64_t containerFree = 0;
    std::vector<APFSVolume> volumes;          // of the start container, in the tool's order
    std::vector<APFSVolume> simulatorVolumes; // found in other containers

    bool operator==(const VolumeInventoryResult&) const = default;
};

// {"containerSize", "containerFree", "volumes", "simulatorVolumes"}
void to_json(nlohmann::json& j, const VolumeInventoryResult& result);

// The bytes the volumes hold together; nothing when the sum does not fit in 64 bits. Every result a
// volume source hands out has sums that fit, so callers may rely on a value here.
std::optional<std::int64_t> totalConsumed(const std::vector<APFSVolume>& volumes);

} // namespace velmora
