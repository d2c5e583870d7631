#include "Scanning/Scanners/HomebrewScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"

#include <charconv>
#include <set>

namespace velmora {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr std::string_view removeMarker = "Would remove: ";
constexpr std::string_view autoremoveMarker = "Would autoremove ";

// Homebrew checks every installed formula for the dry run; on a large installation that takes a while.
constexpr auto dryRunTimeout = 120s;

} // namespace

std::optional<std::vector<fs::path>> HomebrewScanner::cleanupPaths(std::string_view output) {
    std::vector<fs::path> paths;
    for (const auto line : toolscan::lines(output)) {
        if (!line.starts_with(removeMarker))
            continue; // headings, warnings and the closing "would free approximately" line
        auto rest = line.substr(removeMarker.size());
        // The size in brackets comes last; a path may itself contain " (".
        if (const auto open = rest.rfind(" ("); open != std::string_view::npos && rest.ends_with(')'))
            rest = rest.substr(0, open);
        if (!rest.starts_with('/'))
            return std::nullopt;
        paths.emplace_back(rest);
    }
    return paths;
}

std::optional<std::vector<std::string>> HomebrewScanner::autoremoveNames(std::string_view output) {
    std::vector<std::string> names;
    std::optional<std::size_t> promised;
    for (const auto line : toolscan::lines(output)) {
        const auto text = toolscan::trimmed(line);
        if (const auto at = text.find(autoremoveMarker); at != std::string_view::npos) {
            const auto count = text.substr(at + autoremoveMarker.size());
            std::size_t n = 0;
            const auto [end, ec] = std::from_chars(count.data(), count.data() + count.size(), n);
            if (ec != std::errc{} || promised)
                return std::nullopt;
            promised = n;
            continue;
        }
        if (!promised || names.size() == *promised)
            continue;
        if (text.empty() || text.starts_with("==>") || text.find(' ') != std::string_view::npos)
            return std::nullopt;
        names.emplace_back(text);
    }
    if (promised && names.size() != *promised)
        return std::nullopt;
    return names;
}

std::expected<std::vector<Finding>, ScanError> HomebrewScanner::scan(const ScanContext& context,
                                                                     StopToken stop) {
    const auto brew = toolscan::locate(context, "brew");
    if (!brew)
        return std::vector<Finding>{};
    std::vector<Finding> findings;

    const auto cleanup = toolscan::output(context, *brew, {"cleanup", "--prune=all", "--dry-run"},
                                          dryRunTimeout, "Homebrew", stop);
    if (!cleanup)
        return std::unexpected(cleanup.error());
    const auto paths = cleanupPaths(*cleanup);
    if (!paths)
        return std::unexpected(toolscan::unreadable("brew cleanup --dry-run"));
    std::vector<FindingItem> items;
    std::set<std::string> seen;
    for (const auto& path : *paths) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        auto item = toolscan::measuredItem(context, context.underRoot(path), stop);
        item.detail = path.parent_path().string();
        if (seen.insert(item.id).second)
            items.push_back(std::move(item));
    }
    if (!items.empty())
        findings.push_back(
            toolscan::toolFinding({"brew.cleanup", "", "Homebrew-Fund",
                                   "Alte Versionen installierter Formeln und Casks sowie heruntergeladene "
                                   "Pakete im Homebrew-Cache. "
                                   "Homebrew räumt sie selbst auf; was installiert ist, bleibt erhalten.",
                                   Risk::safe},
                                  ToolCommand{"brew", {"cleanup", "--prune=all"}, 600s}, std::move(items)));

    const auto autoremove =
        toolscan::output(context, *brew, {"autoremove", "--dry-run"}, dryRunTimeout, "Homebrew", stop);
    if (!autoremove)
        return std::unexpected(autoremove.error());
    const auto names = autoremoveNames(*autoremove);
    if (!names)
        return std::unexpected(toolscan::unreadable("brew autoremove --dry-run"));
    // Kegs live in the Cellar beside the bin folder brew was found in; a tap's formula by its short name.
    const fs::path cellar = brew->parent_path().parent_path() / "Cellar";
    std::vector<FindingItem> formulae;
    for (const auto& name : *names) {
        const auto shortName = name.substr(name.rfind('/') + 1);
        auto item = toolscan::measuredItem(context, cellar / shortName, stop);
        item.id = name;
        item.name = name;
        item.detail = "Wird von keiner installierten Formel mehr gebraucht";
        formulae.push_back(std::move(item));
    }
    if (!formulae.empty())
        findings.push_back(toolscan::toolFinding(
            {"brew.cleanup", "autoremove", "Homebrew – ungenutzte Abhängigkeiten",
             "Formeln, die einmal als Abhängigkeit installiert wurden und die keine installierte Formel mehr "
             "braucht. Prüfe, ob du eine davon direkt nutzt – sonst entfernt Homebrew sie gemeinsam.",
             Risk::review},
            ToolCommand{"brew", {"autoremove"}, 600s}, std::move(formulae)));
    return findings;
}

} // namespace velmora
