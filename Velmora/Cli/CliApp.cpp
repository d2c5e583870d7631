#include "Cli/CliApp.hpp"

#include "Cli/CheckCommand.hpp"
#include "Cli/CleanCommand.hpp"
#include "Cli/CommonOptions.hpp"
#include "Cli/GuardCommand.hpp"
#include "Cli/HistoryCommand.hpp"
#include "Cli/KeepCommand.hpp"
#include "Cli/RemovalsCommand.hpp"
#include "Cli/RestoreCommand.hpp"
#include "Cli/ScanCommand.hpp"
#include "Cli/ScheduleCommand.hpp"
#include "Cli/ServicesCommand.hpp"
#include "Cli/SystemCommand.hpp"
#include "Cli/TopCommand.hpp"
#include "Cli/TrashCommand.hpp"
#include "Cli/WhyCommand.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <iostream>
#include <ostream>
#include <unistd.h>

namespace velmora::cli {

namespace {

constexpr const char* description =
    "Velmora 2 – findet Speicherplatz, den du zurückgewinnen kannst (Entwickler-Caches, Xcode-Daten,\n"
    "Toolchains, App-Caches, KI-Modelle …), erklärt jeden Fund und entfernt nur, was du auswählst.";

constexpr const char* footer =
    "Beispiele:\n"
    "  velmora scan                      Speicherfresser im eigenen Benutzerordner finden\n"
    "  velmora scan --json               dasselbe als JSON für Skripte\n"
    "  velmora guard ~/Library/Caches/x  fragen, ob ein Pfad angefasst werden dürfte\n"
    "  velmora why ~/Library/Caches/pip  erklären, welcher Fund einen Pfad erfasst und warum\n"
    "  velmora keep xcode.archives       einen Fund dauerhaft behalten\n"
    "  velmora schedule weekly           jeden Sonntag um 10 Uhr automatisch prüfen\n"
    "  velmora services                  Hintergrunddienste und verwaiste Dienste zeigen\n"
    "  velmora trash --empty             den Papierkorb leeren (nach Rückfrage)\n"
    "  velmora restore                   zurücklegen, was der letzte Lauf in den Papierkorb gelegt hat\n"
    "  velmora removals                  zeigen, was bisher entfernt wurde und wo es liegt\n"
    "  velmora system                    erklären, woraus die „Systemdaten“ bestehen\n"
    "  velmora top                       zeigen, was den Rechner gerade ausbremst\n"
    "  velmora                           das Fenster öffnen (--tab services: auf diesem Reiter)\n"
    "\nHilfe zu einem Befehl: velmora BEFEHL --help";

void germanise(CLI::App& app) {
    auto formatter = app.get_formatter();
    formatter->label("Usage", "Aufruf");
    formatter->label("OPTIONS", "OPTIONEN");
    formatter->label("SUBCOMMAND", "BEFEHL");
    formatter->label("SUBCOMMANDS", "BEFEHLE");
    formatter->label("Options", "Optionen");
    formatter->label("Subcommands", "Befehle");
    formatter->label("Positionals", "Argumente");
    formatter->label("POSITIONALS", "ARGUMENTE");
    formatter->label("REQUIRED", "PFLICHT");
    formatter->label("TEXT", "TEXT");
    formatter->column_width(36);
}

// CLI11 speaks English; the common mistakes get a German sentence of their own.
std::string germanParseError(const CLI::ParseError& error) {
    const std::string what = error.what();
    if (dynamic_cast<const CLI::ExtrasError*>(&error))
        return "Unbekanntes Argument oder unbekannte Option (" + what + ")";
    if (dynamic_cast<const CLI::RequiredError*>(&error))
        return "Es fehlt eine Angabe (" + what + ")";
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error))
        return "Falsche Zahl von Werten (" + what + ")";
    return "Ungültiger Aufruf (" + what + ")";
}

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

} // namespace

