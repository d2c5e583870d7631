#include "Findings/AdminStep.hpp"

#include "Support/JsonHelpers.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace velmora {

bool AdminStep::isServiceStop() const {
    return executable == "/bin/launchctl" && !arguments.empty() && arguments.front() == "bootout";
}

std::optional<std::vector<AdminStep::Unit>> AdminStep::units(const std::vector<FindingItem>& selected,
                                                             const std::vector<FindingItem>& findingItems,
                                                             const std::vector<AdminStep>& steps) {
    const auto withID = std::ranges::count_if(steps, [](const AdminStep& s) { return s.itemID.has_value(); });
    const auto positionOf = [&](const FindingItem& item) -> std::optional<std::size_t> {
        const auto it = std::ranges::find(findingItems, item.id, &FindingItem::id);
        if (it == findingItems.end())
            return std::nullopt;
        return static_cast<std::size_t>(it - findingItems.begin());
    };

    std::vector<Unit> result;
    if (withID == 0) {
        // Steps that do not line up one to one with the items serve the finding as a whole.
        if (steps.empty() || steps.size() != findingItems.size())
            return std::vector<Unit>{Unit{selected, steps, std::nullopt}};
        for (const auto& item : selected) {
            if (const auto position = positionOf(item))
                result.push_back(Unit{{item}, {steps[*position]}, std::nullopt});
            else
                result.push_back(Unit{{item}, {}, "Unbekanntes Item"});
        }
        return result;
    }
    if (static_cast<std::size_t>(withID) != steps.size())
        return std::nullopt;

    for (const auto& item : selected) {
        if (!positionOf(item)) {
            result.push_back(Unit{{item}, {}, "Unbekanntes Item"});
            continue;
        }
        std::vector<AdminStep> mine;
        for (const auto& step : steps)
            if (step.itemID == item.id)
                mine.push_back(step);
        if (mine.empty())
            result.push_back(Unit{{item}, {}, "Nichts auszuführen"});
        else
            result.push_back(Unit{{item}, std::move(mine), std::nullopt});
    }
    return result;
}

void to_json(nlohmann::json& j, const AdminStep& step) {
    j = nlohmann::json::object();
    j["executable"] = step.executable;
    j["arguments"] = step.arguments;
    putOptional(j, "itemID", step.itemID);
    j["runsIfPreviousSucceeded"] = step.runsIfPreviousSucceeded;
}

void from_json(const nlohmann::json& j, AdminStep& step) {
    j.at("executable").get_to(step.executable);
    j.at("arguments").get_to(step.arguments);
    getOptional(j, "itemID", step.itemID);
    // Older lists were written without the flag; a missing one means "always run".
    std::optional<bool> flag;
    getOptional(j, "runsIfPreviousSucceeded", flag);
    step.runsIfPreviousSucceeded = flag.value_or(false);
}

} // namespace velmora
