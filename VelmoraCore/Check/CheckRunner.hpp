// One automatic check from start to end without a user interface: scan, condense into a snapshot,
// compare with the previous one, store it. It never removes anything.
#pragma once

#include "Check/CheckHistory.hpp"
#include "Check/CheckSnapshot.hpp"
#include "Platform/DiskSpaceProbe.hpp"
#include "Safety/KeepList.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Support/StopToken.hpp"

#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace velmora {

class CheckRunner {
public:
    // What the system-data measurer reports: its clean-up findings count like any other finding; the
    // sizes of the system areas ("systemdata.…") are watched for growth but are not cleanable.
    struct SystemRoots {
        std::vector<Finding> findings;
        std::map<std::string, std::int64_t> areaSizes;
        std::map<std::string, std::string> areaTitles;
        std::set<std::string> lowerBoundIDs; // areas cut short or partly unreadable, failed clean-up scanners
    };
    using MeasureSystemRoots = std::function<SystemRoots(const ScanContext&, StopToken)>;
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
