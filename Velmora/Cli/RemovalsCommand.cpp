#include "Cli/RemovalsCommand.hpp"

#include "Cli/CheckPresentation.hpp"
#include "Cli/CliApp.hpp"
#include "Findings/ByteFormat.hpp"
#include "LiveEnvironment.hpp"
#include "Removal/JournalText.hpp"
#include "Removal/TrashRestorer.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <ostream>

namespace velmora::cli {

namespace {

std::string dumped(const nlohmann::json& json) {
    return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

void printRuns(std::ostream& out, const std::vector<JournalRun>& runs) {
    if (runs.empty()) {
        out << "Noch keine Entfernung protokolliert.\n";
        return;
    }
    out << "Entfernungen, neueste zuerst (Einzelheiten: velmora removals LAUF):\n";
    for (const auto& run : runs) {
        out << "\n"
            << Text::printable(run.runID) << "  " << localDateTime(run.time) << "\n  "
            << JournalText::runSummary(run) << "\n";
    }
}

void printRun(std::ostream& out, const JournalRun& run) {
    out << "Lauf " << Text::printable(run.runID) << " vom " << localDateTime(run.time) << "\n"
        << countsText(run.counts) << "\n"
        << "Freigegeben: " << ByteFormat::fileSize(run.freedBytes)
        << " · Im Papierkorb: " << ByteFormat::fileSize(run.trashedBytes) << "\n";
    if (run.freeBefore && run.freeAfter)
        out << "Freier Speicher vorher: " << ByteFormat::fileSize(*run.freeBefore)
            << ", nachher: " << ByteFormat::fileSize(*run.freeAfter) << "\n";
    for (const auto& item : run.items) {
        out << "\n"
            << Text::printable(item.path.empty() ? item.itemID : item.path) << "\n  "
            << Text::printable(JournalText::method(item.method) + " · " + JournalText::outcome(item)) << " · "
            << (item.size ? ByteFormat::fileSize(*item.size) : std::string("Größe unbekannt")) << "\n";
        // The journal knows where an item went; whether it is still there, only a look now tells.
        if (item.trash && !item.restored && !TrashRestorer::isStillInTrash(*item.trash))
            out << "  nicht mehr im Papierkorb (geleert oder verschoben): "
                << Text::printable(item.trash->entry.string()) << "\n";
        else if (const auto state = JournalText::trashState(item); !state.empty())
            out << "  " << Text::printable(state) << "\n";
    }
}

} // namespace

CLI::App* addRemovalsCommand(CLI::App& app, RemovalsOptions& options) {
    auto* command = app.add_subcommand(
        "removals", "Zeigt die bisherigen Entfernungen, neueste zuerst, oder die Einträge eines Laufs");
    command->add_option("run", options.run, "Kennung eines Laufs, wie die Liste sie zeigt")
        ->option_text("LAUF");
    command->add_flag("--json", options.json, "Als JSON für Skripte ausgeben");
    return command;
}

int runRemovalsCommand(const RemovalsOptions& options, const RunSetting& setting, std::ostream& out,
                       std::ostream& err) {
    // An unreadable journal reads as empty here; the next run sets it aside and records afresh.
    const auto journal = LiveEnvironment(setting).removalJournal();
    if (options.run.empty()) {
        const auto runs = journal->runs();
        if (options.json)
            out << dumped(runs) << "\n";
        else
            printRuns(out, runs);
        return exitOK;
    }
    const auto run = journal->run(options.run);
    if (!run) {
        err << "velmora: Kein solcher Lauf im Protokoll der Entfernungen: " << Text::printable(options.run)
            << "\nDie Läufe zeigt: velmora removals\n";
        return exitFailure;
    }
    if (options.json)
        out << dumped(*run) << "\n";
    else
        printRun(out, *run);
    return exitOK;
}

std::string cleanRunJSON(const RemovalReport& report) {
    const auto run = report.journalRun(report.runID.value_or(""), std::chrono::system_clock::now());
    auto results = nlohmann::json::array();
    for (const auto& item : run.items) {
        nlohmann::json entry = item;
        entry.erase("trash");
        entry.erase("restored");
        results.push_back(std::move(entry));
    }
    nlohmann::json json{{"runID", report.runID ? nlohmann::json(*report.runID) : nlohmann::json(nullptr)},
                        {"results", std::move(results)},
                        {"counts", run.counts},
                        {"freedBytes", run.freedBytes},
                        {"trashedBytes", run.trashedBytes}};
    json["freeBefore"] = run.freeBefore ? nlohmann::json(*run.freeBefore) : nlohmann::json(nullptr);
    json["freeAfter"] = run.freeAfter ? nlohmann::json(*run.freeAfter) : nlohmann::json(nullptr);
    return dumped(json);
}

} // namespace velmora::cli
