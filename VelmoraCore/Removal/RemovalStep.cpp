#include "Removal/RemovalStep.hpp"

namespace velmora {

PlannedItem PlannedItem::capture(FindingItem item) {
    std::optional<FileIdentity> identity;
    if (item.url && !item.url->empty())
        identity = FileIdentity::of(*item.url);
    return PlannedItem{std::move(item), identity};
}

std::optional<std::string> PlannedItem::changeReason() const {
    if (!item.url)
        return std::string(vanishedText);
    if (identity)
        return identity->changeReason(*item.url);
    return std::string(FileIdentity::of(*item.url) ? changedSinceScanText : vanishedText);
}

RemovalStep RemovalStep::capture(std::shared_ptr<const Finding> finding,
                                 const std::vector<FindingItem>& items) {
    RemovalStep step{std::move(finding), {}};
    step.items.reserve(items.size());
    for (const auto& item : items)
        step.items.push_back(PlannedItem::capture(item));
    return step;
}

FindingSelection RemovalStep::selection() const {
    FindingSelection selection{finding ? *finding : Finding{}, {}};
    selection.items.reserve(items.size());
    for (const auto& planned : items)
        selection.items.push_back(planned.item);
    return selection;
}

} // namespace velmora
