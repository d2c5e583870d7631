// The one notification an automatic check may post, made from its snapshot's alerts; the same text
// is the one-line summary of the last check.
#pragma once

#include "Check/CheckSnapshot.hpp"
#include "Findings/AppTab.hpp"

#include <optional>
#include <string>

namespace velmora {

struct CheckNotification {
    std::string title;
    std::string body;
    AppTab tab = AppTab::storage; // the tab a click opens

    bool operator==(const CheckNotification&) const = default;
};

namespace CheckNotificationText {

// Nothing when the snapshot raised no alert worth telling.
std::optional<CheckNotification> make(const CheckSnapshot& snapshot);
// "1 neuer verwaister Hintergrunddienst", otherwise "N neue verwaiste Hintergrunddienste".
std::string orphanedText(std::size_t count);
// The tab a grown finding belongs to.
AppTab tabForFinding(const std::string& idText);

} // namespace CheckNotificationText

} // namespace velmora
