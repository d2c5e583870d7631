#include "SystemData/APFSVolume.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

void to_json(nlohmann::json& j, const APFSVolume& volume) {
    j = nlohmann::json::object();
    j["name"] = volume.name;
    j["role"] = rawValue(volume.role);
    j["consumed"] = volume.consumed;
}

} // namespace velmora
