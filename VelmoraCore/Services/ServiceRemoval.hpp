// Stops orphaned background services and takes their start files away: the user's own agents are
// booted out of the user's launchd session and go to the Trash, agents for all users and daemons go
// through the administrator path under one password prompt.
#pragma once

#include "Findings/FindingID.hpp"
#include "Platform/CommandRunner.hpp"
#include "Removal/ItemOutcome.hpp"
#include "Removal/RemovalRunner.hpp"
#include "Services/LaunchItem.hpp"
#include "Services/LaunchItemScanner.hpp"
#include "Support/StopToken.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// How the removal of one service ended, always under the finding "services.orphaned" (the key "admin"
// for the administrator path).
struct ServiceOutcome {
    FindingID findingID;
    std::string itemID; // the launch item's id
    std::string kind;   // "user" or "admin"
    std::string label;
    std::string message; // German, for every outcome
    ItemOutcome outcome;

    bool operator==(const ServiceOutcome&) const = default;
};

namespace ServiceRemovalText {
inline constexpr std::string_view noLongerOrphaned = "Inzwischen nicht mehr verwaist – nichts entfernt.";
inline constexpr std::string_view otherAppLoaded =
    "Ein gleichnamiger Dienst einer anderen App ist geladen – nicht entfernt.";
inline constexpr std::string_view stateUnclear = "Status des Dienstes unklar – nicht entfernt.";
inline constexpr std::string_view stopFailed = "Der Dienst ließ sich nicht stoppen – nicht entfernt.";
inline constexpr std::string_view trashed = "Gestoppt, Startdatei im Papierkorb.";
inline constexpr std::string_view deleted = "Gestoppt, Startdatei gelöscht.";
} // namespace ServiceRemovalText

class ServiceRemoval {
public:
    // `scanner` evaluates the items once more right before anything happens (its uid is the user's
    // launchd session); `commands` runs launchctl; `removal` moves start files to the Trash and runs
    // the administrator steps, both through the safety guard.
    ServiceRemoval(std::shared_ptr<const LaunchItemScanner> scanner, std::shared_ptr<CommandRunner> commands,
                   RemovalRunner removal);

    // One outcome per item, in the items' order. An item is left alone (skipped, start file and
    // service untouched) when a fresh evaluation no longer finds it orphaned, when it has a removal
    // block reason, when a service of the same label but another program is loaded, or when its
    // launchd state cannot be read. A user agent whose stop fails while it is loaded fails and keeps
    // its start file: removing the file of a running service would leave it running with no way to
    // find it again. Not loaded, a failed stop is of no concern. In a dry run only launchd is asked;
    // nothing is stopped or removed and every item that would go is skipped with "Trockenlauf".
    std::vector<ServiceOutcome> remove(const std::vector<LaunchItem>& items, bool dryRun,
                                       StopToken stop = {}) const;

private:
    // Stops a user agent in the user's session; true when it is not running any more.
    bool bootout(const LaunchItem& item, StopToken stop) const;

    std::shared_ptr<const LaunchItemScanner> scanner_;
    std::shared_ptr<CommandRunner> commands_;
    RemovalRunner removal_;
};

} // namespace velmora
