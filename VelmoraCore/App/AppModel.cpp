#include "App/AppModel.hpp"

#include "App/EmptyTrashText.hpp"
#include "Check/CheckRunner.hpp"
#include "Check/CheckScheduler.hpp"
#include "Check/LastCheckSummary.hpp"
#include "Findings/Category.hpp"
#include "Removal/Remover.hpp"

#include <algorithm>
#include <tuple>
#include <utility>

namespace velmora {

bool SelectionEntry::operator<(const SelectionEntry& other) const {
    return std::tie(finding.scannerID, finding.key, item) <
           std::tie(other.finding.scannerID, other.finding.key, other.item);
}

AppModel::Observation::Observation(Observation&& other) noexcept
    : registry_(std::move(other.registry_)), id_(other.id_) {
    other.registry_.reset();
}

AppModel::Observation& AppModel::Observation::operator=(Observation&& other) noexcept {
    if (this != &other) {
        stop();
        registry_ = std::move(other.registry_);
        id_ = other.id_;
        other.registry_.reset();
    }
    return *this;
}

void AppModel::Observation::stop() {
    if (const auto registry = registry_.lock())
        registry->erase(id_);
    registry_.reset();
}

namespace {

// Work finished on another thread reaches the model only through this: the executor runs it on the
// main thread, and only while the model still exists there.
struct Poster {
    std::shared_ptr<MainExecutor> executor;
    std::weak_ptr<int> alive;

