// The one state object the window shows: scan, selection, keeping, removal, the Trash, system data,
// background services, the check schedule and performance. It lives on the main thread; long work runs
// on threads of its own and comes back through the main-thread executor, where a generation number
// drops what an older scan or measurement delivers late. Plain C++: the window binds it to its toolkit.
#pragma once

#include "App/AppDependencies.hpp"
#include "App/MainExecutor.hpp"
#include "Check/AgentStatus.hpp"
#include "Check/CheckSchedule.hpp"
#include "Check/CheckSnapshot.hpp"
#include "Check/NotificationAuthorization.hpp"
#include "Findings/AppTab.hpp"
#include "Findings/Finding.hpp"
#include "Findings/FindingID.hpp"
#include "Performance/PerformanceModel.hpp"
#include "Platform/DiskSpaceProbe.hpp"
#include "Platform/SettingsStore.hpp"
#include "Removal/FindingSelection.hpp"
#include "Removal/RemovalJournal.hpp"
#include "Removal/RemovalOptions.hpp"
#include "Removal/RemovalPlan.hpp"
#include "Removal/RemovalReport.hpp"
#include "Removal/TrashRestorer.hpp"
#include "Scanning/PathExplanation.hpp"
#include "Scanning/ScanReport.hpp"
#include "Services/LaunchItem.hpp"
#include "Services/LegacyItem.hpp"
#include "Support/StopToken.hpp"
#include "SystemData/SystemDataReport.hpp"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace velmora {

// A whole finding (empty item) or one item of it, as the user ticked it.
struct SelectionEntry {
    FindingID finding;
    std::string item; // the FindingItem's id; empty for the whole finding

    bool operator==(const SelectionEntry&) const = default;
    bool operator<(const SelectionEntry& other) const;
};

// The "why" answer for the items of a finding (or one item of it), as the window shows it.
struct FindingExplanation {
    FindingID finding;
    std::string item; // empty for the whole finding
    // One per item with a path, in the finding's order; a finding removed by a command may have none.
    std::vector<PathExplanation> paths;
    // Items with a path that were not asked about (beyond AppModel::explanationLimit).
    std::size_t omitted = 0;

    bool operator==(const FindingExplanation&) const = default;
};

namespace AppModelText {
inline constexpr std::string_view dryRunPlanRefused =
    "Trockenlauf aktiv – ein Plan ohne Trockenlauf wurde nicht ausgeführt.";
inline constexpr std::string_view mixedServicesRefused =
    "Hintergrunddienste werden getrennt von anderen Funden entfernt – es wurde nichts ausgeführt.";
inline constexpr std::string_view preparing = "Bereite vor …";
inline constexpr std::string_view removingLegacy = "Alte Automatik wird entfernt …";
// The service removal first tests the chosen services afresh, then takes away those still orphaned;
// the removeServices closure reports the second line when it gets there.
inline constexpr std::string_view recheckingServices = "Hintergrunddienste werden neu geprüft …";
inline constexpr std::string_view removingServices = "Hintergrunddienste werden entfernt …";
inline constexpr std::string_view emptyingTrash = "Papierkorb wird geleert …";
inline constexpr std::string_view checkFailed = "Der Check ist fehlgeschlagen.";
inline constexpr std::string_view unknownRun =
    "Dieser Lauf steht nicht mehr im Protokoll der Entfernungen – es wurde nichts zurückgelegt.";
inline constexpr std::string_view restoreFailed =
    "Zurücklegen ist unerwartet fehlgeschlagen – der Verlauf zeigt, was schon wieder an seinem Ort ist.";
inline constexpr std::string_view explainFailed = "Die Frage „Warum?“ ließ sich gerade nicht beantworten.";
} // namespace AppModelText

class AppModel {
public:
    // Every property a view can watch, in the order they are declared below.
    enum class Property {
        selectedTab,
        disk,
        isScanning,
        scanProgress,
        report,
        bigChunks,
        photos,
        trashBytes,
        hasFullDiskAccess,
        selection,
        kept,
        lastRemoval,
        lastRemovalWasDryRun,
        lastRemovalWasLegacy,
        lastRemovalWasServices,
        isRemoving,
        removalProgress,
        lastError,
        systemData,
        isMeasuringSystemData,
        systemDataProgress,
        checkSchedule,
        checkHistory,
        isChecking,
        notificationStatus,
        agentStatus,
        checkScheduleError,
        legacyItems,
        services,
        loginItemsFailed,
        isLoadingServices,
        hasLoadedServices,
        selectedServices,
        isDryRunForced,
        dryRunSetting,
        isApplyingSchedule,
        removalLabels,
        indexingHints,
        removalRuns,
        isRestoring,
        lastRestore,
        explanation,
        isExplaining,
    };
    using Observer = std::function<void(Property)>;

