// What the button of a hint finding does: hand the user over to a web page, a settings pane or a file.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <filesystem>
#include <string>
#include <variant>

namespace velmora {

struct HintAction {
    struct OpenURL {
        std::string url;
        bool operator==(const OpenURL&) const = default;
    };
    struct RevealInFinder {
        std::filesystem::path path;
        bool operator==(const RevealInFinder&) const = default;
    };

    std::variant<OpenURL, RevealInFinder> value;

    bool operator==(const HintAction&) const = default;
};

// {"openURL": {"_0": "https://…"}} or {"revealInFinder": {"_0": "file:///…"}}.
void to_json(nlohmann::json& j, const HintAction& action);
void from_json(const nlohmann::json& j, HintAction& action);

} // namespace velmora
