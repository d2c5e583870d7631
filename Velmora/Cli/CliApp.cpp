#include "Cli/CliApp.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <ostream>

namespace velmora::cli {

namespace {

constexpr const char* description =
    "Velmora 2 – findet Speicherplatz, den du zurückgewinnen kannst (Entwickler-Caches, Xcode-Daten,\n"
    "Toolchains, App-Caches, KI-Modelle …), erklärt jeden Fund und entfernt nur, was du auswählst.";

} // namespace

int runCli(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    CLI::App app(description, "velmora");
    app.set_help_flag("-h,--help", "Diese Hilfe anzeigen");
    app.set_version_flag("--version", std::string("Velmora 2 (") + VELMORA_VERSION + ")", "Version anzeigen");
    app.footer("Ohne Befehl zeigt velmora diese Hilfe an.");

    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return exitOK;
    } catch (const CLI::CallForVersion&) {
        out << app.version() << '\n';
        return exitOK;
    } catch (const CLI::ParseError& e) {
        err << "velmora: " << e.what() << "\nMehr dazu: velmora --help\n";
        return exitUsage;
    }
    if (app.get_subcommands().empty()) {
        out << app.help();
        return exitOK;
    }
    return exitOK;
}

} // namespace velmora::cli
