#include "Cli/ServicesCommand.hpp"

#include "Cli/CliApp.hpp"
#include "Cli/Consent.hpp"
#include "Cli/KeepCommand.hpp"
#include "LiveEnvironment.hpp"
#include "Services/LaunchItemScanner.hpp"
#include "Services/OrphanedServices.hpp"
#include "Services/ServiceRemoval.hpp"
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
        ->option_text("LABEL…")
        ->required();
    remove->add_flag("-y,--yes", options.yes, "Ohne Rückfrage entfernen (nötig ohne Terminal)");
    remove->callback([&options] { options.remove = true; });
    return command;
}

namespace {

constexpr std::string_view scopeHeading(LaunchScope scope) {
    switch (scope) {
    case LaunchScope::user:
        return "Eigene Agenten";
    case LaunchScope::allUsers:
        return "Agenten für alle Benutzer";
    case LaunchScope::system:
        return "System-Dienste";
    case LaunchScope::loginItem:
        return "Anmeldeobjekte";
    }
    return {};
}

std::shared_ptr<const LaunchItemScanner> makeScanner(const LiveEnvironment& environment) {
    const auto& setting = environment.setting();
    auto sources = LaunchItemScanner::Sources::live(setting.rootPrefix, setting.home,
                                                    setting.overrides.uid.value_or(::getuid()),
                                                    environment.commandRunner(), setting.layout);
    // Login items come from a macOS tool; Linux has none to read.
    sources.includeLoginItems = setting.layout == PlatformLayout::macOS;
    return std::make_shared<const LaunchItemScanner>(std::move(sources));
}

void printList(std::ostream& out, const LaunchItemScanner& scanner, const ServicesLoad& load,
               bool loginItemsRead) {
    std::size_t orphans = 0;
    for (const LaunchScope scope : allLaunchScopes) {
        out << scopeHeading(scope) << "\n";
        const auto inScope = std::ranges::count(load.items, scope, &LaunchItem::scope);
        if (scope == LaunchScope::loginItem && !loginItemsRead)
            out << "  Anmeldeobjekte werden auf dieser Plattform nicht gelesen.\n";
        else if (scope == LaunchScope::loginItem && load.loginItemsFailed)
            out << "  Die Anmeldeobjekte konnten nicht gelesen werden.\n";
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

void printJson(std::ostream& out, const LaunchItemScanner& scanner, const ServicesLoad& load) {
    auto array = nlohmann::json::array();
    for (const auto& item : load.items) {
        nlohmann::json object = item;
        const auto reason = scanner.removalBlockReason(item);
        object["removable"] = scanner.isRemovable(item);
        object["blockReason"] = reason ? nlohmann::json(*reason) : nlohmann::json(nullptr);
        array.push_back(std::move(object));
    }
    // Program paths keep the bytes their plist holds, which need not be UTF-8; JSON cannot carry those.
    out << array.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void printGroup(std::ostream& out, const std::vector<const LaunchItem*>& items, std::string_view heading,
                std::string_view summary) {
    if (items.empty())
        return;
    out << "\n" << heading << "\n  " << summary << "\n";
    for (const auto* item : items)
        out << "    " << Text::printable(item->displayName) << "  [" << Text::printable(item->label) << "]\n";
}

int removeServices(const ServicesOptions& options, const LiveEnvironment& environment,
                   std::shared_ptr<const LaunchItemScanner> scanner, const ServicesLoad& load,
                   std::istream& in, std::ostream& out, std::ostream& err, bool interactive) {
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
        if (const auto reason = scanner->removalBlockReason(item)) {
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
    if (environment.setting().dryRun)
        out << "\nTrockenlauf – es wird nichts entfernt.\n";

    switch (askConsent(options.yes, environment.setting().dryRun, interactive, in, out, err)) {
    case Consent::given:
        break;
    case Consent::declined:
        return exitOK;
    case Consent::refused:
        return exitUsage;
    }
    // Asked only now, at the moment of removal: services are stopped before their files go.
    if (damagedKeepListStops(environment.keepListFile(), err))
        return exitFailure;

    auto keep = std::make_shared<KeepList>(environment.keepListFile());
    const ServiceRemoval removal(std::move(scanner), environment.commandRunner(),
                                 environment.removalRunner(keep));
    const auto outcomes = removal.remove(removable, environment.setting().dryRun);
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
    const LiveEnvironment environment(setting);
    auto scanner = makeScanner(environment);
    const auto load = scanner->load();
    if (options.remove)
        return removeServices(options, environment, std::move(scanner), load, in, out, err, interactive);
    if (options.json)
        printJson(out, *scanner, load);
    else
        printList(out, *scanner, load, setting.layout == PlatformLayout::macOS);
    return exitOK;
}

} // namespace velmora::cli
