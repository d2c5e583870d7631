#include "Findings/FindingID.hpp"

#include "Support/Hash.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

std::string FindingID::text() const {
    return key.empty() ? scannerID : scannerID + "/" + key;
}

std::optional<FindingID> FindingID::fromText(std::string_view text) {
    const auto slash = text.find('/');
    FindingID id;
    if (slash == std::string_view::npos) {
        id.scannerID = std::string(text);
    } else {
        id.scannerID = std::string(text.substr(0, slash));
        id.key = std::string(text.substr(slash + 1));
    }
    if (id.scannerID.empty())
        return std::nullopt;
    return id;
}

void to_json(nlohmann::json& j, const FindingID& id) {
    j = {{"scannerID", id.scannerID}, {"key", id.key}};
}

void from_json(const nlohmann::json& j, FindingID& id) {
    j.at("scannerID").get_to(id.scannerID);
    j.at("key").get_to(id.key);
}

} // namespace velmora

std::size_t std::hash<velmora::FindingID>::operator()(const velmora::FindingID& id) const noexcept {
    std::size_t seed = 0;
    velmora::hashField(seed, id.scannerID);
    velmora::hashField(seed, id.key);
    return seed;
}
