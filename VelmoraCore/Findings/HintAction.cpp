#include "Findings/HintAction.hpp"

#include "Support/FileURL.hpp"
#include "Support/JsonHelpers.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

void to_json(nlohmann::json& j, const HintAction& action) {
    if (const auto* open = std::get_if<HintAction::OpenURL>(&action.value))
        j = {{"openURL", {{"_0", open->url}}}};
    else
        j = {{"revealInFinder",
              {{"_0", fileURLText(std::get<HintAction::RevealInFinder>(action.value).path)}}}};
}

void from_json(const nlohmann::json& j, HintAction& action) {
    const auto& [name, payload] = *singleCaseObject(j).begin();
    const auto text = payload.at("_0").get<std::string>();
    if (name == "openURL") {
        action.value = HintAction::OpenURL{text};
    } else if (name == "revealInFinder") {
        const auto path = pathFromFileURL(text);
        if (!path)
            throw JsonDecodingError("Invalid file URL: " + text);
        action.value = HintAction::RevealInFinder{*path};
    } else {
        throw JsonDecodingError("Cannot initialize HintAction from invalid String value " + name);
    }
}

} // namespace velmora