    // Stops its observer when destroyed (or on stop()); may outlive the model.
    class Observation {
    public:
        Observation() = default;
        Observation(Observation&& other) noexcept;
        Observation& operator=(Observation&& other) noexcept;
        Observation(const Observation&) = delete;
        Observation& operator=(const Observation&) = delete;
        ~Observation() { stop(); }
        void stop();

    private:
        friend class AppModel;
        using Registry = std::map<std::size_t, Observer>;
        Observation(std::weak_ptr<Registry> registry, std::size_t id)
            : registry_(std::move(registry)), id_(id) {}
        std::weak_ptr<Registry> registry_;
        std::size_t id_ = 0;
    };

    struct Options {
        // The home folder the services are loaded from and tested against.
        std::filesystem::path servicesHome;
        // "Now" for the last-check summary.
        std::function<std::chrono::system_clock::time_point()> now = [] {
            return std::chrono::system_clock::now();
        };
    };

    // Reads "dryRun" and "checkSchedule" at once and asks deps.dryRun whether dry run is forced; then
    // starts reading the agent status, the notification permission and the check history. Everything
    // else waits for its operation. Call on the main thread; `executor` must outlive the model.
    AppModel(AppDependencies deps, std::shared_ptr<SettingsStore> defaults,
             std::shared_ptr<MainExecutor> executor, Options options);
    // Asks every running operation to stop and waits for its thread; what it already posted is dropped.
    ~AppModel();
    AppModel(const AppModel&) = delete;
    AppModel& operator=(const AppModel&) = delete;

    [[nodiscard]] Observation observe(Observer observer);

    // Properties, in declaration order.
    AppTab selectedTab() const { return selectedTab_; }
    const std::optional<DiskSpace>& disk() const { return disk_; }
    bool isScanning() const { return isScanning_; }
    double scanProgress() const { return scanProgress_; }
    const std::optional<ScanReport>& report() const { return report_; }
    const std::vector<BigChunk>& bigChunks() const { return bigChunks_; }
    const std::optional<PhotosInfo>& photos() const { return photos_; }
    std::optional<std::int64_t> trashBytes() const { return trashBytes_; }
    bool hasFullDiskAccess() const { return hasFullDiskAccess_; }
    const std::set<SelectionEntry>& selection() const { return selection_; }
    const std::unordered_set<FindingID>& kept() const { return kept_; }
    const std::optional<RemovalReport>& lastRemoval() const { return lastRemoval_; }
    bool lastRemovalWasDryRun() const { return lastRemovalWasDryRun_; }
    bool lastRemovalWasLegacy() const { return lastRemovalWasLegacy_; }
    bool lastRemovalWasServices() const { return lastRemovalWasServices_; }
    bool isRemoving() const { return isRemoving_; }
    const std::optional<std::string>& removalProgress() const { return removalProgress_; }
    const std::optional<std::string>& lastError() const { return lastError_; }
    const std::optional<SystemDataReport>& systemData() const { return systemData_; }
    bool isMeasuringSystemData() const { return isMeasuringSystemData_; }
    std::optional<double> systemDataProgress() const { return systemDataProgress_; }
    CheckSchedule checkSchedule() const { return checkSchedule_; }
    const std::vector<CheckSnapshot>& checkHistory() const { return checkHistory_; }
    bool isChecking() const { return isChecking_; }
    NotificationAuthorization notificationStatus() const { return notificationStatus_; }
    AgentStatus agentStatus() const { return agentStatus_; }
    const std::optional<std::string>& checkScheduleError() const { return checkScheduleError_; }
    const std::vector<LegacyItem>& legacyItems() const { return legacyItems_; }
    const std::vector<LaunchItem>& services() const { return services_; }
    bool loginItemsFailed() const { return loginItemsFailed_; }
    bool isLoadingServices() const { return isLoadingServices_; }
    bool hasLoadedServices() const { return hasLoadedServices_; }
    const std::set<std::string>& selectedServices() const { return selectedServices_; }
    // Why a listed service may not be removed; nothing when it may. Changes with `services`.
    std::optional<std::string> serviceBlockReason(const std::string& launchItemID) const;
    bool isDryRunForced() const { return isDryRunForced_; }
    bool dryRunSetting() const { return dryRunSetting_; }
    PerformanceModel& performance() { return *performance_; }
    const AppDependencies& deps() const { return deps_; }
    SettingsStore& defaults() const { return *defaults_; }
    const std::unordered_map<FindingID, Finding>& findingsByID() const { return findingsByID_; }
    std::uint64_t scanGeneration() const { return scanGeneration_; }
    const std::unordered_map<FindingID, Finding>& systemFindingsByID() const { return systemFindingsByID_; }
    // The finding of the scan or of the system data with this id, or null.
    const Finding* findingFor(const FindingID& id) const;
    bool hasStartedSystemMeasurement() const { return hasStartedSystemMeasurement_; }
    bool hasStartedServicesLoad() const { return hasStartedServicesLoad_; }
    const std::filesystem::path& servicesHome() const { return servicesHome_; }
    std::uint64_t systemGeneration() const { return systemGeneration_; }
    bool isApplyingSchedule() const { return isApplyingSchedule_; }
    const std::vector<std::string>& removalLabels() const { return removalLabels_; }
    // Nothing until the performance tab was shown and the folders were looked at.
    const std::optional<std::vector<IndexingHint>>& indexingHints() const { return indexingHints_; }
    // Newest first; empty until loadRemovalRuns() or a removal read the journal.
    const std::vector<JournalRun>& removalRuns() const { return removalRuns_; }
    // A Trash item of a listed run that is no longer in the Trash as the run left it (emptied, moved).
    bool isGoneFromTrash(const std::string& runID, const std::string& itemID) const;
    bool isRestoring() const { return isRestoring_; }
    const std::optional<RestoreReport>& lastRestore() const { return lastRestore_; }
    bool lastRestoreWasDryRun() const { return lastRestoreWasDryRun_; }
    const std::optional<FindingExplanation>& explanation() const { return explanation_; }
    bool isExplaining() const { return isExplaining_; }

