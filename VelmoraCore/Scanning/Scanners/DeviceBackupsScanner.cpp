#include "Scanning/Scanners/DeviceBackupsScanner.hpp"

#include "Safety/SafetyGuard.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/PersonalFinding.hpp"
#include "Support/PropertyList.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

#include <algorithm>

namespace velmora {

namespace {

constexpr personal::Texts texts{
    "personal.deviceBackups", "iPhone- und iPad-Backups",
    "Sicherungen deiner Geräte, die der Mac angelegt hat, neueste zuerst. Ein Backup eines Geräts, das "
    "du nicht mehr hast oder das in iCloud gesichert wird, brauchst du meist nicht mehr – prüfe das, "
    "bevor du es löschst.",
    Risk::review};

// An Info.plist holds a few kilobytes of text plus the device's app list; far more is not one.
constexpr std::size_t maximumInfoBytes = 4 * 1024 * 1024;
constexpr std::size_t maximumNameBytes = 200;

} // namespace

DeviceBackupsScanner::Description DeviceBackupsScanner::describe(const std::filesystem::path& backup) {
    Description description;
    const auto info = readPropertyList(backup / "Info.plist", maximumInfoBytes);
    if (!info || plist_get_node_type(info.get()) != PLIST_DICT)
        return description;
    auto name = plistString(info.get(), "Device Name");
    const bool control = name && std::ranges::any_of(*name, [](char c) {
                             return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
                         });
    if (name && !name->empty() && name->size() <= maximumNameBytes && !control)
        description.deviceName = std::move(name);
    description.lastBackup = plistDate(info.get(), "Last Backup Date");
    return description;
}

std::expected<std::vector<Finding>, ScanError> DeviceBackupsScanner::scan(const ScanContext& context,
                                                                          StopToken stop) {
    if (context.layout != PlatformLayout::macOS)
        return std::vector<Finding>{};
    const auto folder = context.home / "Library/Application Support/MobileSync/Backup";
    const auto method = RemovalMethod::trash();
    switch (personal::folderAccess(folder)) {
    case personal::FolderAccess::missing:
        return std::vector<Finding>{};
    case personal::FolderAccess::unreadable:
        if (context.hasFullDiskAccess)
            return std::vector<Finding>{};
        return std::vector<Finding>{personal::lackingAccess(texts, method)};
    case personal::FolderAccess::readable:
        break;
    }
    std::vector<FindingItem> items;
    for (const auto& entry : cleanup::entriesIn(folder)) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        if (!S_ISDIR(entry.info.st_mode) || (context.claims && context.claims->isClaimed(entry.path)))
            continue;
        if (!context.safety || context.safety->check(entry.path))
            continue;
        const auto folderName = entry.path.filename().string();
        auto description = describe(entry.path);
        auto item = cleanup::item(entry.path, description.deviceName.value_or(folderName), context, stop);
        item.date = description.lastBackup;
        if (description.deviceName)
            item.detail = folderName;
        items.push_back(std::move(item));
    }
    if (items.empty())
        return std::vector<Finding>{};
    // Newest first; backups without a readable date after all dated ones, in folder order.
    std::ranges::stable_sort(items, [](const FindingItem& a, const FindingItem& b) {
        if (a.date.has_value() != b.date.has_value())
            return a.date.has_value();
        return a.date && *a.date > *b.date;
    });
    return std::vector<Finding>{personal::finding(texts, method, std::move(items))};
}

} // namespace velmora
