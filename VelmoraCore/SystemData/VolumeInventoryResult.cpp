#include "SystemData/VolumeInventoryResult.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

void to_json(nlohmann::json& j, const VolumeInventoryResult& result) {
    j = nlohmann::json::object();
    j["containerSize"] = result.containerSize;
    j["containerFree"] = result.containerFree;
    j["volumes"] = result.volumes;
    j["simulatorVolumes"] = result.simulatorVolumes;
}

std::optional<std::int64_t> totalConsumed(const std::vector<APFSVolume>& volumes) {
    std::int64_t total = 0;
    for (const auto& volume : volumes)
        if (__builtin_add_overflow(total, volume.consumed, &total))
            return std::nullopt;
    return total;
}

} // namespace velmora
