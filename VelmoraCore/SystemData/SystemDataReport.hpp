// What the "Systemdaten" figure is made of: the disk and its volumes, the system areas by size with
// their verdicts, what no area explains, and what can safely go.
#pragma once

#include "Findings/Finding.hpp"
#include "Scanning/ScanReport.hpp"
#include "SystemData/APFSVolume.hpp"
#include "SystemData/SystemArea.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

struct SystemDataNotice {
    std::string id;
    std::string text; // German

    bool operator==(const SystemDataNotice&) const = default;
};

struct MeasuredArea {
    SystemArea area;
    std::optional<std::int64_t> size; // nothing: the system does not tell (local snapshots)
    bool lowerBound = false;          // cut short or partly unreadable: at least this much
    // What of it lies on the disk the container figures describe; only this is taken off the used
    // space (a /tmp in memory or a separate /home is not part of the root file system).
    std::int64_t bytesOnContainer = 0;
    std::string detail; // German, e.g. the number of local snapshots or the biggest system assets
};

struct SystemDataReport {
    // The start container (macOS) or the root file system (Linux); nothing when it could not be read.
    std::optional<std::int64_t> containerSize;
    std::optional<std::int64_t> containerFree;
    // Bytes in use. Not always capacity minus free: ext4 keeps blocks for the administrator that are
    // neither used nor free to the user, so on Linux it is what the root file system reports as used.
    std::optional<std::int64_t> containerUsed;
    std::vector<APFSVolume> volumes;
    std::vector<APFSVolume> simulatorVolumes;
    std::vector<MeasuredArea> areas; // biggest first, unknown sizes last
    // Used space minus what the areas explain; nothing when the disk figures are unknown. It can only
    // be too big, never too small, when an area is a lower bound.
    std::optional<std::int64_t> unassigned;
    bool unassignedUpperBound = false;
    std::vector<Finding> findings;
    std::vector<ScanFailure> failures;
    std::vector<SystemDataNotice> notices;
};

} // namespace velmora
