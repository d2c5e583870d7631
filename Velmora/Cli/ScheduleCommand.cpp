#include "Cli/ScheduleCommand.hpp"

#include "Check/CheckSchedule.hpp"
#include "Check/CheckScheduler.hpp"
#include "Cli/CliApp.hpp"
#include "LiveEnvironment.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>

#include <ostream>

namespace velmora::cli {

CLI::App* addScheduleCommand(CLI::App& app, ScheduleOptions& options) {
    auto* command = app.add_subcommand("schedule", "Zeigt oder ändert, wann der automatische Check läuft");
    command
        ->add_option("schedule", options.schedule,
                     "off, weekly (sonntags 10 Uhr) oder monthly (Monatserster 10 Uhr)")
        ->option_text("off|weekly|monthly");
    return command;
}

int runScheduleCommand(const ScheduleOptions& options, const RunSetting& setting, std::ostream& out,
                       std::ostream& err) {
    std::optional<CheckSchedule> requested;
    if (!options.schedule.empty()) {
        requested = checkScheduleFromRawValue(options.schedule);
        if (!requested) {
            err << "velmora: Unbekannter Zeitplan „" << Text::printable(options.schedule)
                << "“ – erlaubt sind off, weekly und monthly.\n";
            return exitUsage;
        }
    }
    const LiveEnvironment environment(setting);
    const auto deps = environment.appDependencies();
    // The settings store is no service of the bundle: the window keeps its defaults beside it.
    const auto settings = environment.settingsStore();
    CheckScheduler scheduler(deps.agentService);
    const auto notifier = deps.notifier;
    int status = exitOK;
    if (requested) {
        if (auto stored = settings->setString(checkScheduleKey, rawValue(*requested)); !stored) {
            err << "velmora: " << stored.error().message() << " (" << Text::printable(stored.error().detail)
                << ")\n";
            return exitFailure;
        }
        // Re-applying an unchanged schedule renews the agent, e.g. after the program moved.
        if (auto applied = scheduler.apply(*requested); !applied) {
            err << "velmora: " << scheduleFailureText << " (" << Text::printable(applied.error().detail)
                << ")\n";
            status = exitFailure;
        }
        if (*requested != CheckSchedule::off)
            notifier->requestAuthorization();
    }
    const auto schedule =
        requested.value_or(checkScheduleFromSetting(settings->stringValue(checkScheduleKey)));
    out << automaticCheckTitle << ": " << title(schedule) << "\n";
    out << statusText(scheduler.status(schedule)) << "\n";
    if (const auto text = statusText(notifier->authorization()))
        out << *text << "\n";
    out << automaticCheckNote << "\n";
    return status;
}

} // namespace velmora::cli
