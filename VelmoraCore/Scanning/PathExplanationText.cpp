#include "Scanning/PathExplanationText.hpp"

#include "Findings/ByteFormat.hpp"
#include "Support/Text.hpp"

#include <algorithm>

namespace velmora {

namespace {

std::string shown(const std::filesystem::path& path) {
    return Text::printable(path.string());
}

std::string presenceNote(const PathExplanation& e) {
    switch (e.presence) {
    case PathPresence::symbolicLink:
        return " (symbolischer Link – erklärt wird der Link selbst, nicht sein Ziel)";
    case PathPresence::missing:
        return " (existiert nicht)";
    case PathPresence::unknown:
        return e.examined ? " (nicht lesbar)" : "";
    case PathPresence::present:
        break;
    }
    return {};
}

} // namespace

PathExplanationText PathExplanationText::of(const PathExplanation& e) {
    PathExplanationText result{shown(e.path) + presenceNote(e), {}};
    auto& lines = result.lines;
    if (const auto& claim = e.claim) {
        const bool itself = claim->item.url && *claim->item.url == e.path;
        lines.push_back(
            {"Fund", Text::printable(claim->title) + " [" + Text::printable(claim->findingID.text()) + "]"});
        lines.push_back(
            {"Eintrag", itself ? std::string("dieser Pfad selbst")
                               : "liegt in " + (claim->item.url ? shown(*claim->item.url)
                                                                : Text::printable(claim->item.name))});
        const auto scanner = Text::printable(claim->findingID.scannerID);
        lines.push_back(
            {"Herkunft",
             claim->fromRule
                 ? "Pfadregel " + scanner +
                       (claim->pattern ? " (Muster „" + Text::printable(*claim->pattern) + "“)" : "")
                 : "Scanner " + scanner});
        lines.push_back({"Risiko", std::string(label(claim->risk))});
        lines.push_back({"Methode", claim->method.rowText().value_or("Nur Hinweis – wird nicht entfernt")});
        lines.push_back({"Größe", (claim->item.size ? ByteFormat::fileSize(*claim->item.size)
                                                    : std::string("unbekannt")) +
                                      (itself ? "" : " (der ganze Eintrag)")});
        lines.push_back({"Behalten", claim->kept ? "ja – wird nicht entfernt" : "nein"});
    } else if (!e.examined) {
        lines.push_back({"", e.path.is_absolute() ? "Nicht geprüft: die Suche wurde abgebrochen."
                                                  : "Nicht geprüft: kein absoluter Pfad."});
    } else {
        lines.push_back({"", "Kein Fund erfasst diesen Pfad."});
        if (!e.inside.empty()) {
            constexpr std::size_t named = 5;
            std::string text;
            for (std::size_t index = 0; index < std::min(named, e.inside.size()); ++index) {
                const auto& part = e.inside[index];
                text += (index ? ", " : "") + Text::printable(part.title) + " (" +
                        (part.size ? ByteFormat::fileSize(*part.size) : std::string("Größe unbekannt")) + ")";
            }
            if (e.inside.size() > named)
                text += " und " + std::to_string(e.inside.size() - named) + " weitere";
            lines.push_back({"Darin erfasst", std::move(text)});
        }
        if (!e.failures.empty()) {
            std::string text = "Unvollständig – diese Scanner lieferten nichts:";
            for (const auto& failure : e.failures)
                text +=
                    " " + Text::printable(failure.scannerID) + " (" + Text::printable(failure.message) + ")";
            lines.push_back({"", std::move(text)});
        }
    }
    lines.push_back(
        {"Sicherheitsprüfung", e.guard.isAllowed()
                                   ? std::string("erlaubt")
                                   : "gesperrt (" + Text::printable(e.guard.reason().value_or("")) + ")"});
    return result;
}

} // namespace velmora
