#include "Cli/TrashCommand.hpp"

#include "App/EmptyTrashText.hpp"
#include "Cli/CliApp.hpp"
#include "Cli/Consent.hpp"
#include "Findings/ByteFormat.hpp"
#include "LiveEnvironment.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>

#include <ostream>

namespace velmora::cli {

CLI::App* addTrashCommand(CLI::App& app, TrashOptions& options) {
    auto* command =
        app.add_subcommand("trash", "Zeigt, wie viel im Papierkorb liegt, und leert ihn auf Wunsch");
    command->add_flag("--empty", options.empty,
                      "Den Papierkorb endgültig leeren – erst nach deiner Bestätigung");
    command->add_flag("-y,--yes", options.yes, "Ohne Rückfrage leeren (nötig ohne Terminal)");
    return command;
}

int runTrashCommand(const TrashOptions& options, const RunSetting& setting, std::istream& in,
                    std::ostream& out, std::ostream& err, bool interactive) {
    const auto deps = LiveEnvironment(setting).appDependencies();
    const auto size = deps.trash();
    if (size)
        out << "Papierkorb: " << ByteFormat::fileSize(*size) << "\n";
    else
        out << "Papierkorb: Größe unbekannt – der Papierkorb lässt sich nicht lesen.\n";
    if (!options.empty)
        return size ? exitOK : exitFailure;
    if (size == 0) {
        out << "Der Papierkorb ist leer.\n";
        return exitOK;
    }
    out << "Alles im Papierkorb wird endgültig gelöscht – das lässt sich nicht rückgängig machen.\n";
    if (setting.dryRun)
        out << "Trockenlauf – es wird nichts gelöscht.\n";
    if (const auto stop =
            exitWithoutConsent(askConsent(options.yes, setting.dryRun, interactive, in, out, err)))
        return *stop;
    const auto freed = deps.emptyTrash(setting.dryRun, {});
    if (!freed) {
        err << "velmora: " << Text::printable(emptyTrashErrorText(freed.error())) << "\n";
        return exitFailure;
    }
    if (!setting.dryRun)
        out << "Papierkorb geleert. Freigegeben: " << ByteFormat::fileSize(*freed) << "\n";
    return exitOK;
}

} // namespace velmora::cli
