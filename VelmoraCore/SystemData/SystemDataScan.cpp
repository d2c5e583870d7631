#include "SystemData/SystemDataScan.hpp"

#include "Findings/ByteFormat.hpp"
#include "SystemData/SystemAreas.hpp"
#include "SystemData/VolumeInventoryError.hpp"

#include <algorithm>
#include <limits>
#include <system_error>

namespace velmora {

namespace fs = std::filesystem;

namespace {

// Byte figures come from the outside (a plist, statvfs); a sum that would overflow saturates instead
// of wrapping into a small or negative number.
std::int64_t plus(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        return b > 0 ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
    return sum;
}

std::string snapshotDetail(const std::expected<std::vector<std::string>, std::string>& names) {
    if (!names)
        return "Die lokalen Schnappschüsse konnten nicht gelesen werden (" + names.error() + ").";
    if (names->empty())
        return "Keine lokalen Schnappschüsse.";
    const auto count = names->size();
    return (count == 1 ? std::string("1 lokaler Schnappschuss")
                       : std::to_string(count) + " lokale Schnappschüsse") +
           " – ihre Größe nennt macOS nicht.";
}

// Swap files live outside any folder an area names; the Linux inventory lists them as swap volumes.
std::vector<fs::path> swapFiles(const std::vector<APFSVolume>& volumes, const ScanContext& context) {
    std::vector<fs::path> files;
    for (const auto& volume : volumes) {
        if (volume.role != VolumeRole::vm || !volume.name.starts_with('/') ||
            volume.name.starts_with("/dev/"))
            continue;
        std::error_code error;
        const auto file = context.underRoot(volume.name);
        if (fs::is_regular_file(fs::symlink_status(file, error)))
            files.push_back(file);
    }
    return files;
}

} // namespace

SystemDataReport SystemDataScan::run(const ScanContext& context, StopToken stop,
                                     const Progress& progress) const {
    double done = 0;
    const auto report = [&](double share) {
        done = std::max(done, std::clamp(share, 0.0, 1.0));
        if (progress)
            progress(done);
    };
    report(0);

    SystemDataReport result;
    if (dependencies_.volumes) {
        if (auto inventory = dependencies_.volumes->load(stop)) {
            result.containerSize = inventory->containerSize;
            result.containerFree = inventory->containerFree;
            // The Linux inventory lists the root file system first, with what it reports as used.
            if (context.layout == PlatformLayout::linux && !inventory->volumes.empty())
                result.containerUsed = inventory->volumes.front().consumed;
            else
                result.containerUsed =
                    inventory->containerSize - std::min(inventory->containerSize, inventory->containerFree);
            result.volumes = std::move(inventory->volumes);
            result.simulatorVolumes = std::move(inventory->simulatorVolumes);
        } else {
            result.notices.push_back({"systemdata.volumes", volumeNoticeText(inventory.error())});
        }
    }
    report(0.05);

    const auto areas = SystemAreas::forMachine(
        {context.layout, context.rootPrefix, context.home, swapFiles(result.volumes, context)});
    // On a Mac "/" is the sealed system volume; what the areas hold lies on the data volume.
    auto reference = context.rootPrefix;
    if (context.layout == PlatformLayout::macOS) {
        std::error_code error;
        if (const auto data = context.underRoot("/System/Volumes/Data"); fs::is_directory(data, error))
            reference = data;
    }
    std::vector<AreaMeasurement> measured;
    if (dependencies_.measurer)
        measured = dependencies_.measurer->measure(areas, reference, stop,
                                                   [&](double share) { report(0.05 + 0.75 * share); });
    report(0.8);

    for (std::size_t i = 0; i < areas.size(); ++i) {
        MeasuredArea area;
        area.area = areas[i];
        const auto* measurement =
            i < measured.size() && measured[i].id == areas[i].id ? &measured[i] : nullptr;
        if (areas[i].kind == AreaKind::unmeasurable) {
            if (dependencies_.snapshots)
                area.detail = snapshotDetail(dependencies_.snapshots->list(stop));
        } else if (measurement) {
            area.size = measurement->bytes;
            area.lowerBound = measurement->lowerBound;
            area.bytesOnContainer = measurement->bytesOnReference;
        } else {
            area.lowerBound = true; // never measured: cancelled before its turn
            area.size = 0;
        }
        // The swap volume says what swap and the sleep image take, whoever may read the folder.
        if (context.layout == PlatformLayout::macOS && area.area.id == "systemdata.vm") {
            std::int64_t consumed = 0;
            bool any = false;
            for (const auto& volume : result.volumes)
                if (volume.role == VolumeRole::vm) {
                    consumed = plus(consumed, volume.consumed);
                    any = true;
                }
            if (any) {
                area.size = consumed;
                area.lowerBound = false;
                area.bytesOnContainer = 0; // counted with the volumes
            }
        }
        if (area.area.id == "systemdata.assets" && area.size && *area.size > 0 && !stop.stop_requested() &&
            context.sizer) {
            std::string names;
            for (const auto& asset :
                 SystemAreas::assetsBreakdown(area.area.locations.front(), *context.sizer, stop)) {
                if (names.size() > 200)
                    break;
                names += (names.empty() ? "" : ", ") + asset.name + " " + ByteFormat::fileSize(asset.size);
            }
            if (!names.empty())
                area.detail = "Größte: " + names + ".";
        }
        result.areas.push_back(std::move(area));
    }

    if (dependencies_.cleanup && !stop.stop_requested()) {
        auto cleanup =
            dependencies_.cleanup->run(context, stop, [&](double share) { report(0.8 + 0.2 * share); });
        result.findings = std::move(cleanup.findings);
        result.failures = std::move(cleanup.failures);
    }
    settle(result, context.layout);
    report(1);
    return result;
}

void SystemDataScan::settle(SystemDataReport& report, PlatformLayout layout) {
    std::ranges::stable_sort(report.areas, [](const MeasuredArea& a, const MeasuredArea& b) {
        if (a.size.has_value() != b.size.has_value())
            return a.size.has_value();
        return a.size && *a.size > *b.size;
    });
    const auto used = report.containerUsed;
    if (!used) {
        report.unassigned.reset();
        return;
    }
    std::int64_t explained = 0;
    bool upper = false;
    for (const auto& area : report.areas)
        if (area.bytesOnContainer > 0) {
            explained = plus(explained, area.bytesOnContainer);
            upper = upper || area.lowerBound;
        }
    if (layout == PlatformLayout::macOS)
        for (const auto& volume : report.volumes)
            if (volume.role != VolumeRole::data)
                explained = plus(explained, std::max<std::int64_t>(0, volume.consumed));
    // Areas that overlap on disk (hard links between them) can explain more than is used; the remainder
    // is then nothing rather than a negative size.
    report.unassigned = std::max<std::int64_t>(0, *used - std::min(*used, explained));
    report.unassignedUpperBound = upper;
}

} // namespace velmora
