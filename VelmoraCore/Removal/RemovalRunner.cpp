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

#include <algorithm>
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

// What the plan knew of each item (name, path, size), by finding and item id.
class PlannedItems {
public:
    explicit PlannedItems(const RemovalPlan& plan) {
        for (const auto* group : {&plan.toolSteps, &plan.trashSteps, &plan.deleteSteps, &plan.adminSteps})
            for (const auto& step : *group)
                for (const auto& planned : step.items)
                    items_.emplace(key(step.finding->id, planned.item.id), &planned.item);
    }
    ResultDetail detail(const ItemResult& result, RemovalKind method) const {
        ResultDetail detail{method, result.itemID, {}, std::nullopt};
        const auto found = items_.find(key(result.findingID, result.itemID));
        if (found == items_.end())
            return detail;
        const FindingItem& item = *found->second;
        if (!item.name.empty())
            detail.name = item.name;
        if (item.url)
            detail.path = item.url->string();
        detail.size = item.size;
        return detail;
    }

private:
    static std::string key(const FindingID& id, const std::string& itemID) {
        return id.text() + '\0' + itemID;
    }
    std::unordered_map<std::string, const FindingItem*> items_;
};

std::optional<std::int64_t> freeSpace(const RemovalRunner::Accounting& accounting) {
    if (!accounting.diskSpace)
        return std::nullopt;
    const auto space = accounting.diskSpace->diskSpace(accounting.home);
    return space ? std::optional(space->free) : std::nullopt;
}

} // namespace

RemovalRunner::RemovalRunner(Services services, Accounting accounting)
    : services_(std::move(services)), accounting_(std::move(accounting)) {}

RemovalRunner RemovalRunner::live(std::shared_ptr<Trash> trash, std::shared_ptr<const SafetyGuard> guard,
                                  std::shared_ptr<CommandRunner> commands, ToolLocator tools,
                                  std::shared_ptr<PrivilegedExecutor> executor,
                                  std::shared_ptr<const RunningAppsSource> runningApps,
                                  std::shared_ptr<const KeepList> keepList, TrashRemover::OnTrashed onTrashed,
                                  Accounting accounting) {
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
    return RemovalRunner(std::move(services), std::move(accounting));
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
    report.dryRun = dryRun;
    report.freeBefore = freeSpace(accounting_);
    const PlannedItems planned(plan);
    // Each group's results are told apart by where they start: a remover reports its items in its
    // own order.
    const auto tag = [&](RemovalKind method) {
        for (std::size_t i = report.details.size(); i < report.results.size(); ++i)
            report.details.push_back(planned.detail(report.results[i], method));
    };
    // Read as the run starts, not when the plan was shown: the user may have kept something while
    // the question was open.
    const auto keep = services_.readKeepList ? services_.readKeepList() : KeepList::Contents{};
    if (keep.damaged) {
        Log::error(logCategory, "keep list damaged: nothing removed");
        for (const auto& [group, method] :
             {std::pair{&plan.toolSteps, RemovalKind::tool}, std::pair{&plan.trashSteps, RemovalKind::trash},
              std::pair{&plan.deleteSteps, RemovalKind::delete_},
              std::pair{&plan.adminSteps, RemovalKind::admin}}) {
            for (const auto& step : *group)
                appendAll(report.results, step,
                          ItemOutcome::failed(std::string(RemovalText::keepListDamaged)));
            tag(method);
        }
    } else {
        runTools(plan.toolSteps, keep.ids, dryRun, progress, stop, report.results);
        tag(RemovalKind::tool);
        runFiles(plan.trashSteps, services_.trash.get(), keep.ids, dryRun, progress, stop, report.results);
        tag(RemovalKind::trash);
        runFiles(plan.deleteSteps, services_.delete_.get(), keep.ids, dryRun, progress, stop, report.results);
        tag(RemovalKind::delete_);
        runAdmin(plan.adminSteps, keep.ids, dryRun, progress, stop, report.results);
        tag(RemovalKind::admin);
    }

    for (std::size_t i = 0; i < report.results.size(); ++i) {
        const auto& result = report.results[i];
        const auto& outcome = result.outcome;
        if (const auto* removed = std::get_if<ItemOutcome::Removed>(&outcome.value)) {
            const std::int64_t bytes = removed->size.value_or(0) > 0 ? *removed->size : 0;
            // A Trash move frees nothing until the Trash is emptied.
            (report.details[i].method == RemovalKind::trash ? report.trashedBytes : report.freedBytes) +=
                bytes;
            continue;
        }
        const auto& name = report.details[i].name;
        if (outcome.isCancelled()) {
            report.failures.push_back(name + ": " + std::string(RemovalText::cancelled));
            continue;
        }
        const auto reason = outcome.reason().value_or(std::string());
        if (reason != RemovalText::dryRun)
            report.failures.push_back(name + ": " + reason);
    }
    report.freeAfter = freeSpace(accounting_);
    if (!dryRun)
        record(report);
    Log::info(logCategory, fmt::format("removal done: {} results, {} not removed, {} bytes freed, {} trashed",
                                       report.results.size(), report.failures.size(), report.freedBytes,
                                       report.trashedBytes));
    return report;
}

void RemovalRunner::record(RemovalReport& report) const {
    const auto& journal = accounting_.journal;
    // Only what changed something or tried to: a run where every item stayed untouched has nothing to
    // look up later.
    const bool acted = std::ranges::any_of(report.results, [](const ItemResult& result) {
        return result.outcome.isRemoved() || result.outcome.isFailed();
    });
    if (!journal || !acted)
        return;
    const auto now = accounting_.now ? accounting_.now() : std::chrono::system_clock::now();
    auto runID = RemovalJournal::makeRunID(now);
    if (const auto stored = journal->append(report.journalRun(runID, now)); !stored) {
        Log::error(logCategory,
                   fmt::format("removal journal not written: {}", stored.error().code.message()));
        report.journalWarning = stored.error().message();
        return;
    }
    report.runID = std::move(runID);
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
