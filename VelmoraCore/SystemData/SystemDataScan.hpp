// One measurement of the system data: reads the volumes, measures every system area against its
// deadline, looks for what can safely go, and works out what no area explains.
#pragma once

#include "Scanning/ScanContext.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Support/StopToken.hpp"
#include "SystemData/LocalSnapshots.hpp"
#include "SystemData/SystemDataMeasurer.hpp"
#include "SystemData/SystemDataReport.hpp"
#include "SystemData/VolumeSource.hpp"

#include <functional>
#include <memory>

namespace velmora {

class SystemDataScan {
public:
    struct Dependencies {
        std::shared_ptr<const VolumeSource> volumes;
        std::shared_ptr<const LocalSnapshots> snapshots; // only where the system keeps local snapshots
        std::shared_ptr<const SystemDataMeasurer> measurer;
        std::shared_ptr<const ScanEngine> cleanup; // the system clean-up scanners
    };
    // Share of the work done, 0…1, never decreasing; called on the thread that runs the scan.
    using Progress = std::function<void(double)>;

    explicit SystemDataScan(Dependencies dependencies) : dependencies_(std::move(dependencies)) {}

    // Never fails: what cannot be read becomes a notice, a failed clean-up scanner a failure.
    SystemDataReport run(const ScanContext& context, StopToken stop = {},
                         const Progress& progress = {}) const;

    // Sorts the areas (biggest first, unknown sizes last) and works out the unassigned remainder:
    // the used space minus the areas on the container and, with the macOS layout, minus the volumes
    // other than the data volume (the system, its helpers and the swap volume).
    static void settle(SystemDataReport& report, PlatformLayout layout);

private:
    Dependencies dependencies_;
};

} // namespace velmora
