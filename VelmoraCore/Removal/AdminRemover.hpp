// Removes the items of admin findings: checks every step against the allow-list, puts the accepted
// ones into one script, has it run once with administrator rights and reads back which item is gone.
#pragma once

#include "Findings/AdminStep.hpp"
#include "Findings/FindingID.hpp"
#include "Findings/FindingItem.hpp"
#include "Platform/PlatformLayout.hpp"
#include "Removal/AdminStepCheck.hpp"
#include "Removal/FindingSelection.hpp"
#include "Removal/ItemOutcome.hpp"
#include "Removal/PrivilegedExecutor.hpp"
#include "Removal/SafetyCheck.hpp"
#include "Support/StopToken.hpp"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class AdminRemover {
public:
    // The items that share one outcome: either why they cannot run, or which steps of the combined
    // script (`start` ..< `start` + `count`) are theirs.
    struct Unit {
        FindingID findingID;
        std::vector<FindingItem> items;
        std::optional<std::string> failure;
        std::size_t start = 0;
        std::size_t count = 0;

        bool operator==(const Unit&) const = default;
    };

    // What a removal would do, before anything runs: the units in reporting order and the accepted
    // steps in script order.
    struct Prepared {
        std::vector<Unit> units;
        std::vector<AdminStep> steps;

        bool operator==(const Prepared&) const = default;
    };

    // `safety` is asked about every rm target exactly as the step names it; `layout` picks the
    // allow-list; `rootPrefix` stands for "/" when the rm rules look at a target (see AdminStepCheck).
    AdminRemover(std::shared_ptr<PrivilegedExecutor> executor, SafetyCheck safety, PlatformLayout layout,
                 std::filesystem::path rootPrefix = "/");

    // Units for every selected item, in the order of the findings and their selected items. Items of
    // a finding whose steps mix steps with and without item ids fail with "Ungültige Schritte"; a
    // finding that is not an admin finding fails with "Falsche Methode"; a unit without any step
    // fails with "Nichts auszuführen", so that no item is reported removed for which nothing ran.
    Prepared prepare(const std::vector<FindingSelection>& findings) const;

    // One result per selected item, in the order of `prepare`. In a dry run every item is skipped
    // with "Trockenlauf" and nothing runs. The password prompt is shown at most once, and not at all
    // when no step was accepted. Blocks while the prompt is open and the script runs; a second call
    // waits until the first one is done, so only one admin script runs at a time.
    std::vector<ItemResult> remove(const std::vector<FindingSelection>& findings, bool dryRun,
                                   StopToken stop = {});

    // The outcome of every item, given how the run of `prepared.steps` ended.
    static std::vector<ItemResult> results(const Prepared& prepared, const AdminRunResult& run);

private:
    std::shared_ptr<PrivilegedExecutor> executor_;
    AdminStepCheck check_;
    std::mutex running_; // held across the executor's run: one admin script at a time
};

} // namespace velmora
