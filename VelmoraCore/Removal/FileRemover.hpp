// The part the Trash and delete removers share: the checks every file item passes, in this order,
// right before it is touched – a path at all, the safety guard, still the object the plan saw, dry
// run – and then the one action that differs between them.
#pragma once

#include "Removal/Remover.hpp"
#include "Removal/SafetyCheck.hpp"

#include <string_view>

namespace velmora {

class FileRemover : public Remover {
public:
    std::vector<ItemResult> remove(const std::vector<RemovalStep>& steps, bool dryRun,
                                   std::stop_token stop = {}) override;

protected:
    // An empty `safety` denies every path: a remover that cannot ask the guard touches nothing.
    FileRemover(SafetyCheck safety, std::string_view logCategory);

    // Moves or deletes the item, whose path has passed every check a moment ago.
    virtual ItemOutcome apply(const PlannedItem& planned, std::stop_token stop) = 0;

private:
    ItemOutcome removeOne(const PlannedItem& planned, bool dryRun, std::stop_token stop);

    SafetyCheck safety_;
    std::string_view logCategory_;
};

} // namespace velmora
