// One shell command that runs with administrator rights inside the single authorised script.
#pragma once

#include "Findings/FindingItem.hpp"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>
#include <vector>

namespace velmora {

struct AdminStep {
    std::string executable;
    std::vector<std::string> arguments;
    std::optional<std::string> itemID;
    bool runsIfPreviousSucceeded = false;

    bool operator==(const AdminStep&) const = default;

    // What one selection of items needs: the steps to run for them, or why nothing can run.
    struct Unit {
        std::vector<FindingItem> items;
        std::vector<AdminStep> steps;
        std::optional<std::string> failure;

        bool operator==(const Unit&) const = default;
    };

    // A `launchctl bootout`: stopping a service, which the admin script treats specially.
    bool isServiceStop() const;

    // Matches the finding's steps to the selected items. Nothing means the step list mixes steps
    // with and without an item id and is invalid as a whole.
    static std::optional<std::vector<Unit>> units(const std::vector<FindingItem>& selected,
                                                  const std::vector<FindingItem>& findingItems,
                                                  const std::vector<AdminStep>& steps);
};

void to_json(nlohmann::json& j, const AdminStep& step);
void from_json(const nlohmann::json& j, AdminStep& step);

} // namespace velmora
