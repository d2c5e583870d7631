// One volume of the start disk with the bytes it holds; on Linux one file system or swap area.
#pragma once

#include "SystemData/VolumeRole.hpp"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>

namespace velmora {

struct APFSVolume {
    std::string name;
    VolumeRole role = VolumeRole::other;
    std::int64_t consumed = 0; // bytes in use, never negative

    bool operator==(const APFSVolume&) const = default;
};

// {"name", "role" (its raw value), "consumed"}
void to_json(nlohmann::json& j, const APFSVolume& volume);

} // namespace velmora
