#include "Cli/WhyCommand.hpp"

#include "Cli/CliApp.hpp"
#include "LiveEnvironment.hpp"
#include "Scanning/PathExplainer.hpp"
#include "Scanning/PathExplanationText.hpp"
#include "Support/Text.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <ostream>

namespace velmora::cli {

namespace {

namespace fs = std::filesystem;

// The real path for an argument: absolute ones are read inside the root (tidied first, so that ".."
// cannot climb out of it); a relative one is taken from the working folder only on the live root,
// since below a test root it would name something outside the tree.
fs::path realPath(const std::string& argument, const RunSetting& setting) {
    const fs::path given(argument);
    if (given.is_absolute())
        return setting.real(given.lexically_normal());
    std::error_code ec;
    if (setting.isLiveRoot() && !argument.empty())
        if (const auto cwd = fs::current_path(ec); !ec)
            return cwd / given;
    return given;
}

// A real path as the user sees it inside the root.
fs::path logical(const fs::path& real, const RunSetting& setting) {
    if (setting.isLiveRoot() || !real.is_absolute())
        return real;
    const auto inside = real.lexically_relative(setting.rootPrefix);
    if (inside.empty() || *inside.begin() == "..")
        return real;
    return inside == "." ? fs::path("/") : fs::path("/") / inside;
}

// Labels padded to one column, counted in characters (the labels hold umlauts).
void printExplanation(std::ostream& out, const PathExplanation& explanation) {
    const auto text = PathExplanationText::of(explanation);
    out << text.heading << "\n";
    for (const auto& line : text.lines) {
        out << "  ";
        if (!line.label.empty()) {
            // Continuation bytes of UTF-8 do not take a column.
            const auto width = 1 + static_cast<std::size_t>(std::ranges::count_if(line.label, [](char c) {
                                   return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
                               }));
            out << line.label << ":" << std::string(width < 12 ? 12 - width : 1, ' ');
        }
        out << line.text << "\n";
    }
}

} // namespace

CLI::App* addWhyCommand(CLI::App& app, WhyOptions& options) {
    auto* command = app.add_subcommand(
        "why", "Erklärt, welcher Fund einen Pfad erfasst und ob Velmora ihn anfassen dürfte (nur lesend)");
    command->add_option("paths", options.paths, "Pfade, gelesen innerhalb der Wurzel")
        ->required()
        ->option_text("PFAD…");
    command->add_flag("--json", options.json, "Ergebnis als JSON für Skripte ausgeben");
    return command;
}

int runWhyCommand(const WhyOptions& options, const RunSetting& setting, std::ostream& out) {
    std::vector<fs::path> paths;
    for (const auto& argument : options.paths)
        paths.push_back(realPath(argument, setting));
    auto explanations = LiveEnvironment(setting).pathExplainer()->explain(paths);

    bool certain = true;
    for (std::size_t index = 0; index < explanations.size(); ++index) {
        auto& e = explanations[index];
        certain = certain && (e.claim || e.isSurelyUnclaimed());
        // Shown as the user sees them inside the root; a path that could not be placed, as given.
        e.path = e.path.is_absolute() ? logical(e.path, setting) : fs::path(options.paths[index]);
        if (e.claim && e.claim->item.url)
            e.claim->item.url = logical(*e.claim->item.url, setting);
        if (e.claim && e.claim->pattern)
            e.claim->pattern = logical(*e.claim->pattern, setting).string();
    }
    if (options.json) {
        out << nlohmann::json(explanations).dump(2, ' ', false, nlohmann::json::error_handler_t::replace)
            << "\n";
    } else {
        for (std::size_t index = 0; index < explanations.size(); ++index) {
            out << (index ? "\n" : "");
            printExplanation(out, explanations[index]);
        }
    }
    return certain ? exitOK : exitFailure;
}

} // namespace velmora::cli
