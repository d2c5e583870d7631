// Every service the application model reaches the world through, in one plain record: the live
// wiring fills it for the window and the command line alike, tests fill it with fakes.
#pragma once

#include "Check/AgentService.hpp"
#include "Check/CheckHistory.hpp"
#include "Check/CheckRunner.hpp"
#include "Check/Notifier.hpp"
#include "Performance/IndexingAdvice.hpp"
#include "Performance/PerformanceDependencies.hpp"
#include "Platform/DiskSpaceProbe.hpp"
#include "Platform/FullDiskAccessProbe.hpp"
#include "Removal/EmptyTrashError.hpp"
#include "Removal/RemovalJournal.hpp"
#include "Removal/RemovalReport.hpp"
#include "Removal/RemovalRunner.hpp"
#include "Removal/TrashRestorer.hpp"
#include "Safety/KeepList.hpp"
#include "Scanning/BigChunk.hpp"
#include "Scanning/PathExplanation.hpp"
#include "Scanning/PhotosInfo.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Services/LaunchItem.hpp"
#include "Services/LegacyItem.hpp"
#include "Services/ServiceRemoval.hpp"
#include "Services/ServicesLoad.hpp"
#include "Support/StopToken.hpp"
#include "SystemData/SystemDataReport.hpp"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

struct AppDependencies {
    std::shared_ptr<const ScanEngine> engine;
    std::shared_ptr<KeepList> keepList;
    std::shared_ptr<const RemovalRunner> runner;
    std::shared_ptr<const DiskSpaceProbe> diskSpace;
    std::function<ScanContext()> makeContext;
    // The "Große Brocken" of a finished scan (the big-folder scanner runs inside the engine).
    std::function<std::vector<BigChunk>(const ScanReport&)> bigChunks;
    std::function<std::optional<PhotosInfo>(const ScanContext&)> photos;
    // Bytes in the user's Trash; nothing when it cannot be measured.
    std::function<std::optional<std::int64_t>()> trash;
    std::shared_ptr<const FullDiskAccessProbe> fullDiskAccess;
    // Empties the Trash (nothing runs in a dry run) and returns the bytes it freed.
    std::function<std::expected<std::int64_t, EmptyTrashError>(bool dryRun, StopToken)> emptyTrash;
    std::function<SystemDataReport(const ScanContext&, StopToken, const std::function<void(double)>&)>
        measureSystemData;
    // True when dry run is forced from outside ("--dry-run", VELMORA_DRY_RUN=1); asked once at start.
    std::function<bool()> dryRun;
    // Asks a running application to quit (the blocking-apps warning); false when it could not be asked.
    std::function<bool(const std::string& bundleID)> terminate;
    std::shared_ptr<CheckHistory> history;
    CheckRunner::MeasureSystemRoots measureSystemRoots;
    std::shared_ptr<Notifier> notifier;
    std::shared_ptr<AgentService> agentService;
    std::function<ServicesLoad(const std::filesystem::path& home, StopToken)> loadServices;
    std::function<std::vector<LaunchItem>(StopToken)> loadLaunchItems;
    CheckRunner::OrphanedServices orphanedServices;
    PerformanceDependencies performance;

    // The old automation has no service of its own in the list above: it is found and removed here.
    std::function<std::vector<LegacyItem>()> legacyItems;
    std::function<RemovalReport(const std::vector<LegacyItem>&, bool dryRun,
                                const std::function<void(const std::string&)>& progress, StopToken)>
        removeLegacy;
    // Stops and takes away orphaned services after testing them afresh (ServiceRemoval::remove).
    std::function<std::vector<ServiceOutcome>(const std::vector<LaunchItem>&, bool dryRun,
                                              const std::function<void(const std::string&)>& progress,
                                              StopToken)>
        removeServices;
    // The big developer folders the desktop search indexes over and over (the performance tab).
    std::function<std::vector<IndexingHint>(StopToken)> indexingAdvice;

    // The removal journal's runs, newest first; empty when there is none or it cannot be read.
    std::function<std::vector<JournalRun>()> removalRuns;
    // Whether a Trash entry a run recorded is still the object it moved; unset: taken as still there.
    std::function<bool(const TrashPlacement&)> stillInTrash;
    // Puts what a run moved to the Trash back (TrashRestorer::restore) and marks it in the journal.
    std::function<RestoreReport(const JournalRun&, const std::vector<std::string>& itemIDs, bool dryRun)>
        restore;
    // "Warum?" for paths, from the same rules and scanners as the scan (PathExplainer::explain).
    std::function<std::vector<PathExplanation>(const std::vector<std::filesystem::path>&, StopToken)> explain;
};

} // namespace velmora