    void operator()(std::function<void()> work) const {
        executor->post([alive = alive, work = std::move(work)] {
            if (!alive.expired())
                work();
        });
    }
};

bool isServicesFinding(const Finding& finding) {
    return categoryForScannerID(finding.id.scannerID) == Category::services;
}

std::unordered_map<FindingID, Finding> indexFindings(const std::vector<Finding>& findings) {
    std::unordered_map<FindingID, Finding> index;
    for (const auto& finding : findings)
        index.emplace(finding.id, finding);
    return index;
}

RemovalReport reportOf(const std::vector<ServiceOutcome>& outcomes) {
    RemovalReport report;
    for (const auto& outcome : outcomes) {
        report.results.push_back(ItemResult{outcome.findingID, outcome.itemID, outcome.outcome});
        const auto reason = outcome.outcome.reason();
        if (!outcome.outcome.isRemoved() && reason != RemovalText::dryRun)
            report.failures.push_back(outcome.label + ": " + outcome.message);
    }
    return report;
}

} // namespace

AppModel::AppModel(AppDependencies deps, std::shared_ptr<SettingsStore> defaults,
                   std::shared_ptr<MainExecutor> executor, Options options)
    : deps_(std::move(deps)), defaults_(std::move(defaults)), servicesHome_(std::move(options.servicesHome)),
      now_(std::move(options.now)), executor_(std::move(executor)) {
    dryRunSetting_ = defaults_->boolValue(dryRunKey).value_or(false);
    checkSchedule_ = checkScheduleFromSetting(defaults_->stringValue(checkScheduleKey));
    isDryRunForced_ = deps_.dryRun && deps_.dryRun();
    if (!now_)
        now_ = [] { return std::chrono::system_clock::now(); };
    performance_ = std::make_unique<PerformanceModel>(deps_.performance);
    refreshAgentStatus();
    refreshNotificationStatus();
    reloadHistory();
}

AppModel::~AppModel() {
    alive_.reset();
    stop_.request_stop();
    std::map<std::size_t, std::unique_ptr<JoiningThread>> workers;
    {
        const std::lock_guard lock(workersMutex_);
        workers.swap(workers_);
    }
    workers.clear(); // joins each
}

AppModel::Observation AppModel::observe(Observer observer) {
    const auto id = nextObserver_++;
    observers_->emplace(id, std::move(observer));
    return Observation(observers_, id);
}

void AppModel::notify(Property property) {
    // An observer may stop itself or another one while it runs.
    std::vector<std::size_t> ids;
    for (const auto& [id, observer] : *observers_)
        ids.push_back(id);
    for (const auto id : ids) {
        const auto found = observers_->find(id);
        if (found == observers_->end())
            continue;
        const auto observer = found->second;
        observer(property);
    }
}

template <typename T> void AppModel::write(T& field, T value, Property property) {
    if (field == value)
        return;
    field = std::move(value);
    notify(property);
}

void AppModel::spawn(std::function<void(StopToken)> work) {
    const std::lock_guard lock(workersMutex_);
    const auto id = nextWorker_++;
    const Poster poster{executor_, alive_};
    workers_.emplace(id, std::make_unique<JoiningThread>(
                             [this, id, poster, work = std::move(work), token = stop_.get_token()] {
                                 work(token);
                                 // The thread's last act: the main thread joins it then, so finished threads
                                 // do not pile up.
                                 poster([this, id] {
                                     std::unique_ptr<JoiningThread> finished;
                                     {
                                         const std::lock_guard held(workersMutex_);
                                         const auto found = workers_.find(id);
                                         if (found == workers_.end())
                                             return;
                                         finished = std::move(found->second);
                                         workers_.erase(found);
                                     }
                                 });
                             }));
}

bool AppModel::hasPendingWork() const {
    const std::lock_guard lock(workersMutex_);
    return !workers_.empty();
}

bool AppModel::anyExclusiveBusy(bool testServicesLoad) const {
    return isScanning_ || isRemoving_ || isRestoring_ || isMeasuringSystemData_ || isChecking_ ||
           (testServicesLoad && isLoadingServices_);
}

void AppModel::setSelectedTab(AppTab tab) {
    write(selectedTab_, tab, Property::selectedTab);
}

// MARK: Scan

void AppModel::scan() {
    if (anyExclusiveBusy(false))
        return;
    write(isScanning_, true, Property::isScanning);
    write(scanProgress_, 0.0, Property::scanProgress);
    const auto generation = ++scanGeneration_;
    const auto context = std::make_shared<const ScanContext>(deps_.makeContext());
    const Poster poster{executor_, alive_};

    spawn([this, generation, context, poster](StopToken stop) {
        // The side measurements run beside the engine and are posted before the report, so that a
        // finished scan has all of them; a late one of an older scan is dropped like its progress.
        std::optional<JoiningThread> side(std::in_place, [this, generation, context, poster] {
            const auto current = [this, generation] { return scanGeneration_ == generation; };
            if (deps_.diskSpace) {
                const auto space = deps_.diskSpace->diskSpace(context->home);
                poster([this, disk = space ? std::optional(*space) : std::nullopt] {
                    write(disk_, disk, Property::disk);
                });
            }
            if (deps_.trash)
                poster([this, current, bytes = deps_.trash()] {
                    if (current())
                        write(trashBytes_, bytes, Property::trashBytes);
                });
            if (deps_.fullDiskAccess)
                poster([this, current, granted = deps_.fullDiskAccess->hasFullDiskAccess(context->home)] {
                    if (current())
                        write(hasFullDiskAccess_, granted, Property::hasFullDiskAccess);
                });
            if (deps_.photos)
                poster([this, current, info = deps_.photos(*context)] {
                    if (current())
                        write(photos_, info, Property::photos);
                });
            if (deps_.legacyItems)
                poster([this, current, items = deps_.legacyItems()] {
                    if (current())
                        write(legacyItems_, items, Property::legacyItems);
                });
        });
        ScanReport report;
        if (deps_.engine)
            report = deps_.engine->run(*context, stop, [this, generation, poster](double value) {
                poster([this, generation, value] {
                    if (!isScanning_ || scanGeneration_ != generation)
                        return;
                    write(scanProgress_, std::max(scanProgress_, value), Property::scanProgress);
                });
            });
        auto chunks = deps_.bigChunks ? deps_.bigChunks(report) : report.bigChunks;
        auto kept = deps_.keepList ? deps_.keepList->ids() : KeepList::IDs{};
        side.reset();
        poster([this, generation, report = std::move(report), chunks = std::move(chunks),
                kept = std::move(kept)]() mutable {
            if (scanGeneration_ != generation)
                return;
            applyReport(std::move(report), kept);
            write(bigChunks_, std::move(chunks), Property::bigChunks);
            write(isScanning_, false, Property::isScanning);
        });
    });
}

void AppModel::applyReport(ScanReport report, const std::unordered_set<FindingID>& kept) {
    findingsByID_ = indexFindings(report.findings);
    std::vector<FindingID> preselected;
    for (const auto& finding : report.findings)
        if (finding.risk == Risk::safe && !kept.contains(finding.id) &&
            finding.method.kind() != RemovalKind::hint)
            preselected.push_back(finding.id);
    write(kept_, kept, Property::kept);
    report_ = std::move(report);
    notify(Property::report);

    auto selection = selection_;
    for (const auto& id : preselected) {
        std::erase_if(selection, [&](const SelectionEntry& entry) { return entry.finding == id; });
        selection.insert(SelectionEntry{id, {}});
    }
    write(selection_, std::move(selection), Property::selection);
    pruneSelection();
}

// What is gone from both reports, what the user keeps, and items no longer listed leave the selection.
void AppModel::pruneSelection() {
    auto selection = selection_;
    std::erase_if(selection, [&](const SelectionEntry& entry) {
        const Finding* finding = findingFor(entry.finding);
        if (!finding || kept_.contains(entry.finding))
            return true;
        return !entry.item.empty() && std::ranges::none_of(finding->items, [&](const FindingItem& item) {
            return item.id == entry.item;
        });
    });
    write(selection_, std::move(selection), Property::selection);
}

const Finding* AppModel::findingFor(const FindingID& id) const {
    if (const auto found = findingsByID_.find(id); found != findingsByID_.end())
        return &found->second;
    if (const auto found = systemFindingsByID_.find(id); found != systemFindingsByID_.end())
        return &found->second;
    return nullptr;
}

// MARK: Selection

void AppModel::select(const FindingID& id) {
    const Finding* finding = findingFor(id);
    if (!finding || kept_.contains(id) || finding->method.kind() == RemovalKind::hint)
        return;
    auto selection = selection_;
    std::erase_if(selection, [&](const SelectionEntry& entry) { return entry.finding == id; });
    selection.insert(SelectionEntry{id, {}});
    write(selection_, std::move(selection), Property::selection);
}

void AppModel::deselect(const FindingID& id) {
    auto selection = selection_;
    std::erase_if(selection, [&](const SelectionEntry& entry) { return entry.finding == id; });
    write(selection_, std::move(selection), Property::selection);
}

void AppModel::selectItem(const FindingID& id, const std::string& itemID) {
    const Finding* finding = findingFor(id);
    if (!finding ||
        std::ranges::none_of(finding->items, [&](const FindingItem& item) { return item.id == itemID; }))
        return;
    // A tool's own clean-up command removes everything it lists, whatever was ticked.
    if (!finding->itemsSelectable || finding->method.kind() == RemovalKind::tool)
        return select(id);
    if (isSelected(id) || kept_.contains(id) || finding->method.kind() == RemovalKind::hint)
        return;
    auto selection = selection_;
    selection.insert(SelectionEntry{id, itemID});
    write(selection_, std::move(selection), Property::selection);
}

void AppModel::deselectItem(const FindingID& id, const std::string& itemID) {
    const Finding* finding = findingFor(id);
    if (!finding)
        return;
    if (!finding->itemsSelectable || finding->method.kind() == RemovalKind::tool)
        return deselect(id);
    auto selection = selection_;
    if (selection.erase(SelectionEntry{id, {}}) > 0) {
        for (const auto& item : finding->items)
            if (item.id != itemID)
                selection.insert(SelectionEntry{id, item.id});
    } else {
        selection.erase(SelectionEntry{id, itemID});
    }
    write(selection_, std::move(selection), Property::selection);
}

bool AppModel::isSelected(const FindingID& id, const std::string& itemID) const {
    return selection_.contains(SelectionEntry{id, {}}) ||
           (!itemID.empty() && selection_.contains(SelectionEntry{id, itemID}));
}

std::vector<FindingSelection> AppModel::selectedFindings() const {
    std::vector<FindingSelection> chosen;
    const auto take = [&](const Finding& finding) {
        if (!selection_.contains(SelectionEntry{finding.id, {}})) {
            FindingSelection some{finding, {}};
            for (const auto& item : finding.items)
                if (selection_.contains(SelectionEntry{finding.id, item.id}))
                    some.items.push_back(item);
            if (!some.items.empty())
                chosen.push_back(std::move(some));
            return;
        }
        if (!finding.items.empty())
            chosen.push_back(FindingSelection{finding, finding.items});
    };
    if (report_)
        for (const auto& finding : report_->findings)
            take(finding);
    if (systemData_)
        for (const auto& finding : systemData_->findings)
            if (!findingsByID_.contains(finding.id))
                take(finding);
    return chosen;
}

RemovalPlan AppModel::planSelection(RemovalOptions options) const {
    options.dryRun = options.dryRun || isDryRun();
    return RemovalPlan::build(selectedFindings(), options);
}

// MARK: Keep

void AppModel::keep(const FindingID& id) {
    applyKeepChange(id, true);
}

void AppModel::unkeep(const FindingID& id) {
    applyKeepChange(id, false);
}

void AppModel::applyKeepChange(const FindingID& id, bool add) {
    if (!deps_.keepList)
        return;
    const auto saved = add ? deps_.keepList->add(id) : deps_.keepList->remove(id);
    if (!saved) {
        write(lastError_, std::optional<std::string>(saved.error().message()), Property::lastError);
        return;
    }
    write(kept_, deps_.keepList->ids(), Property::kept);
    if (add)
        deselect(id);
}

// MARK: Removal

void AppModel::beginRemoval(std::string progress, std::vector<std::string> labels) {
    write(isRemoving_, true, Property::isRemoving);
    write(removalProgress_, std::optional(std::move(progress)), Property::removalProgress);
    write(removalLabels_, std::move(labels), Property::removalLabels);
}

void AppModel::finishRemoval(RemovalReport report, bool dryRun, bool legacy, bool services) {
    lastRemoval_ = std::move(report);
    notify(Property::lastRemoval);
    write(lastRemovalWasDryRun_, dryRun, Property::lastRemovalWasDryRun);
    write(lastRemovalWasLegacy_, legacy, Property::lastRemovalWasLegacy);
    write(lastRemovalWasServices_, services, Property::lastRemovalWasServices);
    write(isRemoving_, false, Property::isRemoving);
    write(removalProgress_, std::optional<std::string>(), Property::removalProgress);
    write(removalLabels_, std::vector<std::string>(), Property::removalLabels);
    if (!dryRun)
        loadRemovalRuns();
}

void AppModel::refreshDiskAndTrash() {
    const Poster poster{executor_, alive_};
    spawn([this, poster](StopToken) {
        if (deps_.diskSpace) {
            const auto space = deps_.diskSpace->diskSpace(servicesHome_);
            poster([this, disk = space ? std::optional(*space) : std::nullopt] {
                write(disk_, disk, Property::disk);
            });
        }
        if (deps_.trash)
            poster([this, bytes = deps_.trash()] { write(trashBytes_, bytes, Property::trashBytes); });
    });
}

void AppModel::remove(const RemovalPlan& plan) {
    if (anyExclusiveBusy(true))
        return;
    if (isDryRun() && !plan.options.dryRun) {
        write(lastError_, std::optional<std::string>(AppModelText::dryRunPlanRefused), Property::lastError);
        return;
    }
    std::vector<std::string> labels;
    bool services = false, others = false;
    for (const auto* group : {&plan.toolSteps, &plan.trashSteps, &plan.deleteSteps, &plan.adminSteps})
        for (const auto& step : *group) {
            (isServicesFinding(*step.finding) ? services : others) = true;
            if (std::ranges::find(labels, step.finding->title) == labels.end())
                labels.push_back(step.finding->title);
        }
    if (services && others) {
        write(lastError_, std::optional<std::string>(AppModelText::mixedServicesRefused),
              Property::lastError);
        return;
    }
    if (!deps_.runner)
        return;
    beginRemoval(std::string(AppModelText::preparing), std::move(labels));
    const Poster poster{executor_, alive_};
    spawn([this, plan, poster](StopToken stop) {
        auto report = deps_.runner->run(
            plan,
            [this, poster](const std::string& text) {
                poster([this, text] {
                    if (isRemoving_)
                        write(removalProgress_, std::optional(text), Property::removalProgress);
                });
            },
            stop);
        poster([this, report = std::move(report), dryRun = plan.options.dryRun]() mutable {
            // What went leaves the selection; the rest of a finding the user took whole stays chosen.
            std::set<SelectionEntry> removed;
            for (const auto& result : report.results)
                if (result.outcome.isRemoved())
                    removed.insert(SelectionEntry{result.findingID, result.itemID});
            auto selection = selection_;
            for (const auto& entry : selection_) {
                const Finding* finding = findingFor(entry.finding);
                if (!entry.item.empty() || !finding)
                    continue;
                const auto gone = [&](const FindingItem& item) {
                    return removed.contains(SelectionEntry{entry.finding, item.id});
                };
                if (std::ranges::none_of(finding->items, gone))
                    continue;
                selection.erase(entry);
                for (const auto& item : finding->items)
                    if (!gone(item))
                        selection.insert(SelectionEntry{entry.finding, item.id});
            }
            std::erase_if(selection, [&](const SelectionEntry& entry) { return removed.contains(entry); });
            write(selection_, std::move(selection), Property::selection);
            finishRemoval(std::move(report), dryRun, false, false);
            refreshDiskAndTrash();
        });
    });
}

void AppModel::removeLegacy() {
    if (anyExclusiveBusy(true) || legacyItems_.empty() || !deps_.removeLegacy)
        return;
    std::vector<std::string> labels;
    for (const auto& item : legacyItems_)
        labels.push_back(item.label);
    beginRemoval(std::string(AppModelText::removingLegacy), std::move(labels));
    const Poster poster{executor_, alive_};
    spawn([this, items = legacyItems_, dryRun = isDryRun(), poster](StopToken stop) {
        auto report = deps_.removeLegacy(
            items, dryRun,
            [this, poster](const std::string& text) {
                poster([this, text] {
                    if (isRemoving_)
                        write(removalProgress_, std::optional(text), Property::removalProgress);
                });
            },
            stop);
        auto remaining = deps_.legacyItems ? deps_.legacyItems() : std::vector<LegacyItem>{};
        poster([this, report = std::move(report), remaining = std::move(remaining), dryRun]() mutable {
            finishRemoval(std::move(report), dryRun, true, false);
            write(legacyItems_, std::move(remaining), Property::legacyItems);
            refreshDiskAndTrash();
        });
    });
}

void AppModel::toggleService(const std::string& launchItemID) {
    auto chosen = selectedServices_;
    if (!chosen.erase(launchItemID)) {
        const auto found = std::ranges::find(services_, launchItemID, &LaunchItem::id);
        // Only what the list shows as orphaned, and nothing blocks, is offered for removal.
        if (found == services_.end() || !found->isOrphaned || serviceBlockReasons_.contains(launchItemID))
            return;
        chosen.insert(launchItemID);
    }
    write(selectedServices_, std::move(chosen), Property::selectedServices);
}

std::optional<std::string> AppModel::serviceBlockReason(const std::string& launchItemID) const {
    const auto found = serviceBlockReasons_.find(launchItemID);
    return found == serviceBlockReasons_.end() ? std::nullopt : std::optional(found->second);
}

void AppModel::removeSelectedServices() {
    if (anyExclusiveBusy(true) || !deps_.removeServices)
        return;
    std::vector<LaunchItem> items;
    std::vector<std::string> labels;
    for (const auto& item : services_)
        if (selectedServices_.contains(item.id)) {
            items.push_back(item);
            labels.push_back(item.displayName.empty() ? item.label : item.displayName);
        }
    if (items.empty())
        return;
    beginRemoval(std::string(AppModelText::recheckingServices), std::move(labels));
    const Poster poster{executor_, alive_};
    spawn([this, items = std::move(items), dryRun = isDryRun(), poster](StopToken stop) {
        const auto outcomes = deps_.removeServices(
            items, dryRun,
            [this, poster](const std::string& text) {
                poster([this, text] {
                    if (isRemoving_)
                        write(removalProgress_, std::optional(text), Property::removalProgress);
                });
            },
            stop);
        poster([this, report = reportOf(outcomes), dryRun]() mutable {
            finishRemoval(std::move(report), dryRun, false, true);
            write(selectedServices_, std::set<std::string>(), Property::selectedServices);
            startServicesLoad();
            refreshDiskAndTrash();
        });
    });
}

void AppModel::emptyTrash() {
    if (anyExclusiveBusy(true) || !deps_.emptyTrash)
        return;
    beginRemoval(std::string(AppModelText::emptyingTrash), {});
    const Poster poster{executor_, alive_};
    spawn([this, dryRun = isDryRun(), poster](StopToken stop) {
        std::optional<std::expected<std::int64_t, EmptyTrashError>> result;
        try {
            result = deps_.emptyTrash(dryRun, stop);
        } catch (...) {
            // Left empty: the banner then says only that it did not work.
        }
        poster([this, result, dryRun] {
            if (result && *result) {
                finishRemoval(RemovalReport{{}, **result, {}}, dryRun, false, false);
                refreshDiskAndTrash();
                return;
            }
            const auto text =
                result ? emptyTrashErrorText(result->error()) : std::string(emptyTrashUnknownFailure);
            write(lastError_, std::optional(text), Property::lastError);
            write(isRemoving_, false, Property::isRemoving);
            write(removalProgress_, std::optional<std::string>(), Property::removalProgress);
        });
    });
}

// MARK: System data

void AppModel::systemDataTabShown() {
    if (!hasStartedSystemMeasurement_)
        startSystemMeasurement();
}

void AppModel::measureSystemData() {
    startSystemMeasurement();
}

void AppModel::startSystemMeasurement() {
    if (!deps_.measureSystemData)
        return;
    hasStartedSystemMeasurement_ = true;
    const auto generation = ++systemGeneration_;
    write(isMeasuringSystemData_, true, Property::isMeasuringSystemData);
    write(systemDataProgress_, std::optional(0.0), Property::systemDataProgress);
    const Poster poster{executor_, alive_};
    spawn([this, generation, context = deps_.makeContext(), poster](StopToken stop) {
        auto report = deps_.measureSystemData(context, stop, [this, generation, poster](double value) {
            poster([this, generation, value] {
                if (systemGeneration_ == generation && isMeasuringSystemData_)
                    write(systemDataProgress_,
                          std::optional(std::max(systemDataProgress_.value_or(0), value)),
                          Property::systemDataProgress);
            });
        });
        poster([this, generation, report = std::move(report)]() mutable {
            if (systemGeneration_ != generation)
                return;
            systemFindingsByID_ = indexFindings(report.findings);
            systemData_ = std::move(report);
            notify(Property::systemData);
            write(isMeasuringSystemData_, false, Property::isMeasuringSystemData);
            write(systemDataProgress_, std::optional<double>(), Property::systemDataProgress);
            pruneSelection();
        });
    });
}

// MARK: Services

void AppModel::servicesTabShown() {
    if (!hasStartedServicesLoad_)
        startServicesLoad();
}

void AppModel::performanceTabShown() {
    if (hasStartedIndexingAdvice_ || !deps_.indexingAdvice)
        return;
    hasStartedIndexingAdvice_ = true;
    const Poster poster{executor_, alive_};
    spawn([this, poster](StopToken stop) {
        auto hints = deps_.indexingAdvice(stop);
        poster([this, hints = std::move(hints)]() mutable {
            write(indexingHints_, std::optional(std::move(hints)), Property::indexingHints);
        });
    });
}

void AppModel::reloadServices() {
    startServicesLoad();
}

void AppModel::startServicesLoad() {
    if (isLoadingServices_ || !deps_.loadServices)
        return;
    hasStartedServicesLoad_ = true;
    write(isLoadingServices_, true, Property::isLoadingServices);
    const Poster poster{executor_, alive_};
    spawn([this, home = servicesHome_, poster](StopToken stop) {
        auto load = deps_.loadServices(home, stop);
        auto legacy = deps_.legacyItems ? std::optional(deps_.legacyItems()) : std::nullopt;
        poster([this, load = std::move(load), legacy = std::move(legacy)]() mutable {
            auto chosen = selectedServices_;
            std::erase_if(chosen, [&](const std::string& id) {
                const auto found = std::ranges::find(load.items, id, &LaunchItem::id);
                return found == load.items.end() || !found->isOrphaned || load.blockReasons.contains(id);
            });
            serviceBlockReasons_ = std::move(load.blockReasons);
            write(services_, std::move(load.items), Property::services);
            write(loginItemsFailed_, load.loginItemsFailed, Property::loginItemsFailed);
            write(hasLoadedServices_, true, Property::hasLoadedServices);
            write(selectedServices_, std::move(chosen), Property::selectedServices);
            if (legacy)
                write(legacyItems_, std::move(*legacy), Property::legacyItems);
            write(isLoadingServices_, false, Property::isLoadingServices);
        });
    });
}

// MARK: Check schedule and the check

void AppModel::setCheckSchedule(CheckSchedule schedule) {
    if (schedule == checkSchedule_)
        return;
    write(checkSchedule_, schedule, Property::checkSchedule);
    if (const auto stored = defaults_->setString(checkScheduleKey, rawValue(schedule)); !stored)
        write(lastError_, std::optional<std::string>(stored.error().message()), Property::lastError);
    if (isApplyingSchedule_) {
        pendingSchedule_ = schedule;
        return;
    }
    applySchedule(schedule);
}

void AppModel::applySchedule(CheckSchedule schedule) {
    write(isApplyingSchedule_, true, Property::isApplyingSchedule);
    const Poster poster{executor_, alive_};
    spawn([this, schedule, poster](StopToken stop) {
        bool registered = true;
        auto status = AgentStatus::notRegistered;
        std::optional<NotificationAuthorization> authorization;
        const std::lock_guard turn(*platformTurn_);
        if (deps_.agentService) {
            CheckScheduler scheduler(deps_.agentService);
            registered = scheduler.apply(schedule, stop).has_value();
            status = scheduler.status(schedule);
        }
        if (deps_.notifier) {
            // Switching the check on is when the user is asked whether it may notify.
            if (schedule != CheckSchedule::off)
                deps_.notifier->requestAuthorization();
            authorization = deps_.notifier->authorization();
        }
        poster([this, schedule, registered, status, authorization] {
            write(checkScheduleError_,
                  registered ? std::nullopt : std::optional<std::string>(scheduleFailureText),
                  Property::checkScheduleError);
            if (authorization)
                write(notificationStatus_, *authorization, Property::notificationStatus);
            const auto next = std::exchange(pendingSchedule_, std::nullopt);
            if (next && *next != schedule)
                return applySchedule(*next);
            write(agentStatus_, status, Property::agentStatus);
            write(isApplyingSchedule_, false, Property::isApplyingSchedule);
        });
    });
}

void AppModel::refreshAgentStatus() {
    if (checkSchedule_ == CheckSchedule::off || !deps_.agentService) {
        write(agentStatus_, AgentStatus::notRegistered, Property::agentStatus);
        return;
    }
    const Poster poster{executor_, alive_};
    spawn([this, schedule = checkSchedule_, poster](StopToken) {
        AgentStatus status;
        {
            const std::lock_guard turn(*platformTurn_);
            status = CheckScheduler(deps_.agentService).status(schedule);
        }
        poster([this, schedule, status] {
            // A change made meanwhile brings its own status.
            if (schedule == checkSchedule_ && !isApplyingSchedule_)
                write(agentStatus_, status, Property::agentStatus);
        });
    });
}

void AppModel::refreshNotificationStatus() {
    if (!deps_.notifier)
        return;
    const Poster poster{executor_, alive_};
    spawn([this, poster](StopToken) {
        const std::lock_guard turn(*platformTurn_);
        poster([this, authorization = deps_.notifier->authorization()] {
            write(notificationStatus_, authorization, Property::notificationStatus);
        });
    });
}

void AppModel::reloadHistory() {
    if (!deps_.history)
        return;
    const Poster poster{executor_, alive_};
    spawn([this, poster](StopToken) {
        poster([this, snapshots = deps_.history->all()]() mutable {
            write(checkHistory_, std::move(snapshots), Property::checkHistory);
        });
    });
}

void AppModel::runCheck() {
    if (anyExclusiveBusy(true) || !deps_.engine || !deps_.history)
        return;
    write(isChecking_, true, Property::isChecking);
    const Poster poster{executor_, alive_};
    spawn([this, context = deps_.makeContext(), poster](StopToken stop) {
        const CheckRunner runner(deps_.engine, deps_.keepList, deps_.history, deps_.measureSystemRoots,
                                 deps_.diskSpace, deps_.orphanedServices);
        const auto outcome = runner.run(context, stop);
        auto failure = outcome ? std::nullopt : std::optional<std::string>(outcome.error().message());
        poster([this, failure = std::move(failure), snapshots = deps_.history->all()]() mutable {
            write(checkHistory_, std::move(snapshots), Property::checkHistory);
            if (failure)
                write(lastError_, std::move(failure), Property::lastError);
            write(isChecking_, false, Property::isChecking);
        });
    });
}

std::optional<std::string> AppModel::lastCheckSummary() const {
    const auto now = now_();
    const CheckSnapshot* newest = CheckHistory::latestOf(checkHistory_, now);
    if (!newest)
        return std::nullopt;
    return velmora::lastCheckSummary(*newest, now);
}

// MARK: Settings and banners

void AppModel::setDryRunSetting(bool on) {
    if (const auto stored = defaults_->setBool(dryRunKey, on); !stored) {
        write(lastError_, std::optional<std::string>(stored.error().message()), Property::lastError);
        return;
    }
    write(dryRunSetting_, on, Property::dryRunSetting);
}

bool AppModel::terminate(const std::string& bundleID) {
    return deps_.terminate && deps_.terminate(bundleID);
}

void AppModel::dismissError() {
    write(lastError_, std::optional<std::string>(), Property::lastError);
}

void AppModel::dismissRemoval() {
    if (!lastRemoval_)
        return;
    lastRemoval_.reset();
    notify(Property::lastRemoval);
}

// MARK: Journal and "why"

AppModel::RunsRead AppModel::readRuns() const {
    RunsRead read{deps_.removalRuns(), {}};
    if (deps_.stillInTrash)
        for (const auto& run : read.runs)
            for (const auto& item : run.items)
                if (item.trash && !item.restored && !deps_.stillInTrash(*item.trash))
                    read.gone.emplace(run.runID, item.itemID);
    return read;
}

void AppModel::applyRuns(RunsRead read) {
    // Set first: whoever hears of the runs asks about them at once.
    goneFromTrash_ = std::move(read.gone);
    removalRuns_ = std::move(read.runs);
    notify(Property::removalRuns);
}

bool AppModel::isGoneFromTrash(const std::string& runID, const std::string& itemID) const {
    return goneFromTrash_.contains({runID, itemID});
}

void AppModel::loadRemovalRuns() {
    if (!deps_.removalRuns)
        return;
    const Poster poster{executor_, alive_};
    spawn([this, poster](StopToken) {
        poster([this, runs = readRuns()]() mutable { applyRuns(std::move(runs)); });
    });
}

void AppModel::restoreRun(const std::string& runID, std::vector<std::string> itemIDs) {
    if (anyExclusiveBusy(true) || !deps_.restore || !deps_.removalRuns)
        return;
    write(isRestoring_, true, Property::isRestoring);
    const Poster poster{executor_, alive_};
    spawn([this, runID, itemIDs = std::move(itemIDs), dryRun = isDryRun(), poster](StopToken) {
        // The run is read afresh: the journal on show may be older than what another process marked.
        std::optional<RunsRead> runs;
        std::optional<RestoreReport> report;
        std::string_view failure = AppModelText::unknownRun;
        try {
            runs = readRuns();
            const auto run = std::ranges::find(runs->runs, runID, &JournalRun::runID);
            if (run != runs->runs.end()) {
                report = deps_.restore(*run, itemIDs, dryRun);
                runs = readRuns();
            }
        } catch (const std::exception&) {
            // A thread must not end in an exception; what was put back shows when the journal is read.
            failure = AppModelText::restoreFailed;
        }
        poster([this, report = std::move(report), runs = std::move(runs), dryRun, failure]() mutable {
            if (report) {
                lastRestore_ = std::move(report);
                lastRestoreWasDryRun_ = dryRun;
                notify(Property::lastRestore);
            } else {
                write(lastError_, std::optional<std::string>(failure), Property::lastError);
            }
            if (runs)
                applyRuns(std::move(*runs));
            write(isRestoring_, false, Property::isRestoring);
            if (report && !dryRun)
                refreshDiskAndTrash();
        });
    });
}

void AppModel::dismissRestore() {
    if (!lastRestore_)
        return;
    lastRestore_.reset();
    notify(Property::lastRestore);
}

void AppModel::explain(const FindingID& id, const std::string& itemID) {
    const Finding* finding = findingFor(id);
    if (!finding || !deps_.explain)
        return;
    FindingExplanation answer{id, itemID, {}, 0};
    std::vector<std::filesystem::path> paths;
    for (const auto& item : finding->items) {
        if (!item.url || (!itemID.empty() && item.id != itemID))
            continue;
        if (paths.size() < explanationLimit)
            paths.push_back(*item.url);
        else
            ++answer.omitted;
    }
    const auto generation = ++explanationGeneration_;
    write(explanation_, std::optional<FindingExplanation>(), Property::explanation);
    if (paths.empty()) {
        // Nothing to look up: the answer is the finding itself, with no path to explain.
        write(explanation_, std::optional(std::move(answer)), Property::explanation);
        write(isExplaining_, false, Property::isExplaining);
        return;
    }
    write(isExplaining_, true, Property::isExplaining);
    const Poster poster{executor_, alive_};
    spawn([this, generation, answer = std::move(answer), paths = std::move(paths),
           poster](StopToken stop) mutable {
        bool failed = false;
        try {
            answer.paths = deps_.explain(paths, stop);
        } catch (const std::exception&) {
            failed = true;
        }
        poster([this, generation, answer = std::move(answer), failed]() mutable {
            if (explanationGeneration_ != generation)
                return;
            if (failed)
                write(lastError_, std::optional<std::string>(AppModelText::explainFailed),
                      Property::lastError);
            else
                write(explanation_, std::optional(std::move(answer)), Property::explanation);
            write(isExplaining_, false, Property::isExplaining);
        });
    });
}

void AppModel::dismissExplanation() {
    ++explanationGeneration_;
    write(explanation_, std::optional<FindingExplanation>(), Property::explanation);
    write(isExplaining_, false, Property::isExplaining);
}

} // namespace velmora
