// The German words for what the removal journal and a restore record: shared by the command line and
// the window, so that both tell a past run the same way.
#pragma once

#include "Removal/RemovalJournal.hpp"
#include "Removal/TrashRestorer.hpp"

#include <string>

namespace velmora::JournalText {

// "Papierkorb", "direkt gelöscht", "Befehl des Werkzeugs", "Admin-Schritt"; an unknown name as it is.
std::string method(const std::string& methodName);
// "entfernt", "übersprungen: …", "fehlgeschlagen: …", "abgebrochen".
std::string outcome(const JournalItem& item);
// Where the item is now: "zurückgelegt an den ursprünglichen Ort", "liegt im Papierkorb: NAME"; empty
// for an item that never went to the Trash.
std::string trashState(const JournalItem& item);
// "13 ausgewählt: … · freigegeben 2 MB · im Papierkorb 1 MB".
std::string runSummary(const JournalRun& run);

// "zurückgelegt", "würde zurückgelegt" (each with its note), or the reason an item stayed.
std::string restoreOutcome(const RestoreOutcome& outcome);
// "2 zurückgelegt, 1 im Papierkorb gelassen, 3 nicht zurücklegbar"; in a dry run what would happen.
std::string restoreSummary(const RestoreReport& report, bool dryRun);

} // namespace velmora::JournalText
