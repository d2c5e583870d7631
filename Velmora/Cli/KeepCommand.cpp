#include "Cli/KeepCommand.hpp"

#include "Cli/CliApp.hpp"
#include "LiveEnvironment.hpp"

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
        if (!id) {
            err << "velmora: Ungültige Kennung „" << text << "“.\n";
            return exitUsage;
        }
        ids.push_back(*id);
    }
    KeepList list(LiveEnvironment(setting).keepListFile());
    for (const auto& id : ids) {
        if (const auto saved = (list.*action)(id); !saved) {
            err << "velmora: " << saved.error().message() << " (" << list.fileURL().string() << ": "
                << saved.error().code.message() << ")\n";
            return exitFailure;
        }
        out << id.text() << ": " << doneText << "\n";
    }
    return exitOK;
}

} // namespace

int runKeepCommand(const KeepOptions& options, const RunSetting& setting, std::ostream& out,
                   std::ostream& err) {
    return change(options, setting, out, err, &KeepList::add, "behalten");
}

int runUnkeepCommand(const KeepOptions& options, const RunSetting& setting, std::ostream& out,
                     std::ostream& err) {
    return change(options, setting, out, err, &KeepList::remove, "nicht mehr behalten");
}

int runKeptCommand(const RunSetting& setting, std::ostream& out) {
    const KeepList list(LiveEnvironment(setting).keepListFile());
    std::vector<std::string> texts;
    for (const auto& id : list.ids())
        texts.push_back(id.text());
    std::ranges::sort(texts);
    if (texts.empty())
        out << "Du behältst keine Funde.\n";
    for (const auto& text : texts)
        out << text << "\n";
    return exitOK;
}

} // namespace velmora::cli
