// What one confirmed removal will do: the chosen items sorted by how they go (tool commands, Trash,
// direct deletion, administrator steps), their total size, the options, and the command preview.
// Built once per confirmation; every file item records here what lies at its path, and the removers
// leave an item alone whose path names something else by the time they reach it.
#pragma once

#include "Findings/FindingItem.hpp"
#include "Removal/FindingSelection.hpp"
#include "Removal/RemovalOptions.hpp"
#include "Removal/RemovalStep.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct RemovalPlan {
    // More than 10 GB (decimal): a Trash item this large is deleted directly when the user asks for it.
    static constexpr std::int64_t directDeleteThreshold = 10'000'000'001;

    std::vector<RemovalStep> toolSteps;
    std::vector<RemovalStep> trashSteps;
    std::vector<RemovalStep> deleteSteps;
    std::vector<RemovalStep> adminSteps;
    std::int64_t totalSize = 0; // the known sizes of all planned items
    // Items of Trash findings that go into `deleteSteps` because of `options.deleteDirectly`.
    std::vector<FindingItem> directDeleteCandidates;
    RemovalOptions options;

    // Sorts the selected items of `selections` by their finding's method, in the order given. Hint
    // findings and findings without selected items never enter. With `zap`, Homebrew cask uninstalls
    // carry "--zap" from here on, so that the preview shows what will run. The identity of every item
    // with a path is recorded now: the plan is built when the user confirms, and what changes after
    // that is not removed.
    static RemovalPlan build(const std::vector<FindingSelection>& selections, RemovalOptions options);

    bool isEmpty() const;
    std::size_t itemCount() const;

    // One line per action, in the order the runner acts: tool command lines, "In den Papierkorb: <path>",
    // "rm -rf <quoted path>", and "sudo <quoted command>" for each admin step that will be put into the
    // script, a conditional one preceded by "Nur wenn der Dienst gestoppt wurde:".
    std::vector<std::string> commandPreview() const;
};

inline constexpr std::string_view trashPreviewPrefix = "In den Papierkorb: ";
inline constexpr std::string_view conditionalStepPreview = "Nur wenn der Dienst gestoppt wurde:";

} // namespace velmora
