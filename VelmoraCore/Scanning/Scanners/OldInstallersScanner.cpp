#include "Scanning/Scanners/OldInstallersScanner.hpp"

#include "Platform/FileTime.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/PersonalFinding.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

#include <algorithm>
#include <array>
#include <functional>
#include <span>

namespace velmora {

namespace {

constexpr personal::Texts texts{
    "personal.oldInstallers", "Alte Installationsdateien",
    "Disk-Images und Installationspakete im Download-Ordner, die seit über zwei Wochen unverändert "
    "sind. Ist das Programm installiert, braucht sie niemand mehr – bei Bedarf lädst du sie erneut "
    "herunter.",
    Risk::review};

constexpr std::array<std::string_view, 5> macExtensions{".dmg", ".pkg", ".mpkg", ".xip", ".iso"};
constexpr std::array<std::string_view, 6> linuxExtensions{".deb", ".rpm", ".appimage",
                                                          ".run", ".iso", ".flatpakref"};
constexpr std::array<std::string_view, 2> bundleExtensions{".pkg", ".mpkg"};

// ASCII only: the extensions are ASCII, and a name's other bytes are left as they are.
bool endsWithIgnoringCase(std::string_view name, std::string_view suffix) {
    if (name.size() <= suffix.size())
        return false; // ".dmg" alone is a hidden file, not a disk image
    const auto tail = name.substr(name.size() - suffix.size());
    return std::ranges::equal(tail, suffix, [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    });
}

bool endsWithAny(std::string_view name, std::span<const std::string_view> suffixes) {
    return std::ranges::any_of(suffixes, [&](std::string_view s) { return endsWithIgnoringCase(name, s); });
}

} // namespace

bool OldInstallersScanner::isInstaller(std::string_view name, bool isFolder, PlatformLayout layout) {
    if (isFolder)
        return layout == PlatformLayout::macOS && endsWithAny(name, bundleExtensions);
    return layout == PlatformLayout::macOS ? endsWithAny(name, macExtensions)
                                           : endsWithAny(name, linuxExtensions);
}

std::expected<std::vector<Finding>, ScanError> OldInstallersScanner::scan(const ScanContext& context,
                                                                          StopToken stop) {
    const auto downloads = context.layout == PlatformLayout::linux
                               ? personal::userFolder(context, &XdgUserDirs::download, "Downloads")
                               : context.home / "Downloads";
    // macOS keeps the downloads folder behind its privacy protection, which Full Disk Access opens.
    if (personal::folderAccess(downloads) == personal::FolderAccess::unreadable && !context.hasFullDiskAccess)
        return std::vector<Finding>{personal::lackingAccess(texts, RemovalMethod::trash())};
    const auto cutoff = cleanup::daysBefore(context, minimumAgeDays);
    std::vector<FindingItem> items;
    for (const auto& entry : cleanup::entriesIn(downloads)) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        const bool folder = S_ISDIR(entry.info.st_mode);
        if (!folder && !S_ISREG(entry.info.st_mode))
            continue; // links and devices are not downloads
        const auto modified = modificationTime(entry.info);
        if (modified > cutoff || !isInstaller(entry.path.filename().string(), folder, context.layout))
            continue;
        if (context.claims && context.claims->isClaimed(entry.path))
            continue;
        // Never offer what removal would refuse (a downloads folder outside the home, for one).
        if (!context.safety || context.safety->check(entry.path))
            continue;
        auto item = cleanup::item(entry.path, entry.path.filename().string(), context, stop);
        item.date = modified;
        items.push_back(std::move(item));
    }
    if (items.empty())
        return std::vector<Finding>{};
    std::ranges::stable_sort(items, std::ranges::greater{}, [](const FindingItem& i) { return *i.date; });
    return std::vector<Finding>{personal::finding(texts, RemovalMethod::trash(), std::move(items))};
}

} // namespace velmora