    // True while a thread of the model runs or what it posted last is not yet handled.
    bool hasPendingWork() const;

    // A scan, removal, restore, measurement, check or services load runs: a removal or restore now would
    // be refused.
    bool isBusy() const { return anyExclusiveBusy(true); }

    // The switch or the outside: what every removal runs with.
    bool isDryRun() const { return isDryRunForced_ || dryRunSetting_; }

    void setSelectedTab(AppTab tab);

    // Full scan; does nothing while a scan, removal, measurement or check runs.
    void scan();

    // Selection. A finding that is kept or only a hint is never selected. Selecting a whole finding
    // replaces the single items chosen of it; an item of a finding whose items only go together selects
    // the whole finding.
    void select(const FindingID& finding);
    void deselect(const FindingID& finding);
    void selectItem(const FindingID& finding, const std::string& itemID);
    void deselectItem(const FindingID& finding, const std::string& itemID);
    bool isSelected(const FindingID& finding, const std::string& itemID = {}) const;
    // The selection as the removal plan takes it, in the order of the scan report, then the system report.
    std::vector<FindingSelection> selectedFindings() const;
    // The plan for the current selection; dry run is set when it is in force, whatever `options` say.
    RemovalPlan planSelection(RemovalOptions options) const;

    void keep(const FindingID& finding);
    void unkeep(const FindingID& finding);

    // Runs `plan`, unless dry run is in force and the plan is not a dry run, or the plan mixes
    // background services with other findings: then nothing runs and lastError says why.
    void remove(const RemovalPlan& plan);
    void removeSelection(RemovalOptions options) { remove(planSelection(options)); }
    void removeLegacy();
    void toggleService(const std::string& launchItemID);
    void removeSelectedServices();
    void emptyTrash();

    // The first time the system-data tab is shown; later calls do nothing.
    void systemDataTabShown();
    // On explicit request: a measurement still running is overtaken (its results are dropped).
    void measureSystemData();

    void servicesTabShown();
    // The first time the performance tab is shown the indexed developer folders are looked for.
    void performanceTabShown();
    void reloadServices();

    // A further change while one is being registered waits for it; only the latest is applied then.
    void setCheckSchedule(CheckSchedule schedule);
    void refreshAgentStatus();
    void refreshNotificationStatus();
    // One automatic check now, stored in the history like a scheduled one.
    void runCheck();
    // "Letzter Check …" for the newest snapshot; nothing with no history.
    std::optional<std::string> lastCheckSummary() const;

    void setDryRunSetting(bool on);
    // Asks a running application to quit, for the warning about apps that block a removal.
    bool terminate(const std::string& bundleID);

    void dismissError();
    void dismissRemoval();

    // Reads the removal journal again; removals and restores reload it themselves.
    void loadRemovalRuns();
    // Puts back what run `runID` moved to the Trash (only the items `itemIDs` when given; in a dry run
    // every check is made and nothing moves). Does nothing while a scan, removal, measurement or check
    // runs; an unknown run ends in lastError.
    void restoreRun(const std::string& runID, std::vector<std::string> itemIDs = {});
    void dismissRestore();

    // "Warum wird das vorgeschlagen?" for a finding's items with a path (or for the one item `itemID`),
    // the first explanationLimit of them; a later question overtakes an earlier one.
    void explain(const FindingID& finding, const std::string& itemID = {});
    void dismissExplanation();
    static constexpr std::size_t explanationLimit = 50;

private:
    template <typename T> void write(T& field, T value, Property property);
    void notify(Property property);
    // Runs `work` on a thread of its own; the model waits for it when it is destroyed.
    void spawn(std::function<void(StopToken)> work);
    bool anyExclusiveBusy(bool testServicesLoad) const;

