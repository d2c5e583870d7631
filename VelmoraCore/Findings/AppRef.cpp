#include "Findings/AppRef.hpp"

#include "Support/Hash.hpp"
#include "Support/JsonHelpers.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

void to_json(nlohmann::json& j, const AppRef& app) {
    j = nlohmann::json::object();
    putOptional(j, "bundleID", app.bundleID);
    putOptional(j, "processName", app.processName);
    j["displayName"] = app.displayName;
}

void from_json(const nlohmann::json& j, AppRef& app) {
    getOptional(j, "bundleID", app.bundleID);
    getOptional(j, "processName", app.processName);
    j.at("displayName").get_to(app.displayName);
}

} // namespace velmora

std::size_t std::hash<velmora::AppRef>::operator()(const velmora::AppRef& app) const noexcept {
    std::size_t seed = 0;
    velmora::hashField(seed, app.bundleID);
    velmora::hashField(seed, app.processName);
    velmora::hashField(seed, app.displayName);
    return seed;
}
