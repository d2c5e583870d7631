#include "Cli/KeepCommand.hpp"

#include "Cli/CliApp.hpp"
#include "LiveEnvironment.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <ostream>

namespace velmora::cli {

KeepCommands addKeepCommands(CLI::App& app, KeepOptions& options) {
    KeepCommands commands;
    commands.keep = app.add_subcommand("keep", "Funde dauerhaft behalten (werden nie mehr vorgeschlagen)");
    commands.keep->add_option("ids", options.ids, "Kennungen der Funde, z. B. xcode.derivedData")
        ->required()
        ->option_text("KENNUNG…");
    commands.unkeep = app.add_subcommand("unkeep", "Funde nicht mehr behalten");
    commands.unkeep->add_option("ids", options.ids, "Kennungen der Funde")
        ->required()
        ->option_text("KENNUNG…");
    commands.kept = app.add_subcommand("kept", "Zeigt die Funde, die du behältst");
    return commands;
}

namespace {

using Change = std::expected<void, KeepListError> (KeepList::*)(const FindingID&);

int change(const KeepOptions& options, const RunSetting& setting, std::ostream& out, std::ostream& err,
           Change action, const char* doneText) {
    std::vector<FindingID> ids;
    for (const auto& text : options.ids) {
        const auto id = FindingID::fromText(text);
        if (!id || !Text::isValidUTF8(text)) {
            err << "velmora: Ungültige Kennung „" << Text::printable(text) << "“"
                << (id ? ": kein gültiger UTF-8-Text, so kann sie nicht behalten werden.\n" : ".\n");
            return exitUsage;
        }
        ids.push_back(*id);
    }
    const auto deps = LiveEnvironment(setting).appDependencies();
    auto& list = *deps.keepList;
    for (const auto& id : ids) {
        if (const auto saved = (list.*action)(id); !saved) {
            err << "velmora: " << saved.error().message() << " (" << Text::printable(list.fileURL().string())
                << ": " << saved.error().code.message() << ")\n";
            return exitFailure;
        }
        out << Text::printable(id.text()) << ": " << doneText << "\n";
    }
    return exitOK;
}

} // namespace

bool damagedKeepListStops(const KeepList& list, std::ostream& err) {
    if (!KeepList::read(list.fileURL()).damaged)
        return false;
    const auto file = Text::printable(list.fileURL().string());
    const auto bad = Text::printable(list.badCopyURL().string());
    err << "velmora: Die Behalten-Liste ist beschädigt und wird als leer gelesen: " << file << "\n";
    if (const auto copied = list.copyToBad(); copied)
        err << "Eine Kopie liegt in " << bad << ".";
    else
        err << "Eine Kopie nach " << bad << " ließ sich nicht anlegen (" << copied.error().code.message()
            << ").";
    err << " Velmora 2 entfernt nichts, bis du die Datei reparierst oder löschst.\n";
    return true;
}

int runKeepCommand(const KeepOptions& options, const RunSetting& setting, std::ostream& out,
                   std::ostream& err) {
    return change(options, setting, out, err, &KeepList::add, "behalten");
}

int runUnkeepCommand(const KeepOptions& options, const RunSetting& setting, std::ostream& out,
                     std::ostream& err) {
    return change(options, setting, out, err, &KeepList::remove, "nicht mehr behalten");
}

int runKeptCommand(const RunSetting& setting, std::ostream& out) {
    const auto deps = LiveEnvironment(setting).appDependencies();
    const auto& list = *deps.keepList;
    std::vector<std::string> texts;
    for (const auto& id : list.ids())
        texts.push_back(id.text());
    std::ranges::sort(texts);
    if (texts.empty())
        out << "Du behältst keine Funde.\n";
    for (const auto& text : texts)
        out << Text::printable(text) << "\n";
    return exitOK;
}

} // namespace velmora::cli
