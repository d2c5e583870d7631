#include "Services/ServiceRemoval.hpp"

#include "Removal/RemovalPlan.hpp"
#include "Services/LaunchdService.hpp"
#include "Services/OrphanedServices.hpp"
#include "Support/StopToken.hpp"

#include <map>
#include <optional>
#include <utility>

namespace velmora {

namespace {

enum class LoadedState { notLoaded, thisService, otherService, unclear };

bool needsAdmin(const LaunchItem& item) {
    return item.scope == LaunchScope::allUsers || item.scope == LaunchScope::system;
}

ServiceOutcome outcomeFor(const LaunchItem& item) {
    ServiceOutcome outcome;
    const bool admin = needsAdmin(item);
    outcome.findingID = admin ? OrphanedServices::adminFindingID() : OrphanedServices::userFindingID();
    outcome.itemID = item.id;
    outcome.kind = admin ? "admin" : "user";
    outcome.label = item.label;
    return outcome;
}

void skip(ServiceOutcome& outcome, std::string_view message) {
    outcome.message = std::string(message);
    outcome.outcome = ItemOutcome::skipped(outcome.message);
}

// What launchd has loaded under the item's label. The loaded program decides whether that is this
// service; without programs to compare, the file it was loaded from does. Anything short of a clear
// answer is "unclear", which keeps the service.
LoadedState loadedState(CommandRunner* commands, const LaunchItem& item, std::uint32_t uid, StopToken stop) {
    const auto target = LaunchdService::target(item.scope, uid, item.label);
    if (!commands || !target)
        return LoadedState::unclear;
    const auto service = LaunchdService::query(*commands, *target, std::move(stop));
    if (!service)
        return service.error() == LaunchdQueryError::notLoaded ? LoadedState::notLoaded
                                                               : LoadedState::unclear;
    if (service->program && item.programPath)
        return *service->program == *item.programPath ? LoadedState::thisService : LoadedState::otherService;
    if (service->path && !service->path->empty() && item.plistURL) {
        // The plist lies below the root prefix; launchd names it as the system sees it.
        return item.plistURL->string().ends_with(*service->path) ? LoadedState::thisService
                                                                 : LoadedState::otherService;
    }
    return LoadedState::unclear;
}

// launchctl reports "not loaded" as 3 or 113; such a service is as stopped as it gets.
bool stopped(const std::expected<CommandResult, CommandError>& result) {
    return result && (result->exitCode == 0 || result->exitCode == 3 || result->exitCode == 113);
}

} // namespace

bool ServiceRemoval::bootout(const LaunchItem& item, StopToken stop) const {
    const auto target = LaunchdService::target(item.scope, scanner_->uid(), item.label);
    return target && stopped(commands_->run(LaunchdService::launchctl, {"bootout", *target},
                                            LaunchdService::timeout, std::move(stop)));
}

ServiceRemoval::ServiceRemoval(std::shared_ptr<const LaunchItemScanner> scanner,
                               std::shared_ptr<CommandRunner> commands, RemovalRunner removal)
    : scanner_(std::move(scanner)), commands_(std::move(commands)), removal_(std::move(removal)) {}

std::vector<ServiceOutcome> ServiceRemoval::remove(const std::vector<LaunchItem>& items, bool dryRun,
                                                   StopToken stop) const {
    std::vector<ServiceOutcome> outcomes;
    outcomes.reserve(items.size());
    // The list the items came from may be old: the app may be back, the file replaced.
    const auto fresh = scanner_->scan(stop);
    std::vector<LaunchItem> going;
    std::map<std::string, std::size_t> pending; // item id → index in `outcomes`

    for (const auto& item : items) {
        auto outcome = outcomeFor(item);
        const LaunchItem* now = nullptr;
        for (const auto& candidate : fresh)
            if (candidate.id == item.id)
                now = &candidate;
        if (stop.stop_requested()) {
            outcome.message = std::string(RemovalText::cancelled);
            outcome.outcome = ItemOutcome::cancelled();
        } else if (auto reason = scanner_->removalBlockReason(item)) {
            skip(outcome, *reason);
        } else if (!now || !now->isOrphaned) {
            skip(outcome, ServiceRemovalText::noLongerOrphaned);
        } else if (auto freshReason = scanner_->removalBlockReason(*now)) {
            skip(outcome, *freshReason);
        } else if (pending.contains(now->id)) {
            skip(outcome, ServiceRemovalText::noLongerOrphaned); // named twice: handled once
        } else {
            const auto state = loadedState(commands_.get(), *now, scanner_->uid(), stop);
            if (state == LoadedState::otherService) {
                skip(outcome, ServiceRemovalText::otherAppLoaded);
            } else if (state == LoadedState::unclear) {
                skip(outcome, ServiceRemovalText::stateUnclear);
            } else if (!needsAdmin(*now) && !dryRun && !bootout(*now, stop) &&
                       state == LoadedState::thisService) {
                outcome.message = std::string(ServiceRemovalText::stopFailed);
                outcome.outcome = ItemOutcome::failed(outcome.message);
            } else {
                pending[now->id] = outcomes.size();
                going.push_back(*now);
            }
        }
        outcomes.push_back(std::move(outcome));
    }
    if (going.empty())
        return outcomes;

    // Administrator items stop and delete inside the one admin script; user agents are stopped by now
    // and only their start files are left to go.
    std::vector<FindingSelection> selections;
    for (auto& finding : OrphanedServices::findings(*scanner_, going)) {
        auto chosen = finding.items;
        selections.push_back(FindingSelection{std::move(finding), std::move(chosen)});
    }
    const auto plan = RemovalPlan::build(selections, RemovalOptions{false, false, dryRun});
    const auto report = removal_.run(plan, {}, stop);
    for (const auto& result : report.results) {
        const auto found = pending.find(result.itemID);
        if (found == pending.end())
            continue;
        auto& outcome = outcomes[found->second];
        outcome.outcome = result.outcome;
        if (result.outcome.isRemoved())
            outcome.message = std::string(outcome.kind == "admin" ? ServiceRemovalText::deleted
                                                                  : ServiceRemovalText::trashed);
        else
            outcome.message = result.outcome.reason().value_or(result.outcome.text());
        pending.erase(found);
    }
    for (const auto& [id, index] : pending) {
        outcomes[index].message = "Nicht ausgeführt";
        outcomes[index].outcome = ItemOutcome::failed(outcomes[index].message);
    }
    return outcomes;
}

} // namespace velmora
