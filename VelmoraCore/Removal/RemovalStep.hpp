// One finding of a removal plan with the items chosen from it, each item with what the plan saw at its
// path, so that the removers can tell right before acting whether the path still names that object.
#pragma once

#include "Findings/Finding.hpp"
#include "Findings/FindingItem.hpp"
#include "Platform/FileIdentity.hpp"
#include "Removal/FindingSelection.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

struct PlannedItem {
    FindingItem item;
    // The object at `item.url` when the plan was built (the link itself for a link); nothing when the
    // item has no path or nothing could be examined there.
    std::optional<FileIdentity> identity;

    // Records the identity of whatever the item's path names now.
    static PlannedItem capture(FindingItem item);

    // Why the item must be left alone because its path no longer names the recorded object: it is
    // gone, it is another object (replaced, swapped for a link), or it cannot be examined. An item
    // whose identity was never recorded is never confirmed: whatever lies there now was not seen
    // when the plan was made. Nothing when it is still the same object.
    std::optional<std::string> changeReason() const;
};

struct RemovalStep {
    // Shared and never changed, so that the runner can hand items over one at a time without copying
    // the finding with all its items for each of them.
    std::shared_ptr<const Finding> finding;
    std::vector<PlannedItem> items; // in the order in which they are to be handled

    // `items` as chosen from `finding`, with their identities recorded now.
    static RemovalStep capture(std::shared_ptr<const Finding> finding, const std::vector<FindingItem>& items);
    static RemovalStep capture(const Finding& finding, const std::vector<FindingItem>& items) {
        return capture(std::make_shared<const Finding>(finding), items);
    }

    // The same finding with only `item`.
    RemovalStep with(const PlannedItem& item) const { return RemovalStep{finding, {item}}; }

    FindingSelection selection() const;
};

} // namespace velmora
