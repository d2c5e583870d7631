#include "Scanning/Scanners/SimulatorsScanner.hpp"

#include "Scanning/PathScanner.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/SimctlOutput.hpp"

#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

bool isFolder(const fs::path& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isBelow(const fs::path& path, const fs::path& folder) {
    const auto inside = path.lexically_relative(folder);
    return !inside.empty() && *inside.begin() != ".." && *inside.begin() != ".";
}

// The device's own folder (the parent of its "data" folder), as long as it lies in the home's
// developer folder: a path pointing elsewhere is neither measured nor shown.
std::optional<fs::path> deviceFolder(const simctl::Device& device, const ScanContext& context) {
    const fs::path developer = context.home / "Library/Developer";
    if (device.dataPath && fs::path(*device.dataPath).is_absolute()) {
        fs::path folder = context.underRoot(fs::path(*device.dataPath).lexically_normal());
        if (folder.filename() == "data")
            folder = folder.parent_path();
        if (isBelow(folder, developer) && isFolder(folder))
            return folder;
        return std::nullopt;
    }
    if (!simctl::isUuid(device.udid))
        return std::nullopt;
    const fs::path folder = developer / "CoreSimulator/Devices" / device.udid;
    return isFolder(folder) ? std::optional(folder) : std::nullopt;
}

} // namespace

std::expected<std::vector<Finding>, ScanError> SimulatorsScanner::scan(const ScanContext& context,
                                                                       StopToken stop) {
    const auto xcrun = simctl::xcrun(context);
    if (!xcrun || !simctl::coreSimulatorIn(context.home / "Library/Developer"))
        return std::vector<Finding>{};
    const auto ran = simctl::run(context, *xcrun, {"simctl", "list", "-j"}, stop);
    if (!ran)
        return std::unexpected(ran.error());
    if (ran->first != 0)
        return std::unexpected(
            ScanError{"„xcrun simctl list -j“ endete mit Exit " + std::to_string(ran->first)});
    const auto listing = simctl::parseListing(ran->second);
    if (!listing)
        return std::unexpected(listing.error());

    std::vector<FindingItem> items;
    bool allMeasured = true;
    for (const auto& device : listing->devices) {
        if (device.available != false)
            continue;
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        FindingItem item;
        item.id = device.udid;
        item.name = device.name;
        const auto runtime = listing->runtimeNames.find(device.runtime);
        item.detail = runtime != listing->runtimeNames.end() ? runtime->second
                                                             : simctl::runtimeDisplayName(device.runtime);
        if (!device.availabilityError.empty())
            *item.detail += " – " + device.availabilityError;
        if (const auto folder = deviceFolder(device, context); folder && context.sizer) {
            item.url = *folder;
            item.size = context.sizer->size(*folder, stop);
        } else {
            allMeasured = false;
        }
        items.push_back(std::move(item));
    }
    if (items.empty())
        return std::vector<Finding>{};

    Finding finding;
    finding.id = FindingID{id(), ""};
    finding.category = Category::simulators;
    finding.title = "Nicht verfügbare Simulatoren";
    finding.summary =
        "Simulatoren, deren Laufzeit oder Gerätetyp nicht mehr installiert ist. Sie lassen sich "
        "nicht mehr starten; entfernt werden sie alle zusammen samt ihren Daten.";
    finding.risk = Risk::safe;
    finding.method = RemovalMethod::tool(ToolCommand{"xcrun", {"simctl", "delete", "unavailable"}, 120s});
    finding.commandPreview = PathScanner::commandPreview(finding.method, items);
    if (allMeasured) {
        std::int64_t total = 0;
        for (const auto& item : items)
            total += *item.size;
        finding.size = total;
    }
    finding.items = std::move(items);
    return std::vector<Finding>{std::move(finding)};
}

} // namespace velmora
