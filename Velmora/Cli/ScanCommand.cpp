#include "Cli/ScanCommand.hpp"

#include "Cli/CliApp.hpp"
#include "Cli/ScanPresentation.hpp"
#include "LiveEnvironment.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <ostream>

namespace velmora::cli {

CLI::App* addScanCommand(CLI::App& app, ScanOptions& options) {
    auto* command =
        app.add_subcommand("scan", "Sucht Speicherplatz, den du zurückgewinnen kannst (nur lesend)");
    command->add_flag("--json", options.json, "Ergebnis als JSON für Skripte ausgeben");
    return command;
}

int runScanCommand(const ScanOptions& options, const RunSetting& setting, std::ostream& out,
                   std::ostream& err, bool showProgress) {
    const auto deps = LiveEnvironment(setting).appDependencies();
    const auto progress = [&](double share) {
        if (showProgress)
            err << fmt::format("\rScanne … {:3.0f} %", share * 100.0) << std::flush;
    };
    const auto report = deps.engine->run(deps.makeContext(), {}, progress);
    if (showProgress)
        err << "\r" << std::string(20, ' ') << "\r" << std::flush;

    const auto kept = deps.keepList->ids();
    if (options.json) {
        // Names that are not UTF-8 are shown with replacement characters rather than failing the output.
        out << scanReportJSON(report, kept).dump(2, ' ', false, nlohmann::json::error_handler_t::replace)
            << "\n";
    } else {
        out << "Velmora 2 – Scan von " << Text::printable(setting.home.string()) << "\n";
        printScanReport(out, report, kept);
    }
    return exitOK;
}

} // namespace velmora::cli