    void applyReport(ScanReport report, const std::unordered_set<FindingID>& kept);
    void pruneSelection();
    void applyKeepChange(const FindingID& finding, bool add);
    void beginRemoval(std::string progress, std::vector<std::string> labels);
    void finishRemoval(RemovalReport report, bool dryRun, bool legacy, bool services);
    void refreshDiskAndTrash();
    struct RunsRead {
        std::vector<JournalRun> runs;
        std::set<std::pair<std::string, std::string>> gone; // run id, item id
    };
    RunsRead readRuns() const; // on a worker thread
    void applyRuns(RunsRead read);
    void startSystemMeasurement();
    void startServicesLoad();
    void applySchedule(CheckSchedule schedule);
    void reloadHistory();

    AppTab selectedTab_ = AppTab::storage;
    std::optional<DiskSpace> disk_;
    bool isScanning_ = false;
    double scanProgress_ = 0;
    std::optional<ScanReport> report_;
    std::vector<BigChunk> bigChunks_;
    std::optional<PhotosInfo> photos_;
    std::optional<std::int64_t> trashBytes_;
    bool hasFullDiskAccess_ = false;
    std::set<SelectionEntry> selection_;
    std::unordered_set<FindingID> kept_;
    std::optional<RemovalReport> lastRemoval_;
    bool lastRemovalWasDryRun_ = false;
    bool lastRemovalWasLegacy_ = false;
    bool lastRemovalWasServices_ = false;
    bool isRemoving_ = false;
    std::optional<std::string> removalProgress_;
    std::optional<std::string> lastError_;
    std::optional<SystemDataReport> systemData_;
    bool isMeasuringSystemData_ = false;
    std::optional<double> systemDataProgress_;
    CheckSchedule checkSchedule_ = CheckSchedule::off;
    std::vector<CheckSnapshot> checkHistory_;
    bool isChecking_ = false;
    NotificationAuthorization notificationStatus_ = NotificationAuthorization::notDetermined;
    AgentStatus agentStatus_ = AgentStatus::notRegistered;
    std::optional<std::string> checkScheduleError_;
    std::vector<LegacyItem> legacyItems_;
    std::vector<LaunchItem> services_;
    bool loginItemsFailed_ = false;
    bool isLoadingServices_ = false;
    bool hasLoadedServices_ = false;
    std::set<std::string> selectedServices_;
    std::map<std::string, std::string> serviceBlockReasons_;
    bool isDryRunForced_ = false;
    bool dryRunSetting_ = false;
    std::unique_ptr<PerformanceModel> performance_;
    AppDependencies deps_;
    std::shared_ptr<SettingsStore> defaults_;
    std::unordered_map<FindingID, Finding> findingsByID_;
    std::uint64_t scanGeneration_ = 0;
    std::unordered_map<FindingID, Finding> systemFindingsByID_;
    bool hasStartedSystemMeasurement_ = false;
    bool hasStartedServicesLoad_ = false;
    std::filesystem::path servicesHome_;
    std::uint64_t systemGeneration_ = 0;
    bool isApplyingSchedule_ = false;
    std::vector<std::string> removalLabels_;
    std::optional<std::vector<IndexingHint>> indexingHints_;
    bool hasStartedIndexingAdvice_ = false;
    std::vector<JournalRun> removalRuns_;
    std::set<std::pair<std::string, std::string>> goneFromTrash_;
    bool isRestoring_ = false;
    std::optional<RestoreReport> lastRestore_;
    bool lastRestoreWasDryRun_ = false;
    std::optional<FindingExplanation> explanation_;
    bool isExplaining_ = false;
    std::uint64_t explanationGeneration_ = 0;

    std::optional<CheckSchedule> pendingSchedule_;
    std::function<std::chrono::system_clock::time_point()> now_;
    std::shared_ptr<MainExecutor> executor_;
    // The agent service and the notifier handle one call at a time; status reads and schedule changes
    // run on different threads, so they take turns here.
    std::shared_ptr<std::mutex> platformTurn_ = std::make_shared<std::mutex>();
    std::shared_ptr<Observation::Registry> observers_ = std::make_shared<Observation::Registry>();
    std::size_t nextObserver_ = 0;
    // Posted work holds this weakly: once the model is gone it runs nothing.
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);

    StopSource stop_;
    mutable std::mutex workersMutex_;
    std::map<std::size_t, std::unique_ptr<JoiningThread>> workers_;
    std::size_t nextWorker_ = 0;
};

} // namespace velmora
