#include "Scanning/Scanners/SimulatorRuntimesScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/SimctlOutput.hpp"

#include <algorithm>
#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Runtimes that CoreSimulator keeps in its own folder (old downloads, disk images) are measured there;
// anything else (an image in the system's asset store) keeps the size simctl reports.
std::optional<fs::path> measurablePlace(const std::string& path, const ScanContext& context) {
    const fs::path logical = fs::path(path).lexically_normal();
    const auto inside = logical.lexically_relative("/Library/Developer/CoreSimulator");
    if (!logical.is_absolute() || inside.empty() || *inside.begin() == ".." || *inside.begin() == ".")
        return std::nullopt;
    const fs::path place = context.underRoot(logical);
    struct stat info {};
    if (::lstat(place.c_str(), &info) != 0 || S_ISLNK(info.st_mode))
        return std::nullopt;
    return place;
}

} // namespace

std::expected<std::vector<Finding>, ScanError> SimulatorRuntimesScanner::scan(const ScanContext& context,
                                                                              StopToken stop) {
    const auto xcrun = simctl::xcrun(context);
    if (!xcrun || !(simctl::coreSimulatorIn(context.home / "Library/Developer") ||
                    simctl::coreSimulatorIn(context.underRoot("/Library/Developer"))))
        return std::vector<Finding>{};
    const auto listed = simctl::run(context, *xcrun, {"simctl", "list", "-j"}, stop);
    if (!listed)
        return std::unexpected(listed.error());
    if (listed->first != 0)
        return std::unexpected(
            ScanError{"„xcrun simctl list -j“ endete mit Exit " + std::to_string(listed->first)});
    const auto listing = simctl::parseListing(listed->second);
    if (!listing)
        return std::unexpected(listing.error());

    const auto imaged = simctl::run(context, *xcrun, {"simctl", "runtime", "list", "-j"}, stop);
    if (!imaged)
        return std::unexpected(imaged.error());
    if (imaged->first != 0) // a simctl from before runtime images cannot delete runtimes either
        return std::vector<Finding>{};
    auto images = simctl::parseRuntimeImages(imaged->second);
    if (!images)
        return std::unexpected(images.error());

    std::vector<Finding> findings;
    for (const auto& image : *images) {
        if (!image.deletable || !simctl::isUuid(image.identifier) || image.runtimeIdentifier.empty() ||
            listing->usedRuntimes.contains(image.runtimeIdentifier))
            continue;
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        FindingItem item;
        item.id = image.identifier;
        const auto named = listing->runtimeNames.find(image.runtimeIdentifier);
        item.name = named != listing->runtimeNames.end()
                        ? named->second
                        : simctl::runtimeDisplayName(image.runtimeIdentifier);
        if (!image.version.empty())
            item.detail = "Version " + image.version + (image.build.empty() ? "" : " (" + image.build + ")");
        item.date = image.lastUsed;
        if (const auto place = measurablePlace(image.path, context); place && context.sizer) {
            item.url = *place;
            item.size = context.sizer->size(*place, stop);
        } else {
            item.size = image.sizeBytes;
        }

        Finding finding;
        finding.id = FindingID{id(), image.identifier};
        finding.category = Category::simulators;
        finding.title = "Simulator-Runtimes – " + item.name;
        finding.summary =
            "Eine Simulator-Laufzeit, die kein Simulator mehr nutzt. Brauchst du sie wieder, lädt "
            "Xcode sie unter „Einstellungen > Komponenten“ erneut herunter.";
        finding.risk = Risk::review;
        finding.method = RemovalMethod::tool(
            ToolCommand{"xcrun", {"simctl", "runtime", "delete", image.identifier}, 300s});
        finding.commandPreview = std::get<RemovalMethod::Tool>(finding.method.value).command.commandLine();
        finding.size = item.size;
        finding.items.push_back(std::move(item));
        findings.push_back(std::move(finding));
    }
    std::ranges::sort(findings, {},
                      [](const Finding& f) { return std::pair(f.items.front().name, f.id.key); });
    return findings;
}

} // namespace velmora
