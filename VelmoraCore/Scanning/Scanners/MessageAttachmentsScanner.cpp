#include "Scanning/Scanners/MessageAttachmentsScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/PersonalFinding.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

constexpr personal::Texts texts{
    "personal.messageAttachments", "Anhänge in Nachrichten",
    "Bilder, Videos und Dateien aus deinen Chats in Nachrichten. Velmora löscht sie nicht selbst, "
    "denn sie gehören zu den Unterhaltungen. Platz schaffst du in Nachrichten unter Einstellungen › "
    "Allgemein › „Nachrichten behalten“ (30 Tage oder 1 Jahr) oder über „Große Anhänge prüfen“ in "
    "der Speicherverwaltung des Mac.",
    Risk::hintOnly};

// Opening the app is the way to its settings: Messages has no address for its settings window.
const RemovalMethod openMessages =
    RemovalMethod::hint(HintAction{HintAction::OpenURL{"file:///System/Applications/Messages.app"}});

} // namespace

std::expected<std::vector<Finding>, ScanError> MessageAttachmentsScanner::scan(const ScanContext& context,
                                                                               StopToken stop) {
    if (context.layout != PlatformLayout::macOS)
        return std::vector<Finding>{};
    const auto folder = context.home / "Library/Messages/Attachments";
    switch (personal::folderAccess(folder)) {
    case personal::FolderAccess::missing:
        return std::vector<Finding>{};
    case personal::FolderAccess::unreadable:
        if (context.hasFullDiskAccess)
            return std::vector<Finding>{};
        return std::vector<Finding>{personal::lackingAccess(texts, openMessages)};
    case personal::FolderAccess::readable:
        break;
    }
    auto item = cleanup::item(folder, "Anhänge", context, stop);
    if (stop.stop_requested())
        return std::unexpected(ScanError{"Abgebrochen"});
    if (item.size == 0)
        return std::vector<Finding>{};
    return std::vector<Finding>{personal::finding(texts, openMessages, {std::move(item)})};
}

} // namespace velmora
