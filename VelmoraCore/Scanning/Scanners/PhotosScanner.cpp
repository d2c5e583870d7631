#include "Scanning/Scanners/PhotosScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/PersonalFinding.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

constexpr personal::Texts macTexts{
    "personal.photos", "Fotos-Mediathek",
    "Deine Fotos-Mediathek mit allen Originalen, Bearbeitungen und Vorschaubildern. Velmora fasst sie "
    "nie an. Platz schaffst du in Fotos selbst (Dubletten, große Videos, „Zuletzt gelöscht“) oder mit "
    "„Mac-Speicher optimieren“ in den iCloud-Fotos-Einstellungen.",
    Risk::hintOnly};

constexpr personal::Texts linuxTexts{
    "personal.photos", "Bilder-Ordner",
    "Dein Bilder-Ordner, in den Fotoverwaltungen wie Shotwell oder digiKam die Originale legen. "
    "Velmora fasst ihn nie an. Aussortieren kannst du in deiner Fotoverwaltung oder im Dateimanager.",
    Risk::hintOnly};

constexpr std::string_view systemLibrary = "Photos Library.photoslibrary";

// Only a folder seen to be there counts: one behind privacy protection may or may not exist.
bool isFolder(const std::filesystem::path& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::optional<std::filesystem::path> library(const ScanContext& context) {
    if (context.layout == PlatformLayout::linux) {
        auto pictures = personal::userFolder(context, &XdgUserDirs::pictures, "Pictures");
        // "$HOME" is how user-dirs.dirs switches a folder off; the whole home is no photo library.
        const auto inside = context.home.lexically_normal().lexically_relative(pictures.lexically_normal());
        if (!inside.empty() && *inside.begin() != "..")
            return std::nullopt;
        return isFolder(pictures) ? std::optional(pictures) : std::nullopt;
    }
    const auto pictures = context.home / "Pictures";
    if (isFolder(pictures / systemLibrary))
        return pictures / systemLibrary;
    for (const auto& entry : cleanup::entriesIn(pictures)) {
        const auto name = entry.path.filename().string();
        if (S_ISDIR(entry.info.st_mode) && name.ends_with(".photoslibrary") && name != ".photoslibrary")
            return entry.path;
    }
    return std::nullopt;
}

std::optional<PhotosInfo> measuredLibrary(const ScanContext& context, StopToken stop) {
    auto found = library(context);
    if (!found)
        return std::nullopt;
    PhotosInfo info{std::move(*found), std::nullopt};
    if (personal::folderAccess(info.library) == personal::FolderAccess::readable && context.sizer)
        info.bytes = context.sizer->size(info.library, stop);
    return info;
}

} // namespace

std::optional<PhotosInfo> photosInfo(const ScanContext& context) {
    return measuredLibrary(context, {});
}

std::expected<std::vector<Finding>, ScanError> PhotosScanner::scan(const ScanContext& context,
                                                                   StopToken stop) {
    auto info = measuredLibrary(context, stop);
    if (stop.stop_requested())
        return std::unexpected(ScanError{"Abgebrochen"});
    if (!info)
        return std::vector<Finding>{};
    const auto& texts = context.layout == PlatformLayout::linux ? linuxTexts : macTexts;
    FindingItem item;
    item.id = info->library.string();
    item.url = info->library;
    item.name = info->library.filename().string();
    item.size = info->bytes;
    auto finding = personal::finding(
        texts, RemovalMethod::hint(HintAction{HintAction::RevealInFinder{info->library}}), {std::move(item)});
    // The library is there even when it may not be read: then only its size is missing.
    finding.needsFullDiskAccess = !info->bytes && !context.hasFullDiskAccess;
    return std::vector<Finding>{std::move(finding)};
}

} // namespace velmora
