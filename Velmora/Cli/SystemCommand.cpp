#include "Cli/SystemCommand.hpp"

#include "Cli/CliApp.hpp"
#include "Cli/SystemPresentation.hpp"
#include "LiveEnvironment.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <ostream>

namespace velmora::cli {

CLI::App* addSystemCommand(CLI::App& app, SystemOptions& options) {
    auto* command = app.add_subcommand(
        "system",
        "Erklärt die „Systemdaten“: Volumes, Systembereiche nach Größe, was davon weg kann (nur lesend)");
    command->add_flag("--json", options.json, "Ergebnis als JSON für Skripte ausgeben");
    return command;
}

int runSystemCommand(const SystemOptions& options, const RunSetting& setting, std::ostream& out,
                     std::ostream& err, bool showProgress) {
    const auto deps = LiveEnvironment(setting).appDependencies();
    const auto progress = [&](double share) {
        if (showProgress)
            err << fmt::format("\rMesse Systemdaten … {:3.0f} %", share * 100.0) << std::flush;
    };
    const auto report = deps.measureSystemData(deps.makeContext(), {}, progress);
    if (showProgress)
        err << "\r" << std::string(32, ' ') << "\r" << std::flush;

    const auto kept = deps.keepList->ids();
    if (options.json) {
        out << systemDataReportJSON(report, kept)
                   .dump(2, ' ', false, nlohmann::json::error_handler_t::replace)
            << "\n";
    } else {
        out << "Velmora 2 – Systemdaten\n";
        printSystemDataReport(out, report, kept);
    }
    return exitOK;
}

} // namespace velmora::cli
