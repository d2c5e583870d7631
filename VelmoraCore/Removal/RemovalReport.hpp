// How a removal ended: one result per item in the order of execution, what it freed, and the lines
// the summary lists for the items that could not go.
#pragma once

#include "Removal/ItemOutcome.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

struct RemovalReport {
    std::vector<ItemResult> results;
    // The recorded sizes of the removed items. Items moved to the Trash count too, although their
    // space comes back only when the Trash is emptied; an item of unknown size counts 0.
    std::int64_t freedBytes = 0;
    // "<item name>: <reason>" for every item that was not removed, except those skipped only because
    // of the dry run; a cancelled item reads "<item name>: Abgebrochen".
    std::vector<std::string> failures;

    bool operator==(const RemovalReport&) const = default;

    // "1 Eintrag konnte nicht entfernt werden." or "<count> Einträge konnten nicht entfernt werden.".
    static std::string failureSummary(std::size_t count);
    // The summary for this report's failures; nothing when there are none.
    std::optional<std::string> summary() const;
};

} // namespace velmora
