#include "Removal/JournalText.hpp"

#include "Findings/ByteFormat.hpp"
#include "Removal/RemovalReport.hpp"

#include <fmt/format.h>

namespace velmora::JournalText {

using Kind = RestoreOutcome::Kind;

std::string method(const std::string& methodName) {
    if (methodName == "trash")
        return "Papierkorb";
    if (methodName == "delete")
        return "direkt gelöscht";
    if (methodName == "tool")
        return "Befehl des Werkzeugs";
    if (methodName == "admin")
        return "Admin-Schritt";
    return methodName;
}

std::string outcome(const JournalItem& item) {
    const auto reason = item.reason.value_or("");
    if (item.outcome == "removed")
        return reason.empty() ? "entfernt" : "entfernt – " + reason;
    if (item.outcome == "skipped")
        return "übersprungen: " + reason;
    if (item.outcome == "failed")
        return "fehlgeschlagen: " + reason;
    return "abgebrochen";
}

std::string trashState(const JournalItem& item) {
    if (item.restored)
        return "zurückgelegt an den ursprünglichen Ort";
    if (item.trash)
        return "liegt im Papierkorb: " + item.trash->entry.string();
    return {};
}

std::string runSummary(const JournalRun& run) {
    return countsText(run.counts) + " · freigegeben " + ByteFormat::fileSize(run.freedBytes) +
           " · im Papierkorb " + ByteFormat::fileSize(run.trashedBytes);
}

std::string restoreOutcome(const RestoreOutcome& outcome) {
    const auto withNote = [&](const char* text) {
        return outcome.reason.empty() ? std::string(text) : fmt::format("{} ({})", text, outcome.reason);
    };
    switch (outcome.kind) {
    case Kind::restored:
        return withNote("zurückgelegt");
    case Kind::wouldRestore:
        return withNote("würde zurückgelegt");
    case Kind::left:
    case Kind::notRestorable:
        break;
    }
    return outcome.reason;
}

std::string restoreSummary(const RestoreReport& report, bool dryRun) {
    std::string text =
        dryRun ? fmt::format("Trockenlauf – {} würde{} zurückgelegt", report.count(Kind::wouldRestore),
                             report.count(Kind::wouldRestore) == 1 ? "" : "n")
               : fmt::format("{} zurückgelegt", report.count(Kind::restored));
    if (const auto left = report.count(Kind::left))
        text += fmt::format(", {} {}", left,
                            !dryRun     ? "im Papierkorb gelassen"
                            : left == 1 ? "bliebe im Papierkorb"
                                        : "blieben im Papierkorb");
    if (const auto none = report.count(Kind::notRestorable))
        text += fmt::format(", {} nicht zurücklegbar", none);
    return dryRun ? text + ". Es wurde nichts verändert." : text;
}

} // namespace velmora::JournalText
