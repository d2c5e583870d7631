// The part the Trash and delete removers share: the checks every file item passes, in this order,
// right before it is touched – a path at all, the safety guard, still the object the plan saw, dry
// run – and then the one action that differs between them, done on the recorded object only.
#pragma once

#include "Platform/RemovalTarget.hpp"
#include "Removal/Remover.hpp"
#include "Support/StopToken.hpp"

#include <memory>
#include <optional>
#include <string_view>

namespace velmora {

class SafetyGuard;

inline constexpr std::string_view credentialsStayText = "Zugangsdaten werden nie angefasst";

class FileRemover : public Remover {
public:
    std::vector<ItemResult> remove(const std::vector<RemovalStep>& steps, bool dryRun,
                                   StopToken stop = {}) override;

protected:
    // A null `guard` denies every path: a remover that cannot ask the guard touches nothing.
    FileRemover(std::shared_ptr<const SafetyGuard> guard, std::string_view logCategory);

    // Moves or deletes `target`, which has passed every check a moment ago; it is reached from its
    // anchor and must still be the recorded object. `size` is what a removal reports.
    virtual ItemOutcome apply(const RemovalTarget& target, std::optional<std::int64_t> size,
                              StopToken stop) = 0;

private:
    ItemOutcome removeOne(const PlannedItem& planned, bool dryRun, StopToken stop);
    // Inside a tool folder with credential files: everything but the entries named like credentials
    // (and the folders on their way) goes; the outcome names what stayed.
    ItemOutcome removeAroundCredentials(const RemovalTarget& target, std::optional<std::int64_t> size,
                                        StopToken stop);

    std::shared_ptr<const SafetyGuard> guard_;
    std::string_view logCategory_;
};

} // namespace velmora
