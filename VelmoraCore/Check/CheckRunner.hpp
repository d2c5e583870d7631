// One automatic check from start to end without a user interface: scan, condense into a snapshot,
// compare with the previous one, store it. It never removes anything.
#pragma once

#include "Check/CheckHistory.hpp"
#include "Check/CheckSnapshot.hpp"
#include "Platform/DiskSpaceProbe.hpp"
#include "Safety/KeepList.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Support/StopToken.hpp"

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

class CheckRunner {
public:
    // Findings for the system areas ("systemdata.…"); until the system-data measurer exists the live
    // one contributes nothing.
    using MeasureSystemRoots = std::function<std::vector<Finding>(const ScanContext&, StopToken)>;
    // Labels of the orphaned background services; nothing when services were not examined.
    using OrphanedServices = std::function<std::optional<std::vector<std::string>>()>;

    CheckRunner(std::shared_ptr<const ScanEngine> engine, std::shared_ptr<KeepList> keepList,
                std::shared_ptr<CheckHistory> history, MeasureSystemRoots measureSystemRoots,
                std::shared_ptr<const DiskSpaceProbe> diskSpace, OrphanedServices orphanedServices);

    // Fails only when the history cannot be written.
    std::expected<CheckSnapshot, CheckHistoryError> run(const ScanContext& context,
                                                        StopToken stop = {}) const;

private:
    std::shared_ptr<const ScanEngine> engine_;
    std::shared_ptr<KeepList> keepList_;
    std::shared_ptr<CheckHistory> history_;
    MeasureSystemRoots measureSystemRoots_;
    std::shared_ptr<const DiskSpaceProbe> diskSpace_;
    OrphanedServices orphanedServices_;
};

} // namespace velmora
