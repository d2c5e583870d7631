#include "Cli/ServicesCommand.hpp"

#include "Cli/CliApp.hpp"
#include "Cli/Consent.hpp"
#include "Cli/KeepCommand.hpp"
#include "LiveEnvironment.hpp"
#include "Services/LaunchItemScanner.hpp"
#include "Services/OrphanedServices.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <ostream>
#include <set>
#include <unistd.h>

namespace velmora::cli {

CLI::App* addServicesCommand(CLI::App& app, ServicesOptions& options) {
    auto* command = app.add_subcommand("services", "Zeigt die Hintergrunddienste und entfernt verwaiste");
    command->add_flag("--json", options.json, "Als JSON ausgeben (ein Objekt pro Dienst)");
    auto* remove =
        command->add_subcommand("remove", "Entfernt verwaiste Dienste – erst nach deiner Bestätigung");
    remove->add_option("labels", options.labels, "Labels der Dienste, wie „services“ sie zeigt")
        ->option_text("LABEL…");
    remove->add_flag("--legacy", options.legacy,
                     "Die alte Automatik einer früheren Version entfernen (Agent, Skript, Protokolle)");
    remove->add_flag("-y,--yes", options.yes, "Ohne Rückfrage entfernen (nötig ohne Terminal)");
    remove->callback([&options] { options.remove = true; });
    return command;
}

namespace {

constexpr std::string_view legacyScope = "legacy";

void printList(std::ostream& out, const LaunchItemScanner& scanner, const ServicesLoad& load,
               bool loginItemsRead) {
    std::size_t orphans = 0;
    for (const LaunchScope scope : allLaunchScopes) {
        out << title(scope) << "\n";
        const auto inScope = std::ranges::count(load.items, scope, &LaunchItem::scope);
        if (scope == LaunchScope::loginItem && !loginItemsRead)
            out << "  Anmeldeobjekte werden auf dieser Plattform nicht gelesen.\n";
        else if (scope == LaunchScope::loginItem && load.loginItemsFailed)
            out << "  " << loginItemsFailedText << "\n";
        else if (inScope == 0)
            out << "  Keine Hintergrunddienste dieser Art.\n";
        for (const auto& item : load.items) {
            if (item.scope != scope)
                continue;
            out << "  " << Text::printable(item.displayName) << "  [" << Text::printable(item.label) << "]\n";
            out << "    " << title(item.startKind) << ", " << (item.isRunning ? "läuft" : "läuft nicht")
                << "\n";
            out << "    " << Text::printable(item.explanation) << "\n";
            if (!item.isOrphaned)
                continue;
            ++orphans;
            if (const auto reason = scanner.removalBlockReason(item))
                out << "    Verwaist, nicht entfernbar: " << Text::printable(*reason) << "\n";
            else
                out << "    Verwaist, entfernbar: velmora services remove " << Text::printable(item.label)
                    << "\n";
        }
        out << "\n";
    }
    out << OrphanedServices::countText(orphans) << "\n";
}

void printJson(std::ostream& out, const LaunchItemScanner& scanner, const ServicesLoad& load,
               const std::vector<LegacyItem>& legacy) {
    auto array = nlohmann::json::array();
    for (const auto& item : load.items) {
        nlohmann::json object = item;
        const auto reason = scanner.removalBlockReason(item);
        object["removable"] = scanner.isRemovable(item);
        object["blockReason"] = reason ? nlohmann::json(*reason) : nlohmann::json(nullptr);
        array.push_back(std::move(object));
    }
    // The old automation joins the list as a scope of its own, so that scripts reading "scope" see it.
    for (const auto& item : legacy) {
        auto logs = nlohmann::json::array();
        for (const auto& log : item.logs)
            logs.push_back(log.string());
        array.push_back(
            {{"id", std::string(legacyScope) + "/" + item.label},
             {"scope", legacyScope},
             {"label", item.label},
             {"plistURL", item.plist.string()},
             {"script", item.script.empty() ? nlohmann::json(nullptr) : nlohmann::json(item.script.string())},
             {"logs", std::move(logs)},
             {"removable", true},
             {"blockReason", nullptr}});
    }
    // Program paths keep the bytes their plist holds, which need not be UTF-8; JSON cannot carry those.
    out << array.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void printLegacyFiles(std::ostream& out, const LegacyItem& item) {
    out << "  " << Text::printable(item.label) << "\n";
    out << "    Startdatei: " << Text::printable(item.plist.string()) << "\n";
    if (!item.script.empty())
        out << "    Skript: " << Text::printable(item.script.string()) << "\n";
    for (const auto& log : item.logs)
        out << "    Protokoll: " << Text::printable(log.string()) << "\n";
}

void printLegacy(std::ostream& out, const std::vector<LegacyItem>& legacy) {
    out << "\n" << LegacyText::heading << "\n";
    if (legacy.empty()) {
        out << "  " << LegacyText::none << "\n";
        return;
    }
    out << "  " << LegacyText::explanation << "\n";
    for (const auto& item : legacy)
        printLegacyFiles(out, item);
    out << "  Entfernen: velmora services remove --legacy\n";
}

int removeLegacy(const ServicesOptions& options, const RunSetting& setting, const AppDependencies& deps,
                 std::istream& in, std::ostream& out, std::ostream& err, bool interactive) {
    const auto items = deps.legacyItems();
    if (items.empty()) {
        out << LegacyText::none << " Nichts zu entfernen.\n";
        return exitOK;
    }
    out << LegacyText::heading << " – wird gestoppt, die Dateien kommen in den Papierkorb:\n";
    for (const auto& item : items)
        printLegacyFiles(out, item);
    if (setting.dryRun)
        out << "\nTrockenlauf – es wird nichts entfernt.\n";
    if (const auto stop =
            exitWithoutConsent(askConsent(options.yes, setting.dryRun, interactive, in, out, err)))
        return *stop;
    if (damagedKeepListStops(*deps.keepList, err))
        return exitFailure;
    const auto report = deps.removeLegacy(items, setting.dryRun, {}, {});
    out << "\n";
    bool anyFailed = false;
    for (const auto& result : report.results) {
        anyFailed = anyFailed || result.outcome.isFailed();
        out << Text::printable(result.itemID + ": " + result.outcome.text()) << "\n";
    }
    if (const auto summary = report.summary())
        out << *summary << "\n";
    return anyFailed ? exitFailure : exitOK;
}

void printGroup(std::ostream& out, const std::vector<const LaunchItem*>& items, std::string_view heading,
                std::string_view summary) {
    if (items.empty())
        return;
    out << "\n" << heading << "\n  " << summary << "\n";
    for (const auto* item : items)
        out << "    " << Text::printable(item->displayName) << "  [" << Text::printable(item->label) << "]\n";
}

int removeServices(const ServicesOptions& options, const RunSetting& setting, const AppDependencies& deps,
                   const LaunchItemScanner& scanner, const ServicesLoad& load, std::istream& in,
                   std::ostream& out, std::ostream& err, bool interactive) {
    std::vector<LaunchItem> chosen;
    std::set<std::string> chosenIDs;
    bool unknown = false;
    for (const auto& name : options.labels) {
        bool found = false;
        for (const auto& item : load.items) {
            if (item.label != name && item.id != name)
                continue;
            found = true;
            if (chosenIDs.insert(item.id).second)
                chosen.push_back(item);
        }
        if (!found) {
            err << "velmora: Kein solcher Hintergrunddienst: " << Text::printable(name) << "\n";
            unknown = true;
        }
    }
    if (unknown)
        return exitUsage;

    std::vector<LaunchItem> removable;
    std::vector<const LaunchItem*> userGroup, adminGroup;
    for (const auto& item : chosen) {
        if (const auto reason = scanner.removalBlockReason(item)) {
            out << Text::printable(item.label + ": nicht entfernt – " + *reason) << "\n";
            continue;
        }
        removable.push_back(item);
    }
    if (removable.empty()) {
        out << "Nichts zu entfernen.\n";
        return exitOK;
    }
    for (const auto& item : removable)
        (item.scope == LaunchScope::user ? userGroup : adminGroup).push_back(&item);
    printGroup(out, userGroup, OrphanedServices::title, OrphanedServices::summary);
    printGroup(out, adminGroup, OrphanedServices::adminTitle, OrphanedServices::adminSummary);
    if (setting.dryRun)
        out << "\nTrockenlauf – es wird nichts entfernt.\n";

    if (const auto stop =
            exitWithoutConsent(askConsent(options.yes, setting.dryRun, interactive, in, out, err)))
        return *stop;
    // Asked only now, at the moment of removal: services are stopped before their files go.
    if (damagedKeepListStops(*deps.keepList, err))
        return exitFailure;

    const auto outcomes = deps.removeServices(removable, setting.dryRun, {}, {});
    out << "\n";
    bool anyFailed = false;
    for (const auto& outcome : outcomes) {
        anyFailed = anyFailed || outcome.outcome.isFailed();
        out << Text::printable(
                   outcome.label + ": " +
                   (outcome.outcome.isRemoved() ? "entfernt – " + outcome.message : outcome.outcome.text()))
            << "\n";
    }
    return anyFailed ? exitFailure : exitOK;
}

} // namespace

int runServicesCommand(const ServicesOptions& options, const RunSetting& setting, std::istream& in,
                       std::ostream& out, std::ostream& err, bool interactive) {
    if (options.remove && options.labels.empty() == !options.legacy) {
        err << "velmora: Nenne entweder Labels von Diensten oder --legacy.\nMehr dazu: velmora services "
               "remove --help\n";
        return exitUsage;
    }
    const LiveEnvironment environment(setting);
    const auto deps = environment.appDependencies();
    if (options.remove && options.legacy)
        return removeLegacy(options, setting, deps, in, out, err, interactive);
    // The block reasons depend on where the start files lie, which only the scanner of this home knows.
    const auto scanner = environment.launchItemScanner(setting.home);
    const auto load = deps.loadServices(setting.home, {});
    const auto legacy = deps.legacyItems();
    if (options.remove)
        return removeServices(options, setting, deps, *scanner, load, in, out, err, interactive);
    if (options.json) {
        printJson(out, *scanner, load, legacy);
    } else {
        printList(out, *scanner, load, setting.layout == PlatformLayout::macOS);
        printLegacy(out, legacy);
    }
    return exitOK;
}

} // namespace velmora::cli
