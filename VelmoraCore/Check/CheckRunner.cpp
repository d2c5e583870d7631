#include "Check/CheckRunner.hpp"

#include "Check/GrowthWatcher.hpp"
#include "Support/StopToken.hpp"

#include <algorithm>

namespace velmora {

CheckRunner::CheckRunner(std::shared_ptr<const ScanEngine> engine, std::shared_ptr<KeepList> keepList,
                         std::shared_ptr<CheckHistory> history, MeasureSystemRoots measureSystemRoots,
                         std::shared_ptr<const DiskSpaceProbe> diskSpace, OrphanedServices orphanedServices)
    : engine_(std::move(engine)), keepList_(std::move(keepList)), history_(std::move(history)),
      measureSystemRoots_(std::move(measureSystemRoots)), diskSpace_(std::move(diskSpace)),
      orphanedServices_(std::move(orphanedServices)) {}

std::expected<CheckSnapshot, CheckHistoryError> CheckRunner::run(const ScanContext& context,
                                                                 StopToken stop) const {
    auto report = engine_->run(context, stop);
    CheckSnapshot snapshot;
    snapshot.date = context.now;
    if (measureSystemRoots_) {
        auto roots = measureSystemRoots_(context, stop);
        for (auto& finding : roots.findings)
            report.findings.push_back(std::move(finding));
        snapshot.sizes.insert(roots.areaSizes.begin(), roots.areaSizes.end());
        snapshot.titles.insert(roots.areaTitles.begin(), roots.areaTitles.end());
        snapshot.lowerBoundIDs.insert(roots.lowerBoundIDs.begin(), roots.lowerBoundIDs.end());
    }
    const auto kept = keepList_ ? keepList_->ids() : KeepList::IDs{};
    for (const auto& finding : report.findings) {
        if (kept.contains(finding.id))
            continue;
        const auto id = finding.id.text();
        // Hints are not cleanable and unmeasured findings have no size to watch.
        if (finding.risk == Risk::hintOnly || !finding.size)
            continue;
        snapshot.sizes[id] = *finding.size;
        snapshot.titles[id] = finding.title;
        snapshot.cleanableTotal += *finding.size;
    }
    // A scanner that failed or timed out measured nothing of its area: its sizes would look like shrinking.
    for (const auto& failure : report.failures)
        snapshot.lowerBoundIDs.insert(failure.scannerID);
    if (orphanedServices_) {
        snapshot.orphanedServiceLabels = orphanedServices_();
        if (snapshot.orphanedServiceLabels)
            std::ranges::sort(*snapshot.orphanedServiceLabels);
    }
    if (diskSpace_) {
        if (const auto space = diskSpace_->diskSpace(context.home)) {
            snapshot.freeBytes = space->free;
            snapshot.totalBytes = space->total;
        }
    }
    const auto previous = history_->latest(context.now);
    snapshot.alerts = GrowthWatcher::alerts(previous, snapshot);
    if (auto stored = history_->append(snapshot); !stored)
        return std::unexpected(stored.error());
    return snapshot;
}

} // namespace velmora