int runCli(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
           const ServiceOverrides& overrides, const WindowOpener& openWindow) {
    CLI::App app(description, "velmora");
    germanise(app);
    app.option_defaults()->group("Optionen");
    app.set_help_flag("-h,--help", "Diese Hilfe anzeigen");
    app.set_version_flag("--version", std::string("Velmora 2 (") + VELMORA_VERSION + ")", "Version anzeigen");
    app.footer(footer);
    app.fallthrough();
    app.require_subcommand(0, 1);

    CommonOptions common;
    addCommonOptions(app, common);
    ScanOptions scanOptions;
    auto* scan = addScanCommand(app, scanOptions);
    CleanOptions cleanOptions;
    auto* clean = addCleanCommand(app, cleanOptions);
    GuardOptions guardOptions;
    auto* guard = addGuardCommand(app, guardOptions);
    KeepOptions keepOptions;
    const auto keep = addKeepCommands(app, keepOptions);
    bool headlessCheck = false;
    addHeadlessCheckFlag(app, headlessCheck);
    std::string tabRaw;
    app.add_option("--tab", tabRaw,
                   "Das Fenster mit diesem Reiter öffnen: storage, developer, systemData, services oder "
                   "performance")
        ->type_name("REITER");
    auto* check = addCheckCommand(app);
    HistoryOptions historyOptions;
    auto* history = addHistoryCommand(app, historyOptions);
    ScheduleOptions scheduleOptions;
    auto* schedule = addScheduleCommand(app, scheduleOptions);
    ServicesOptions servicesOptions;
    auto* services = addServicesCommand(app, servicesOptions);
    SystemOptions systemOptions;
    auto* systemData = addSystemCommand(app, systemOptions);
    TopOptions topOptions;
    auto* top = addTopCommand(app, topOptions);
    TrashOptions trashOptions;
    auto* trash = addTrashCommand(app, trashOptions);
    RestoreOptions restoreOptions;
    auto* restore = addRestoreCommand(app, restoreOptions);
    WhyOptions whyOptions;
    auto* why = addWhyCommand(app, whyOptions);
    RemovalsOptions removalsOptions;
    auto* removals = addRemovalsCommand(app, removalsOptions);
    for (auto* sub : app.get_subcommands({})) {
        sub->group("Befehle");
        germanise(*sub);
        sub->set_help_flag("-h,--help", "Diese Hilfe anzeigen");
        sub->footer(
            "Für jeden Befehl gelten auch --root ORDNER, --home PFAD, --platform macos|linux und --dry-run\n"
            "(siehe velmora --help).");
    }

    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::CallForHelp&) {
        const auto parsed = app.get_subcommands();
        out << (parsed.empty() ? app.help() : parsed.front()->help());
        return exitOK;
    } catch (const CLI::CallForVersion&) {
        out << app.version() << '\n';
        return exitOK;
    } catch (const CLI::ParseError& e) {
        err << "velmora: " << Text::printable(germanParseError(e)) << "\nMehr dazu: velmora --help\n";
        return exitUsage;
    }
    const auto parsed = app.get_subcommands();
    if (headlessCheck && !parsed.empty()) {
        err << "velmora: --check steht für sich allein, ohne Befehl.\nMehr dazu: velmora --help\n";
        return exitUsage;
    }
    std::optional<AppTab> tab;
    if (!tabRaw.empty()) {
        tab = appTabFromRawValue(tabRaw);
        if (!tab || !parsed.empty() || headlessCheck) {
            err << "velmora: "
                << (tab ? "--tab gilt nur für das Fenster, ohne Befehl."
                        : "Unbekannter Reiter „" + Text::printable(tabRaw) +
                              "“ – erlaubt sind storage, developer, systemData, services, performance.")
                << "\nMehr dazu: velmora --help\n";
            return exitUsage;
        }
    }
    if (parsed.empty() && !headlessCheck && !openWindow) {
        out << app.help();
        return exitOK;
    }
    auto setting = resolveSetting(common, environment("VELMORA_DRY_RUN"));
    if (!setting) {
        err << "velmora: " << Text::printable(setting.error()) << "\n";
        return exitUsage;
    }
    setting->overrides = overrides;
    if (headlessCheck)
        return runHeadlessCheck(*setting, err);
    if (parsed.empty())
        return openWindow(*setting, tab);
    auto* command = parsed.front();
    if (command == scan)
        return runScanCommand(scanOptions, *setting, out, err,
                              ::isatty(STDERR_FILENO) == 1 && &err == &std::cerr);
    if (command == systemData)
        return runSystemCommand(systemOptions, *setting, out, err,
                                ::isatty(STDERR_FILENO) == 1 && &err == &std::cerr);
    if (command == clean)
        return runCleanCommand(cleanOptions, *setting, std::cin, out, err,
                               ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1 &&
                                   &err == &std::cerr);
    if (command == services)
        return runServicesCommand(servicesOptions, *setting, std::cin, out, err,
                                  ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1 &&
                                      &err == &std::cerr);
    if (command == trash)
        return runTrashCommand(trashOptions, *setting, std::cin, out, err,
                               ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1 &&
                                   &err == &std::cerr);
    if (command == restore)
        return runRestoreCommand(restoreOptions, *setting, std::cin, out, err,
                                 ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1 &&
                                     &err == &std::cerr);
    if (command == top)
        return runTopCommand(topOptions, *setting, out, err,
                             ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1 &&
                                 &out == &std::cout);
    if (command == guard)
        return runGuardCommand(guardOptions, *setting, out);
    if (command == why)
        return runWhyCommand(whyOptions, *setting, out);
    if (command == keep.keep)
        return runKeepCommand(keepOptions, *setting, out, err);
    if (command == keep.unkeep)
        return runUnkeepCommand(keepOptions, *setting, out, err);
    if (command == keep.kept)
        return runKeptCommand(*setting, out);
    if (command == check)
        return runCheckCommand(*setting, out, err);
    if (command == history)
        return runHistoryCommand(historyOptions, *setting, out);
    if (command == removals)
        return runRemovalsCommand(removalsOptions, *setting, out, err);
    if (command == schedule)
        return runScheduleCommand(scheduleOptions, *setting, out, err);
    out << app.help();
    return exitOK;
}

} // namespace velmora::cli
