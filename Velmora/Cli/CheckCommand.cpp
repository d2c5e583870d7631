#include "Cli/CheckCommand.hpp"

#include "Check/BackgroundCheck.hpp"
#include "Cli/CheckPresentation.hpp"
#include "Cli/CliApp.hpp"
#include "Findings/ByteFormat.hpp"
#include "LiveEnvironment.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>

#include <ostream>

namespace velmora::cli {

void addHeadlessCheckFlag(CLI::App& app, bool& headless) {
    app.add_flag("--check", headless,
                 "Einen automatischen Check ohne Ausgabe ausführen (so startet ihn der Zeitplan)");
}

CLI::App* addCheckCommand(CLI::App& app) {
    return app.add_subcommand("check", "Führt den automatischen Check jetzt aus und zeigt, was er findet "
                                       "(löscht nie etwas)");
}

namespace {

std::expected<BackgroundCheck::Outcome, CheckHistoryError> runCheck(const AppDependencies& deps,
                                                                    std::ostream& err) {
    auto outcome = BackgroundCheck::run(LiveEnvironment::checkDependencies(deps));
    if (!outcome)
        err << "velmora: " << outcome.error().message() << " ("
            << Text::printable(deps.history->fileURL().string()) << ": " << outcome.error().code.message()
            << ")\n";
    return outcome;
}

} // namespace

int runHeadlessCheck(const RunSetting& setting, std::ostream& err) {
    return runCheck(LiveEnvironment(setting).appDependencies(), err) ? exitOK : exitFailure;
}

int runCheckCommand(const RunSetting& setting, std::ostream& out, std::ostream& err) {
    const auto deps = LiveEnvironment(setting).appDependencies();
    const auto outcome = runCheck(deps, err);
    if (!outcome)
        return exitFailure;
    const auto& snapshot = outcome->snapshot;
    out << "Velmora 2 – Check von " << Text::printable(setting.home.string()) << "\n";
    out << "Aufräumbar: " << ByteFormat::fileSize(snapshot.cleanableTotal) << "\n";
    if (snapshot.totalBytes > 0)
        out << "Frei: " << ByteFormat::fileSize(snapshot.freeBytes) << " von "
            << ByteFormat::fileSize(snapshot.totalBytes) << "\n";
    else
        out << "Frei: unbekannt\n";
    out << "Funde: " << snapshot.sizes.size() << "\n";
    out << "Hinweise:\n";
    printAlerts(out, snapshot);
    if (!outcome->notification) {
        out << "Mitteilung: keine – nichts, was sich zu melden lohnt.\n";
    } else {
        out << "Mitteilung: "
            << Text::printable(outcome->notification->title + " – " + outcome->notification->body) << "\n";
        if (outcome->posted)
            out << "Die Mitteilung wurde gezeigt.\n";
        else if (!outcome->notificationsAllowed)
            out << "Nicht gezeigt: "
                << statusText(deps.notifier->authorization()).value_or("Mitteilungen sind nicht erlaubt.")
                << "\n";
        else
            out << "Nicht gezeigt: die Mitteilung konnte nicht zugestellt werden.\n";
    }
    out << "Gespeichert in " << Text::printable(deps.history->fileURL().string()) << "\n";
    return exitOK;
}

} // namespace velmora::cli
