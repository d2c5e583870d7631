#include "SystemData/Scanners/OldTempFilesScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/CleanupFinding.hpp"

namespace velmora {

namespace {

constexpr int minAgeDays = 3;

constexpr cleanup::Texts texts{
    "systemdata.oldTempFiles", "Alte temporäre Dateien",
    "Zwischendateien, die Programme abgelegt und nicht wieder aufgeräumt haben. Seit mindestens 3 Tagen "
    "hat sich daran nichts geändert – gebraucht werden sie praktisch nie mehr.",
    "Velmora darf sie hier nicht selbst entfernen. Lösche sie bei Bedarf im Dateimanager – nach einem "
    "Neustart räumt das System den Ordner meist ohnehin auf.",
    Risk::safe};

} // namespace

OldTempFilesScanner::OldTempFilesScanner(uid_t owner) : owner_(owner) {}

std::string OldTempFilesScanner::id() const {
    return std::string(texts.id);
}

std::expected<std::vector<Finding>, ScanError> OldTempFilesScanner::scan(const ScanContext& context,
                                                                         StopToken stop) {
    auto folder = context.userTempDir;
    if (folder.empty() && context.layout == PlatformLayout::linux)
        folder = context.underRoot("/tmp");
    if (folder.empty())
        return std::vector<Finding>{};

    const auto cutoff = cleanup::daysBefore(context, minAgeDays);
    // Sockets and pipes belong to programs that may still run (an ssh agent, a tmux server) however
    // old their time stamps are; what belongs to someone else is not the user's to clear.
    const auto untouched = [&](const cleanup::Entry& entry) {
        const auto type = entry.info.st_mode & S_IFMT;
        return entry.info.st_uid == owner_ && (type == S_IFREG || type == S_IFDIR || type == S_IFLNK) &&
               cleanup::lastChange(entry.info) <= cutoff;
    };
    std::vector<FindingItem> items;
    for (const auto& entry : cleanup::entriesIn(folder)) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        if ((context.claims && context.claims->isClaimed(entry.path)) || !untouched(entry))
            continue;
        // A folder counts only when the whole of it could be seen and all of it is old.
        if (S_ISDIR(entry.info.st_mode) && !cleanup::forEachBelow(entry.path, untouched, stop))
            continue;
        auto item = cleanup::item(entry.path, entry.path.filename().string(), context, stop);
        if (item.size > 0)
            items.push_back(std::move(item));
    }
    return cleanup::finding(texts, RemovalMethod::trash(), std::move(items), context, folder);
}

} // namespace velmora
