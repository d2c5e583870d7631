#include "Scanning/PathExplanation.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

std::string methodKindName(const RemovalMethod& method) {
    const nlohmann::json coded = method;
    return coded.begin().key();
}

void to_json(nlohmann::json& j, const PathExplanation& explanation) {
    const auto* claim = explanation.claim ? &*explanation.claim : nullptr;
    const auto orNull = [](const auto& value) { return value ? nlohmann::json(*value) : nlohmann::json(); };
    j = nlohmann::json::object();
    j["path"] = explanation.path.string();
    j["findingID"] = claim ? nlohmann::json(claim->findingID) : nlohmann::json();
    j["title"] = claim ? nlohmann::json(claim->title) : nlohmann::json();
    j["risk"] = claim ? nlohmann::json(rawValue(claim->risk)) : nlohmann::json();
    j["method"] = claim ? nlohmann::json(methodKindName(claim->method)) : nlohmann::json();
    j["guard"] = {{"allowed", explanation.guard.isAllowed()}, {"reason", orNull(explanation.guard.reason())}};
    j["kept"] = claim && claim->kept;
    j["size"] = orNull(explanation.size());
    j["item"] = nlohmann::json();
    j["source"] = nlohmann::json();
    if (claim) {
        j["item"] = {{"id", claim->item.id},
                     {"path", claim->item.url ? nlohmann::json(claim->item.url->string()) : nlohmann::json()},
                     {"name", claim->item.name}};
        if (claim->fromRule)
            j["source"] = {{"rule", claim->findingID.scannerID}, {"pattern", orNull(claim->pattern)}};
        else
            j["source"] = {{"scanner", claim->findingID.scannerID}};
    }
    j["presence"] = rawValue(explanation.presence);
    j["examined"] = explanation.examined;
    j["failures"] = nlohmann::json::array();
    for (const auto& failure : explanation.failures)
        j["failures"].push_back({{"scannerID", failure.scannerID}, {"message", failure.message}});
    j["inside"] = nlohmann::json::array();
    for (const auto& part : explanation.inside)
        j["inside"].push_back({{"findingID", part.findingID},
                               {"title", part.title},
                               {"items", part.items},
                               {"size", orNull(part.size)}});
}

} // namespace velmora
