// The German texts a removal plan and its report are shown with, the same in the window's removal sheet
// and on the command line: the groups by method under their row texts, sizes, the total, the options and
// the lines of the result.
#pragma once

#include "Findings/AppRef.hpp"
#include "Findings/FindingItem.hpp"
#include "Removal/RemovalPlan.hpp"
#include "Removal/RemovalReport.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::RemovalPlanText {

inline constexpr std::string_view deleteDirectlyOption =
    "Direkt löschen statt Papierkorb (schafft sofort Platz)";
inline constexpr std::string_view deleteDirectlyExplanation =
    "Vorausgewählt ist nur, was sich von selbst wieder aufbaut. Großes wird direkt gelöscht, alles andere "
    "landet im Papierkorb.";
inline constexpr std::string_view directDeleteHeading =
    "Direkt gelöscht statt in den Papierkorb gelegt (größer als 10 GB):";
inline constexpr std::string_view zapOption = "Auch Einstellungen entfernen (zap)";
inline constexpr std::string_view showCommands = "Befehle anzeigen";
inline constexpr std::string_view dryRunNotice = "Trockenlauf – es wird nichts entfernt.";
inline constexpr std::string_view dryRunResultTitle = "Trockenlauf aktiv";
inline constexpr std::string_view dryRunResultText = "Es wird nichts entfernt.";
inline constexpr std::string_view unknownSize = "Größe unbekannt";

// One group of the plan under its row text: a tool finding's command line (one group per command), or
// the fixed text of the Trash, of direct deletion and of the administrator steps.
struct Group {
    std::string heading;
    std::optional<std::string_view> symbol; // the system symbol drawn beside the heading
    std::vector<const RemovalStep*> steps;  // point into the plan the groups were made from
};

// The plan's groups in the order the runner acts; empty groups are left out.
std::vector<Group> groups(const RemovalPlan& plan);

// The size, or "Größe unbekannt".
std::string sizeText(const std::optional<std::int64_t>& size);
// The known sizes of `step`'s items added up; nothing when none is known.
std::optional<std::int64_t> stepSize(const RemovalStep& step);
// "Insgesamt: 3,4 GB in 5 Einträgen".
std::string total(const RemovalPlan& plan);

// Trash items large enough to be deleted directly, whether or not the option is set: what the option
// "Direkt löschen statt Papierkorb" would change. Empty when the option has nothing to offer.
std::vector<FindingItem> directDeleteOffers(const RemovalPlan& plan);
// The plan uninstalls a Homebrew cask, so removing its settings too ("zap") can be chosen.
bool offersZap(const RemovalPlan& plan);
// The applications that must not run while the planned items go: those of the findings and of their
// planned items, once each, in plan order.
std::vector<AppRef> blockingApps(const RemovalPlan& plan);

// The result of a removal, line by line, for the command line and the window alike: the reconciliation of
// the selection (the items that stayed indented below it), "Freigegeben: …", what went to the Trash, the
// free space before and after (with a note when it does not match), the failure summary, and where the
// run was recorded.
std::vector<std::string> reportLines(const RemovalReport& report);

} // namespace velmora::RemovalPlanText
