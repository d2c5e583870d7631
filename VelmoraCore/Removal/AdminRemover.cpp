#include "Removal/AdminRemover.hpp"

#include "Removal/AdminScriptBuilder.hpp"
#include "Support/Log.hpp"
#include "Support/StopToken.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <variant>

namespace velmora {

namespace {

constexpr std::string_view logCategory = "admin";

// A completed run: what the statuses of the unit's steps say about one of its items.
ItemOutcome completedOutcome(const AdminRemover::Unit& unit, const std::vector<AdminStep>& steps,
                             const std::vector<std::optional<std::int32_t>>& statuses,
                             const FindingItem& item) {
    std::vector<std::int32_t> counted;
    for (std::size_t k = unit.start; k < unit.start + unit.count; ++k) {
        std::int32_t status = (k < statuses.size() && statuses[k]) ? *statuses[k] : -1;
        // launchctl's "not loaded" means the service is stopped, which is all the step wanted.
        if (k < steps.size() && steps[k].isServiceStop() && (status == 3 || status == 113))
            status = 0;
        counted.push_back(status);
    }
    if (std::ranges::all_of(counted, [](std::int32_t s) { return s == 0; }))
        return ItemOutcome::removed(item.size);
    if (std::ranges::find(counted, -1) != counted.end())
        return ItemOutcome::failed("Nicht ausgeführt");
    const auto firstFailure = *std::ranges::find_if(counted, [](std::int32_t s) { return s != 0; });
    return ItemOutcome::failed("Exit " + std::to_string(firstFailure));
}

} // namespace

AdminRemover::AdminRemover(std::shared_ptr<PrivilegedExecutor> executor, SafetyCheck safety,
                           PlatformLayout layout, std::filesystem::path rootPrefix)
    : executor_(std::move(executor)), check_(std::move(safety), layout, std::move(rootPrefix)) {}

AdminRemover::Prepared AdminRemover::prepare(const std::vector<FindingSelection>& findings) const {
    Prepared prepared;
    const auto failedUnit = [&](const FindingID& id, std::vector<FindingItem> items, std::string reason) {
        prepared.units.push_back(Unit{id, std::move(items), std::move(reason), prepared.steps.size(), 0});
    };

    for (const auto& selection : findings) {
        const auto& finding = selection.finding;
        // Steps that serve a finding as a whole would otherwise run although nothing was chosen.
        if (selection.items.empty())
            continue;
        const auto* admin = std::get_if<RemovalMethod::Admin>(&finding.method.value);
        if (!admin) {
            failedUnit(finding.id, selection.items, "Falsche Methode");
            continue;
        }
        const auto units = AdminStep::units(selection.items, finding.items, admin->steps);
        if (!units) {
            failedUnit(finding.id, selection.items, "Ungültige Schritte");
            continue;
        }
        for (const auto& unit : *units) {
            if (unit.items.empty())
                continue;
            if (unit.failure) {
                failedUnit(finding.id, unit.items, *unit.failure);
                continue;
            }
            if (unit.steps.empty()) {
                failedUnit(finding.id, unit.items, "Nichts auszuführen");
                continue;
            }
            std::optional<std::string> rejection;
            for (const auto& step : unit.steps) {
                rejection = check_.check(step);
                if (rejection) {
                    Log::info(logCategory, fmt::format("rejected step {} for {}: {}",
                                                       AdminScriptBuilder::commandLine(step),
                                                       finding.id.text(), *rejection));
                    break;
                }
            }
            if (rejection) {
                failedUnit(finding.id, unit.items, *rejection);
                continue;
            }
            prepared.units.push_back(
                Unit{finding.id, unit.items, std::nullopt, prepared.steps.size(), unit.steps.size()});
            prepared.steps.insert(prepared.steps.end(), unit.steps.begin(), unit.steps.end());
        }
    }
    return prepared;
}

std::vector<ItemResult> AdminRemover::remove(const std::vector<FindingSelection>& findings, bool dryRun,
                                             StopToken stop) {
    if (dryRun) {
        std::vector<ItemResult> results;
        for (const auto& selection : findings)
            for (const auto& item : selection.items)
                results.push_back(
                    ItemResult{selection.finding.id, item.id, ItemOutcome::skipped("Trockenlauf")});
        return results;
    }

    const Prepared prepared = prepare(findings);
    // Nothing passed: the outcome of a completed empty run leaves only the failed units, and the
    // user is not asked for a password for nothing.
    if (prepared.steps.empty())
        return results(prepared, AdminRunResult::completed({}));

    AdminRunResult run = AdminRunResult::cancelled();
    {
        std::lock_guard lock(running_);
        if (!stop.stop_requested()) {
            AdminScript script;
            script.nonce = AdminScriptBuilder::makeNonce();
            script.text = AdminScriptBuilder::script(prepared.steps, script.nonce);
            script.stepCount = prepared.steps.size();
            Log::info(logCategory, fmt::format("running {} admin steps", script.stepCount));
            run = executor_->run(script, stop);
        }
    }
    if (const auto* failed = std::get_if<AdminRunResult::Failed>(&run.value))
        Log::error(logCategory, fmt::format("admin script failed: {}", failed->reason));
    else if (std::holds_alternative<AdminRunResult::Cancelled>(run.value))
        Log::info(logCategory, "admin script cancelled");
    return results(prepared, run);
}

std::vector<ItemResult> AdminRemover::results(const Prepared& prepared, const AdminRunResult& run) {
    std::vector<ItemResult> results;
    for (const auto& unit : prepared.units) {
        for (const auto& item : unit.items) {
            ItemOutcome outcome = ItemOutcome::cancelled();
            if (unit.failure)
                outcome = ItemOutcome::failed(*unit.failure);
            else if (const auto* completed = std::get_if<AdminRunResult::Completed>(&run.value))
                outcome = completedOutcome(unit, prepared.steps, completed->statuses, item);
            else if (const auto* failed = std::get_if<AdminRunResult::Failed>(&run.value))
                outcome = ItemOutcome::failed(failed->reason);
            results.push_back(ItemResult{unit.findingID, item.id, std::move(outcome)});
        }
    }
    return results;
}

} // namespace velmora
