#include "Removal/RemovalRunner.hpp"

#include "Removal/DeleteRemover.hpp"
#include "Removal/RunningAppCheck.hpp"
#include "Removal/ToolRemover.hpp"
#include "Safety/KeepList.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Safety/SafetyVerdict.hpp"
#include "Support/Log.hpp"
#include "Support/StopToken.hpp"

#include <fmt/format.h>

#include <unordered_map>

namespace velmora {

namespace {

constexpr std::string_view logCategory = "removal";
constexpr std::string_view notRunText = "Nicht ausgeführt";

ItemOutcome keptOutcome() {
    return ItemOutcome::skipped(std::string(RemovalText::kept));
}

void appendAll(std::vector<ItemResult>& results, const RemovalStep& step, const ItemOutcome& outcome) {
    for (const auto& planned : step.items)
        results.push_back(ItemResult{step.finding->id, planned.item.id, outcome});
}

// The names the report's failure lines use, by finding and item id.
class ItemNames {
public:
    explicit ItemNames(const RemovalPlan& plan) {
        for (const auto* group : {&plan.toolSteps, &plan.trashSteps, &plan.deleteSteps, &plan.adminSteps})
            for (const auto& step : *group)
                for (const auto& planned : step.items)
                    names_.emplace(key(step.finding->id, planned.item.id), planned.item.name);
    }
    std::string operator()(const ItemResult& result) const {
        const auto found = names_.find(key(result.findingID, result.itemID));
        return found == names_.end() || found->second.empty() ? result.itemID : found->second;
    }

private:
    static std::string key(const FindingID& id, const std::string& itemID) {
        return id.text() + '\0' + itemID;
    }
    std::unordered_map<std::string, std::string> names_;
};

} // namespace

RemovalRunner::RemovalRunner(Services services) : services_(std::move(services)) {}

RemovalRunner RemovalRunner::live(std::shared_ptr<Trash> trash, std::shared_ptr<const SafetyGuard> guard,
                                  std::shared_ptr<CommandRunner> commands, ToolLocator tools,
                                  std::shared_ptr<PrivilegedExecutor> executor,
                                  std::shared_ptr<const RunningAppsSource> runningApps,
                                  std::shared_ptr<const KeepList> keepList,
                                  TrashRemover::OnTrashed onTrashed) {
    SafetyCheck safety = [](const std::filesystem::path&) {
        return std::optional<std::string>(SafetyReason::invalidConfiguration);
    };
    std::filesystem::path rootPrefix = "/";
    PlatformLayout layout = hostLayout();
    if (guard) {
        rootPrefix = guard->rootPrefix();
        layout = guard->layout();
        safety = [guard](const std::filesystem::path& path) { return guard->check(path); };
    }
    Services services;
    services.trash = std::make_shared<TrashRemover>(std::move(trash), guard, std::move(onTrashed));
    services.delete_ = std::make_shared<DeleteRemover>(guard);
    services.tool = std::make_shared<ToolRemover>(std::move(commands), std::move(tools), runningApps);
    // Without an executor no admin step can run; the admin items then fail instead of crashing the run.
    if (executor)
        services.admin =
            adminRemoval(std::make_shared<AdminRemover>(std::move(executor), safety, layout, rootPrefix));
    services.runningApps = std::move(runningApps);
    if (keepList)
        services.readKeepList = [keepList] { return KeepList::read(keepList->fileURL()); };
    return RemovalRunner(std::move(services));
}

RemovalRunner::AdminRemoval RemovalRunner::adminRemoval(std::shared_ptr<AdminRemover> remover) {
    return [remover](const std::vector<FindingSelection>& findings, bool dryRun, StopToken stop) {
        return remover->remove(findings, dryRun, std::move(stop));
    };
}

RemovalReport RemovalRunner::run(const RemovalPlan& plan, const Progress& progress, StopToken stop) const {
    const bool dryRun = plan.options.dryRun;
    Log::info(logCategory, fmt::format("removing {} items{}", plan.itemCount(), dryRun ? " (dry run)" : ""));

    RemovalReport report;
    // Read as the run starts, not when the plan was shown: the user may have kept something while
    // the question was open.
    const auto keep = services_.readKeepList ? services_.readKeepList() : KeepList::Contents{};
    if (keep.damaged) {
        Log::error(logCategory, "keep list damaged: nothing removed");
        for (const auto* group : {&plan.toolSteps, &plan.trashSteps, &plan.deleteSteps, &plan.adminSteps})
            for (const auto& step : *group)
                appendAll(report.results, step,
                          ItemOutcome::failed(std::string(RemovalText::keepListDamaged)));
    } else {
        runTools(plan.toolSteps, keep.ids, dryRun, progress, stop, report.results);
        runFiles(plan.trashSteps, services_.trash.get(), keep.ids, dryRun, progress, stop, report.results);
        runFiles(plan.deleteSteps, services_.delete_.get(), keep.ids, dryRun, progress, stop, report.results);
        runAdmin(plan.adminSteps, keep.ids, dryRun, progress, stop, report.results);
    }

    const ItemNames names(plan);
    for (const auto& result : report.results) {
        const auto& outcome = result.outcome;
        if (const auto* removed = std::get_if<ItemOutcome::Removed>(&outcome.value)) {
            report.freedBytes += removed->size.value_or(0) > 0 ? *removed->size : 0;
            continue;
        }
        if (outcome.isCancelled()) {
            report.failures.push_back(names(result) + ": " + std::string(RemovalText::cancelled));
            continue;
        }
        const auto reason = outcome.reason().value_or(std::string());
        if (reason != RemovalText::dryRun)
            report.failures.push_back(names(result) + ": " + reason);
    }
    Log::info(logCategory, fmt::format("removal done: {} results, {} not removed, {} bytes",
                                       report.results.size(), report.failures.size(), report.freedBytes));
    return report;
}

void RemovalRunner::runTools(const std::vector<RemovalStep>& steps, const KeepList::IDs& kept, bool dryRun,
                             const Progress& progress, StopToken stop,
                             std::vector<ItemResult>& results) const {
    for (const auto& step : steps) {
        if (step.items.empty())
            continue;
        if (stop.stop_requested()) {
            appendAll(results, step, ItemOutcome::cancelled());
            continue;
        }
        std::string names;
        for (const auto& planned : step.items)
            names += (names.empty() ? "" : ", ") + planned.item.name;
        if (progress)
            progress(std::string(removingProgressPrefix) + names);
        if (kept.contains(step.finding->id)) {
            appendAll(results, step, keptOutcome());
            continue;
        }
        if (!services_.tool) {
            appendAll(results, step, ItemOutcome::failed(std::string(notRunText)));
            continue;
        }
        auto outcomes = services_.tool->remove({step}, dryRun, stop);
        results.insert(results.end(), std::make_move_iterator(outcomes.begin()),
                       std::make_move_iterator(outcomes.end()));
    }
}

void RemovalRunner::runFiles(const std::vector<RemovalStep>& steps, Remover* remover,
                             const KeepList::IDs& kept, bool dryRun, const Progress& progress, StopToken stop,
                             std::vector<ItemResult>& results) const {
    for (const auto& step : steps) {
        const Finding& finding = *step.finding;
        for (const auto& planned : step.items) {
            const auto done = [&](ItemOutcome outcome) {
                results.push_back(ItemResult{finding.id, planned.item.id, std::move(outcome)});
            };
            if (stop.stop_requested()) {
                done(ItemOutcome::cancelled());
                continue;
            }
            if (progress)
                progress(std::string(removingProgressPrefix) + planned.item.name);
            if (kept.contains(finding.id)) {
                done(keptOutcome());
                continue;
            }
            // Asked afresh for every item: an app can be started while a long deletion runs.
            if (services_.runningApps && !RunningAppCheck::nothingToCheck(finding, {planned.item})) {
                if (auto blocker =
                        RunningAppCheck::take(*services_.runningApps).blocker(finding, &planned.item)) {
                    done(ItemOutcome::skipped(std::move(*blocker)));
                    continue;
                }
            }
            if (!remover) {
                done(ItemOutcome::failed(std::string(notRunText)));
                continue;
            }
            auto outcomes = remover->remove({step.with(planned)}, dryRun, stop);
            if (outcomes.empty())
                done(ItemOutcome::failed(std::string(notRunText)));
            results.insert(results.end(), std::make_move_iterator(outcomes.begin()),
                           std::make_move_iterator(outcomes.end()));
        }
    }
}

void RemovalRunner::runAdmin(const std::vector<RemovalStep>& steps, const KeepList::IDs& kept, bool dryRun,
                             const Progress& progress, StopToken stop,
                             std::vector<ItemResult>& results) const {
    std::vector<FindingSelection> handOver;
    for (const auto& step : steps) {
        if (step.items.empty())
            continue;
        const Finding& finding = *step.finding;
        if (stop.stop_requested()) {
            appendAll(results, step, ItemOutcome::cancelled());
            continue;
        }
        if (kept.contains(finding.id)) {
            appendAll(results, step, keptOutcome());
            continue;
        }

        // Why each item must stay, if it must.
        std::vector<std::optional<std::string>> reasons(step.items.size());
        std::optional<RunningAppCheck> apps;
        const auto selected = step.selection().items;
        if (services_.runningApps && !RunningAppCheck::nothingToCheck(finding, selected))
            apps = RunningAppCheck::take(*services_.runningApps);
        for (std::size_t k = 0; k < step.items.size(); ++k) {
            const auto& planned = step.items[k];
            if (apps)
                reasons[k] = apps->blocker(finding, &planned.item);
            // Only a path seen when planning can be confirmed; items without one (snapshots, services)
            // are vetted by the admin allow-list alone.
            if (!reasons[k] && planned.identity && planned.item.url)
                reasons[k] = planned.changeReason();
        }

        // Steps may serve several items at once; such items stay together, or a step would still run
        // for an item that must stay.
        const auto* admin = std::get_if<RemovalMethod::Admin>(&finding.method.value);
        const auto units = admin ? AdminStep::units(selected, finding.items, admin->steps) : std::nullopt;
        const auto indexOf = [&](const std::string& itemID) {
            for (std::size_t k = 0; k < step.items.size(); ++k)
                if (step.items[k].item.id == itemID)
                    return k;
            return step.items.size();
        };
        const auto firstReason = [&](const std::vector<FindingItem>& items) -> std::optional<std::string> {
            for (const auto& item : items)
                if (const auto k = indexOf(item.id); k < reasons.size() && reasons[k])
                    return reasons[k];
            return std::nullopt;
        };
        if (!units) {
            if (auto reason = firstReason(selected))
                for (auto& r : reasons)
                    r = r ? r : reason;
        } else {
            for (const auto& unit : *units)
                if (auto reason = firstReason(unit.items))
                    for (const auto& item : unit.items)
                        if (const auto k = indexOf(item.id); k < reasons.size() && !reasons[k])
                            reasons[k] = reason;
        }

        FindingSelection remaining{finding, {}};
        for (std::size_t k = 0; k < step.items.size(); ++k) {
            if (reasons[k])
                results.push_back(
                    ItemResult{finding.id, step.items[k].item.id, ItemOutcome::skipped(*reasons[k])});
            else
                remaining.items.push_back(step.items[k].item);
        }
        if (!remaining.items.empty())
            handOver.push_back(std::move(remaining));
    }
    if (handOver.empty())
        return;

    const auto cancelAll = [&] {
        for (const auto& selection : handOver)
            for (const auto& item : selection.items)
                results.push_back(ItemResult{selection.finding.id, item.id, ItemOutcome::cancelled()});
    };
    if (stop.stop_requested())
        return cancelAll();
    if (!services_.admin) {
        for (const auto& selection : handOver)
            for (const auto& item : selection.items)
                results.push_back(
                    ItemResult{selection.finding.id, item.id, ItemOutcome::failed(std::string(notRunText))});
        return;
    }
    if (progress)
        progress(std::string(adminProgress));
    auto outcomes = services_.admin(handOver, dryRun, stop);
    results.insert(results.end(), std::make_move_iterator(outcomes.begin()),
                   std::make_move_iterator(outcomes.end()));
}

} // namespace velmora
