#include "Cli/WhyCommand.hpp"

#include "Cli/CliApp.hpp"
#include "Findings/ByteFormat.hpp"
#include "LiveEnvironment.hpp"
#include "Scanning/PathExplainer.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <ostream>

namespace velmora::cli {

namespace {

namespace fs = std::filesystem;

// The real path for an argument: absolute ones are read inside the root (tidied first, so that ".."
// cannot climb out of it); a relative one is taken from the working folder only on the live root,
// since below a test root it would name something outside the tree.
fs::path realPath(const std::string& argument, const RunSetting& setting) {
    const fs::path given(argument);
    if (given.is_absolute())
        return setting.real(given.lexically_normal());
    std::error_code ec;
    if (setting.isLiveRoot() && !argument.empty())
        if (const auto cwd = fs::current_path(ec); !ec)
            return cwd / given;
    return given;
}

// A real path as the user sees it inside the root.
fs::path logical(const fs::path& real, const RunSetting& setting) {
    if (setting.isLiveRoot() || !real.is_absolute())
        return real;
    const auto inside = real.lexically_relative(setting.rootPrefix);
    if (inside.empty() || *inside.begin() == "..")
        return real;
    return inside == "." ? fs::path("/") : fs::path("/") / inside;
}

std::string shown(const fs::path& path) {
    return Text::printable(path.string());
}

std::string guardText(const SafetyVerdict& verdict) {
    return verdict.isAllowed() ? "erlaubt"
                               : "gesperrt (" + Text::printable(verdict.reason().value_or("")) + ")";
}

void printExplanation(std::ostream& out, const PathExplanation& e) {
    out << shown(e.path);
    switch (e.presence) {
    case PathPresence::symbolicLink:
        out << " (symbolischer Link – erklärt wird der Link selbst, nicht sein Ziel)";
        break;
    case PathPresence::missing:
        out << " (existiert nicht)";
        break;
    case PathPresence::unknown:
        out << (e.examined ? " (nicht lesbar)" : "");
        break;
    case PathPresence::present:
        break;
    }
    out << "\n";
    if (const auto& claim = e.claim) {
        out << "  Fund:       " << Text::printable(claim->title) << " ["
            << Text::printable(claim->findingID.text()) << "]\n";
        const bool itself = claim->item.url && *claim->item.url == e.path;
        out << "  Eintrag:    "
            << (itself ? std::string("dieser Pfad selbst")
                       : "liegt in " +
                             (claim->item.url ? shown(*claim->item.url) : Text::printable(claim->item.name)))
            << "\n";
        out << "  Herkunft:   "
            << (claim->fromRule
                    ? "Pfadregel " + Text::printable(claim->findingID.scannerID) +
                          (claim->pattern ? " (Muster „" + Text::printable(*claim->pattern) + "“)" : "")
                    : "Scanner " + Text::printable(claim->findingID.scannerID))
            << "\n";
        out << "  Risiko:     " << label(claim->risk) << "\n";
        out << "  Methode:    " << claim->method.rowText().value_or("Nur Hinweis – wird nicht entfernt")
            << "\n";
        out << "  Größe:      "
            << (claim->item.size ? ByteFormat::fileSize(*claim->item.size) : std::string("unbekannt"))
            << (itself ? "" : " (der ganze Eintrag)") << "\n";
        out << "  Behalten:   " << (claim->kept ? "ja – wird nicht entfernt" : "nein") << "\n";
    } else if (!e.examined) {
        out << (e.path.is_absolute() ? "  Nicht geprüft: die Suche wurde abgebrochen.\n"
                                     : "  Nicht geprüft: kein absoluter Pfad.\n");
    } else {
        out << "  Kein Fund erfasst diesen Pfad.\n";
        if (!e.failures.empty()) {
            out << "  Unvollständig – diese Scanner lieferten nichts:";
            for (const auto& failure : e.failures)
                out << " " << Text::printable(failure.scannerID) << " (" << Text::printable(failure.message)
                    << ")";
            out << "\n";
        }
    }
    out << "  Sicherheitsprüfung: " << guardText(e.guard) << "\n";
}

} // namespace

CLI::App* addWhyCommand(CLI::App& app, WhyOptions& options) {
    auto* command = app.add_subcommand(
        "why", "Erklärt, welcher Fund einen Pfad erfasst und ob Velmora ihn anfassen dürfte (nur lesend)");
    command->add_option("paths", options.paths, "Pfade, gelesen innerhalb der Wurzel")
        ->required()
        ->option_text("PFAD…");
    command->add_flag("--json", options.json, "Ergebnis als JSON für Skripte ausgeben");
    return command;
}

int runWhyCommand(const WhyOptions& options, const RunSetting& setting, std::ostream& out) {
    std::vector<fs::path> paths;
    for (const auto& argument : options.paths)
        paths.push_back(realPath(argument, setting));
    auto explanations = LiveEnvironment(setting).pathExplainer()->explain(paths);

    bool certain = true;
    for (std::size_t index = 0; index < explanations.size(); ++index) {
        auto& e = explanations[index];
        certain = certain && (e.claim || e.isSurelyUnclaimed());
        // Shown as the user sees them inside the root; a path that could not be placed, as given.
        e.path = e.path.is_absolute() ? logical(e.path, setting) : fs::path(options.paths[index]);
        if (e.claim && e.claim->item.url)
            e.claim->item.url = logical(*e.claim->item.url, setting);
        if (e.claim && e.claim->pattern)
            e.claim->pattern = logical(*e.claim->pattern, setting).string();
    }
    if (options.json) {
        out << nlohmann::json(explanations).dump(2, ' ', false, nlohmann::json::error_handler_t::replace)
            << "\n";
    } else {
        for (std::size_t index = 0; index < explanations.size(); ++index) {
            out << (index ? "\n" : "");
            printExplanation(out, explanations[index]);
        }
    }
    return certain ? exitOK : exitFailure;
}

} // namespace velmora::cli
