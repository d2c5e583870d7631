#include "Cli/HistoryCommand.hpp"

#include "Check/CheckHistory.hpp"
#include "Check/LastCheckSummary.hpp"
#include "Cli/CheckPresentation.hpp"
#include "Cli/CliApp.hpp"
#include "LiveEnvironment.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <ostream>

namespace velmora::cli {

namespace {

constexpr const char* noChecksYet = "Noch kein automatischer Check gelaufen.";

} // namespace

CLI::App* addHistoryCommand(CLI::App& app, HistoryOptions& options) {
    auto* command =
        app.add_subcommand("history", "Zeigt die bisherigen automatischen Checks, neueste zuerst");
    command->add_flag("--json", options.json, "Verlauf als JSON für Skripte ausgeben");
    return command;
}

int runHistoryCommand(const HistoryOptions& options, const RunSetting& setting, std::ostream& out,
                      std::chrono::system_clock::time_point now) {
    const auto deps = LiveEnvironment(setting).appDependencies();
    // An unreadable history reads as empty here; the next check sets it aside and starts afresh.
    const auto snapshots = deps.history->all();
    const auto* newest = CheckHistory::latestOf(snapshots, now);
    const auto summary = newest ? lastCheckSummary(*newest, now) : std::string(noChecksYet);
    if (options.json) {
        const nlohmann::json document{{"summary", summary}, {"checks", snapshots}};
        out << document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
        return exitOK;
    }
    out << Text::printable(summary) << "\n";
    for (const auto& snapshot : snapshots) {
        out << "\n" << localDateTime(snapshot.date) << "  " << snapshotSummary(snapshot) << "\n";
        printAlerts(out, snapshot);
    }
    return exitOK;
}

} // namespace velmora::cli
