#include "Cli/CleanCommand.hpp"

#include "Cli/CliApp.hpp"
#include "Cli/Consent.hpp"
#include "Cli/KeepCommand.hpp"
#include "Cli/RemovalsCommand.hpp"
#include "Cli/ScanPresentation.hpp"
#include "LiveEnvironment.hpp"
#include "Removal/RemovalPlan.hpp"
#include "Removal/RemovalPlanText.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <istream>
#include <iterator>
#include <ostream>
#include <set>

namespace velmora::cli {

CLI::App* addCleanCommand(CLI::App& app, CleanOptions& options) {
    auto* command = app.add_subcommand("clean", "Entfernt ausgewählte Funde – erst nach deiner Bestätigung");
    command->add_option("ids", options.ids, "Kennungen ganzer Funde, wie „scan“ sie zeigt")
        ->option_text("KENNUNG…");
    command->add_option("--item", options.items, "Nur dieses einzelne Item (mehrfach möglich)")
        ->option_text("ITEM-ID")
        ->allow_extra_args(false);
    command->add_flag("--safe", options.safe, "Alle als „Sicher“ eingestuften Funde auswählen");
    command->add_flag("-y,--yes", options.yes, "Ohne Rückfrage entfernen (nötig ohne Terminal)");
    command->add_flag("--show-commands", options.showCommands, "Befehle anzeigen, die ausgeführt werden");
    command->add_flag("--delete-directly", options.deleteDirectly,
                      "Direkt löschen statt Papierkorb (schafft sofort Platz) – nur für Einträge über 10 GB");
    command->add_flag("--zap", options.zap, "Auch Einstellungen entfernen (zap) bei Homebrew-Casks");
    command->add_flag("--json", options.json,
                      "Den Lauf als JSON für Skripte ausgeben (nur mit --yes oder --dry-run)");
    return command;
}

namespace {

struct Selection {
    std::vector<FindingSelection> chosen;
    std::vector<std::string> notes; // German lines about what was left out and why
    std::vector<std::string> unknown;
};

Selection select(const ScanReport& report, const KeepList& keep, const CleanOptions& options) {
    Selection selection;
    std::set<std::string> wantedIDs(options.ids.begin(), options.ids.end());
    std::set<std::string> wantedItems(options.items.begin(), options.items.end());
    std::set<std::string> foundIDs, foundItems;
    for (const auto& finding : report.findings) {
        const auto text = finding.id.text();
        const bool named = wantedIDs.contains(text);
        std::vector<FindingItem> items;
        if (named || (options.safe && finding.risk == Risk::safe)) {
            items = finding.items;
        } else {
            for (const auto& item : finding.items)
                if (wantedItems.contains(item.id))
                    items.push_back(item);
            // Its items only make sense together: taking some of them would leave a broken rest. A
            // tool's own clean-up command removes everything it lists, whatever was chosen.
            const bool whole = !finding.itemsSelectable || finding.method.kind() == RemovalKind::tool;
            if (!items.empty() && whole) {
                for (const auto& item : items) {
                    foundItems.insert(item.id);
                    selection.notes.push_back(item.id + ": gehört zu „" + finding.title +
                                              "“ und wird nur als Ganzes entfernt – wähle dafür den Fund " +
                                              text);
                }
                continue;
            }
        }
        if (named)
            foundIDs.insert(text);
        for (const auto& item : items)
            foundItems.insert(item.id);
        if (items.empty())
            continue;
        if (keep.contains(finding.id)) {
            if (named || !options.items.empty())
                selection.notes.push_back(text + ": wird behalten – nicht ausgewählt");
            continue;
        }
        if (finding.method.kind() == RemovalKind::hint) {
            if (named || !options.items.empty())
                selection.notes.push_back(text + ": nur ein Hinweis – Velmora 2 entfernt das nicht selbst");
            continue;
        }
        selection.chosen.push_back(FindingSelection{finding, std::move(items)});
    }
    for (const auto& id : options.ids)
        if (!foundIDs.contains(id))
            selection.unknown.push_back(id);
    for (const auto& item : options.items)
        if (!foundItems.contains(item))
            selection.unknown.push_back(item);
    return selection;
}

void printGroup(std::ostream& out, const RemovalPlanText::Group& group) {
    out << "\n" << Text::printable(group.heading) << "\n";
    for (const auto* step : group.steps) {
        out << "  " << Text::printable(step->finding->title) << " ["
            << Text::printable(step->finding->id.text()) << "]\n";
        for (const auto& planned : step->items)
            out << "    " << Text::printable(planned.item.name) << "  "
                << RemovalPlanText::sizeText(planned.item.size) << "\n";
    }
}

void printPlan(std::ostream& out, const RemovalPlan& plan, bool showCommands) {
    for (const auto& group : RemovalPlanText::groups(plan))
        printGroup(out, group);
    out << "\n" << RemovalPlanText::total(plan) << "\n";
    if (!plan.directDeleteCandidates.empty()) {
        out << RemovalPlanText::directDeleteHeading << "\n";
        for (const auto& item : plan.directDeleteCandidates)
            out << "  " << Text::printable(item.name) << "  " << RemovalPlanText::sizeText(item.size) << "\n";
    }
    if (showCommands) {
        out << "\n" << RemovalPlanText::showCommands << ":\n";
        for (const auto& line : plan.commandPreview())
            out << "  " << Text::printable(line) << "\n";
    }
    if (plan.options.dryRun)
        out << "\n" << RemovalPlanText::dryRunNotice << "\n";
}

// Every item with its outcome, then the reconciliation of the selection and the accounting of space.
void printResult(std::ostream& out, const RemovalReport& result) {
    out << "\n";
    for (std::size_t i = 0; i < result.results.size(); ++i) {
        const auto& item = result.results[i];
        const auto& name = i < result.details.size() ? result.details[i].name : item.itemID;
        out << Text::printable(name + ": " + item.outcome.text()) << "\n";
    }
    out << "\n";
    for (const auto& line : RemovalPlanText::reportLines(result))
        out << Text::printable(line) << "\n";
}

} // namespace

int runCleanCommand(const CleanOptions& options, const RunSetting& setting, std::istream& in,
                    std::ostream& out, std::ostream& err, bool interactive) {
    if (options.ids.empty() && options.items.empty() && !options.safe) {
        err << "velmora: Nichts ausgewählt – nenne Funde, --item ITEM-ID oder --safe.\nMehr dazu: velmora "
               "clean --help\n";
        return exitUsage;
    }
    // A script cannot answer the question, and the question would spoil the JSON.
    if (options.json && !options.yes && !setting.dryRun) {
        err << "velmora: --json geht nur zusammen mit --yes oder --dry-run. Es wurde nichts entfernt.\nMehr "
               "dazu: velmora clean --help\n";
        return exitUsage;
    }
    // With --json only the run goes to standard output; what the user should still read goes to err.
    std::ostream& text = options.json ? err : out;
    const auto deps = LiveEnvironment(setting).appDependencies();
    if (damagedKeepListStops(*deps.keepList, err))
        return exitFailure;
    auto report = deps.engine->run(deps.makeContext());
    // The system clean-up findings come from measuring the system data, which a plain scan leaves out.
    if (std::ranges::any_of(options.ids,
                            [](const std::string& id) { return id.starts_with("systemdata."); })) {
        auto system = deps.measureSystemData(deps.makeContext(), {}, {});
        std::ranges::move(system.findings, std::back_inserter(report.findings));
    }
    const auto selection = select(report, *deps.keepList, options);
    if (!selection.unknown.empty()) {
        for (const auto& id : selection.unknown)
            err << "velmora: Kein solcher Fund oder Eintrag: " << Text::printable(id) << "\n";
        return exitUsage;
    }
    for (const auto& note : selection.notes)
        text << Text::printable(note) << "\n";
    const auto plan = RemovalPlan::build(selection.chosen,
                                         RemovalOptions{options.deleteDirectly, options.zap, setting.dryRun});
    if (plan.isEmpty()) {
        text << "Nichts zu entfernen.\n";
        if (options.json) {
            RemovalReport nothing;
            nothing.dryRun = setting.dryRun;
            out << cleanRunJSON(nothing) << "\n";
        }
        return exitOK;
    }
    if (!options.json)
        printPlan(out, plan, options.showCommands);

    if (const auto stop =
            exitWithoutConsent(askConsent(options.yes, setting.dryRun, interactive, in, out, err)))
        return *stop;

    const auto result = deps.runner->run(plan, [&](const std::string& progress) {
        if (interactive)
            err << "\r\033[K" << Text::printable(progress) << std::flush;
    });
    if (interactive)
        err << "\r\033[K" << std::flush;

    bool anyFailed = false;
    bool keepListDamaged = false;
    for (const auto& item : result.results) {
        anyFailed = anyFailed || item.outcome.isFailed();
        keepListDamaged = keepListDamaged || item.outcome.reason() == RemovalText::keepListDamaged;
    }
    if (result.journalWarning)
        err << "Warnung: " << *result.journalWarning << "\n";
    if (options.json) {
        out << cleanRunJSON(result) << "\n";
    } else {
        printResult(out, result);
    }
    // Damaged while the question was open: the runner removed nothing; say where the file is.
    if (keepListDamaged)
        damagedKeepListStops(*deps.keepList, err);
    return anyFailed ? exitFailure : exitOK;
}

} // namespace velmora::cli
