#include "Cli/RestoreCommand.hpp"

#include "Cli/CheckPresentation.hpp"
#include "Cli/CliApp.hpp"
#include "Cli/Consent.hpp"
#include "LiveEnvironment.hpp"
#include "Removal/JournalText.hpp"
#include "Support/PrettyJson.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <ostream>
#include <set>

namespace velmora::cli {

namespace fs = std::filesystem;

CLI::App* addRestoreCommand(CLI::App& app, RestoreOptions& options) {
    auto* command = app.add_subcommand(
        "restore", "Legt zurück, was ein Lauf in den Papierkorb gelegt hat – erst nach deiner Bestätigung");
    command
        ->add_option("run", options.run, "Kennung des Laufs (ohne: der neueste mit Objekten im Papierkorb)")
        ->option_text("LAUF");
    command->add_option("--item", options.items, "Nur dieses Item des Laufs (mehrfach möglich)")
        ->option_text("ITEM-ID")
        ->allow_extra_args(false);
    command->add_flag("-y,--yes", options.yes, "Ohne Rückfrage zurücklegen (nötig ohne Terminal)");
    command->add_flag("--json", options.json, "Ergebnis als JSON ausgeben (braucht --yes oder --dry-run)");
    return command;
}

namespace {

using Kind = RestoreOutcome::Kind;

constexpr const char* nothingToRestore = "Nichts zurückzulegen – kein Lauf hat noch Objekte im Papierkorb.";

constexpr const char* kindName(Kind kind) {
    switch (kind) {
    case Kind::restored:
        return "restored";
    case Kind::wouldRestore:
        return "wouldRestore";
    case Kind::left:
        return "left";
    case Kind::notRestorable:
        return "notRestorable";
    }
    return "left";
}

// The path the way the user thinks of it: "~/…" in the home, else as seen inside the root.
std::string shownPath(const RunSetting& setting, const std::string& path, const std::string& itemID) {
    if (path.empty())
        return Text::printable(itemID);
    const fs::path real(path);
    const auto inHome = real.lexically_relative(setting.home);
    if (!inHome.empty() && *inHome.begin() != "..")
        return Text::printable(inHome == "." ? "~" : "~/" + inHome.string());
    const auto inRoot = real.lexically_relative(setting.rootPrefix);
    if (!setting.isLiveRoot() && !inRoot.empty() && *inRoot.begin() != "..")
        return Text::printable("/" + inRoot.string());
    return Text::printable(path);
}

nlohmann::json reportJSON(const RestoreReport& report, bool dryRun) {
    auto results = nlohmann::json::array();
    for (const auto& result : report.results)
        results.push_back(
            {{"findingID", result.findingID},
             {"itemID", result.itemID},
             {"path", result.path},
             {"outcome", kindName(result.outcome.kind)},
             {"reason", result.outcome.reason.empty() ? nlohmann::json(nullptr)
                                                      : nlohmann::json(result.outcome.reason)}});
    nlohmann::json counts;
    for (const auto kind : {Kind::restored, Kind::wouldRestore, Kind::left, Kind::notRestorable})
        counts[kindName(kind)] = report.count(kind);
    return {{"runID", report.runID.empty() ? nlohmann::json(nullptr) : nlohmann::json(report.runID)},
            {"dryRun", dryRun},
            {"results", std::move(results)},
            {"counts", std::move(counts)}};
}

} // namespace

int runRestoreCommand(const RestoreOptions& options, const RunSetting& setting, std::istream& in,
                      std::ostream& out, std::ostream& err, bool interactive) {
    if (options.json && !options.yes && !setting.dryRun) {
        err << "velmora: restore --json braucht --yes oder --dry-run.\nMehr dazu: velmora restore --help\n";
        return exitUsage;
    }
    const auto restorer = LiveEnvironment(setting).trashRestorer();
    const auto runs = restorer.journal()->runs();
    std::optional<JournalRun> run;
    if (options.run.empty()) {
        run = TrashRestorer::newestRestorable(runs);
    } else if (const auto it = std::ranges::find(runs, options.run, &JournalRun::runID); it != runs.end()) {
        run = *it;
    } else {
        err << "velmora: Kein solcher Lauf im Protokoll der Entfernungen: " << Text::printable(options.run)
            << "\nDie Läufe zeigt: velmora removals\n";
        return exitUsage;
    }
    if (!run) {
        if (options.json)
            out << prettyJSON(reportJSON(RestoreReport{}, setting.dryRun)) << "\n";
        else
            out << nothingToRestore << "\n";
        return exitOK;
    }
    std::set<std::string> known;
    for (const auto& item : run->items)
        known.insert(item.itemID);
    bool unknown = false;
    for (const auto& id : options.items)
        if (!known.contains(id)) {
            err << "velmora: Kein solcher Eintrag in diesem Lauf: " << Text::printable(id) << "\n";
            unknown = true;
        }
    if (unknown)
        return exitUsage;

    const std::set<std::string> wanted(options.items.begin(), options.items.end());
    std::vector<const JournalItem*> pending;
    for (const auto& item : run->items)
        if (item.trash && !item.restored && (wanted.empty() || wanted.contains(item.itemID)))
            pending.push_back(&item);
    // Nothing would move: the answer needs no consent.
    const bool moves = !pending.empty() && !setting.dryRun;
    if (!options.json) {
        out << "Lauf " << Text::printable(run->runID) << " vom " << localDateTime(run->time) << "\n";
        if (!pending.empty()) {
            out << "Aus dem Papierkorb zurücklegen (" << pending.size() << "):\n";
            for (const auto* item : pending)
                out << "  " << shownPath(setting, item->path, item->itemID) << "\n";
        }
        if (setting.dryRun)
            out << "Trockenlauf – es wird nichts zurückgelegt.\n";
    }
    if (moves)
        if (const auto stop =
                exitWithoutConsent(askConsent(options.yes, false, interactive, in, out, err, "zurückgelegt")))
            return *stop;

    const auto report = restorer.restore(*run, options.items, !moves);
    if (options.json) {
        out << prettyJSON(reportJSON(report, setting.dryRun)) << "\n";
    } else {
        out << "\n";
        for (const auto& result : report.results)
            out << shownPath(setting, result.path, result.itemID) << ": "
                << Text::printable(JournalText::restoreOutcome(result.outcome)) << "\n";
        out << "\n" << JournalText::restoreSummary(report, setting.dryRun) << "\n";
    }
    if (report.journalWarning)
        err << "velmora: Warnung: " << Text::printable(*report.journalWarning)
            << " Zurückgelegte Objekte könnten beim nächsten Mal noch einmal angeboten werden.\n";
    return report.count(Kind::left) > 0 ? exitFailure : exitOK;
}

} // namespace velmora::cli
