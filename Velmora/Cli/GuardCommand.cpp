#include "Cli/GuardCommand.hpp"

#include "Cli/CliApp.hpp"
#include "LiveEnvironment.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>

#include <ostream>

namespace velmora::cli {

CLI::App* addGuardCommand(CLI::App& app, GuardOptions& options) {
    auto* command =
        app.add_subcommand("guard", "Prüft, ob Velmora diese Pfade anfassen dürfte (ändert nichts)");
    command->add_option("paths", options.paths, "Pfade, gelesen innerhalb der Wurzel")
        ->required()
        ->option_text("PFAD…");
    return command;
}

int runGuardCommand(const GuardOptions& options, const RunSetting& setting, std::ostream& out) {
    const auto guard = LiveEnvironment(setting).safetyGuard();
    bool allAllowed = true;
    for (const auto& path : options.paths) {
        // A relative path stays relative, so the guard answers it as such instead of guessing a base.
        const auto reason = path.starts_with('/') ? guard.checkLogical(path) : guard.check(path);
        out << Text::printable(path) << ": ";
        if (reason) {
            out << "gesperrt: " << Text::printable(*reason) << "\n";
            allAllowed = false;
        } else {
            out << "erlaubt\n";
        }
    }
    return allAllowed ? exitOK : exitFailure;
}

} // namespace velmora::cli
