#include "Removal/TrashRestorer.hpp"

#include "Platform/FreedesktopTrash.hpp"
#include "Platform/HomeTrash.hpp"
#include "Platform/ParentDirectory.hpp"
#include "Platform/SystemErrorText.hpp"
#include "Platform/TrashPrimitives.hpp"
#include "Removal/Remover.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Safety/SafetyVerdict.hpp"
#include "Support/Log.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <expected>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view logCategory = "restore";
constexpr mode_t remadeFolderMode = 0700;

constexpr std::string_view goneFromTrashText =
    "Liegt nicht mehr im Papierkorb – vielleicht schon zurückgelegt oder endgültig gelöscht.";
constexpr std::string_view backAlreadyText = "Liegt schon wieder am ursprünglichen Ort.";
constexpr std::string_view outsideTrashText = "Liegt nicht im Papierkorb – nicht angefasst.";
constexpr std::string_view linkOnTheWayText =
    "Ein Ordner auf dem Weg zum ursprünglichen Ort ist ein symbolischer "
    "Link – aus Sicherheitsgründen im Papierkorb gelassen.";
constexpr std::string_view notAFolderOnTheWayText =
    "Auf dem Weg zum ursprünglichen Ort liegt inzwischen etwas anderes als ein Ordner – im Papierkorb "
    "gelassen.";
constexpr std::string_view placeUnknownText =
    "Wo es im Papierkorb liegt, wurde nicht festgehalten – bitte im Papierkorb selbst zurücklegen.";
constexpr std::string_view notRemovedText = "Wurde nicht entfernt – nichts zurückzulegen.";
constexpr std::string_view remadeFoldersNote = "fehlende Ordner neu angelegt";
constexpr std::string_view wouldRemakeFoldersNote = "fehlende Ordner würden neu angelegt";

RestoreOutcome left(std::string_view reason) {
    return {RestoreOutcome::Kind::left, std::string(reason)};
}

RestoreOutcome notRestorable(std::string_view reason) {
    return {RestoreOutcome::Kind::notRestorable, std::string(reason)};
}

// Why an item that was never in the Trash cannot come back.
std::string_view unrestorableReason(const JournalItem& item) {
    if (item.outcome != "removed")
        return notRemovedText;
    if (item.method == "delete")
        return "Direkt gelöscht – lässt sich nicht zurücklegen.";
    if (item.method == "tool")
        return "Vom Werkzeug selbst entfernt – lässt sich nicht zurücklegen.";
    if (item.method == "admin")
        return "Mit Administratorrechten entfernt – lässt sich nicht zurücklegen.";
    return "Lässt sich nicht zurücklegen.";
}

bool isPlainName(const fs::path& name) {
    return !name.empty() && name != "." && name != "..";
}

// The failure of a walk to the original folder, for the user.
RestoreOutcome destinationFailure(const ParentDirectoryError& error) {
    switch (error.kind) {
    case ParentDirectoryError::Kind::invalidPath:
        return left(invalidTrashPathText);
    case ParentDirectoryError::Kind::linkOnTheWay:
        return left(linkOnTheWayText);
    case ParentDirectoryError::Kind::changed:
    case ParentDirectoryError::Kind::system:
        break;
    }
    if (error.code == ENOTDIR)
        return left(notAFolderOnTheWayText);
    return left(systemErrorText(error.code));
}

bool missingOnTheWay(const ParentDirectoryError& error) {
    return error.kind == ParentDirectoryError::Kind::system && error.code == ENOENT;
}

// The folder the item goes back into, opened from `anchor` without following a link.
struct Destination {
    UniqueFd fd;                // invalid in a dry run whose folder is still missing
    std::vector<fs::path> made; // folders made again, outermost first
    bool missing = false;       // some folders on the way had to be (or would be) made again
};

std::optional<RestoreOutcome> requireVolume(int folderFd, dev_t device) {
    struct stat st {};
    if (::fstat(folderFd, &st) != 0)
        return left(systemErrorText(errno));
    if (st.st_dev != device)
        return left(restoreOtherVolumeText);
    return std::nullopt;
}

std::expected<Destination, RestoreOutcome> openDestination(const fs::path& anchor, const fs::path& folder,
                                                           dev_t device, bool dryRun) {
    auto opened = ParentDirectory::openFolder(anchor, folder);
    if (opened) {
        if (auto refused = requireVolume(opened->get(), device))
            return std::unexpected(*refused);
        return Destination{std::move(*opened), {}, false};
    }
    if (!missingOnTheWay(opened.error()))
        return std::unexpected(destinationFailure(opened.error()));

    // The deepest folder that still exists decides the volume before anything is made; the search
    // stays below the anchor, which is configuration and never made by us.
    const auto anchorDepth = std::distance(anchor.begin(), anchor.end());
    std::vector<fs::path> missing{folder};
    for (fs::path existing = folder.parent_path();; existing = existing.parent_path()) {
        if (std::distance(existing.begin(), existing.end()) < anchorDepth ||
            existing == existing.parent_path())
            return std::unexpected(left(systemErrorText(ENOENT)));
        auto up = ParentDirectory::openFolder(anchor, existing);
        if (up) {
            if (auto refused = requireVolume(up->get(), device))
                return std::unexpected(*refused);
            break;
        }
        if (!missingOnTheWay(up.error()))
            return std::unexpected(destinationFailure(up.error()));
        missing.push_back(existing);
    }
    std::ranges::reverse(missing);
    if (dryRun)
        return Destination{UniqueFd(), {}, true};
    auto made = ParentDirectory::openFolder(anchor, folder, remadeFolderMode);
    if (!made)
        return std::unexpected(destinationFailure(made.error()));
    return Destination{std::move(*made), std::move(missing), true};
}

// Takes back folders made for an item that then could not move in; only empty ones go.
void removeMade(const fs::path& anchor, const std::vector<fs::path>& made) {
    for (auto it = made.rbegin(); it != made.rend(); ++it)
        if (auto parent = ParentDirectory::openFolder(anchor, it->parent_path()))
            ::unlinkat(parent->get(), it->filename().c_str(), AT_REMOVEDIR);
}

std::string withNote(std::string_view text, std::optional<std::string> note) {
    return note ? fmt::format("{}; {}", text, *note) : std::string(text);
}

} // namespace

std::size_t RestoreReport::count(RestoreOutcome::Kind kind) const {
    return static_cast<std::size_t>(
        std::ranges::count(results, kind, [](const RestoreResult& r) { return r.outcome.kind; }));
}

TrashLocation TrashLocation::home(const fs::path& home) {
    return TrashLocation{home, HomeTrash(home).folder(), std::nullopt};
}

TrashLocation TrashLocation::freedesktop(const fs::path& dataHome, const fs::path& anchor) {
    const auto folder = FreedesktopTrash(dataHome, {}, anchor).folder();
    return TrashLocation{anchor, folder / "files", folder / "info"};
}

TrashRestorer::TrashRestorer(TrashLocation trash, std::shared_ptr<const SafetyGuard> guard,
                             std::shared_ptr<RemovalJournal> journal, Rename rename)
    : trash_(std::move(trash)), guard_(std::move(guard)), journal_(std::move(journal)),
      rename_(rename ? std::move(rename) : Rename(&TrashPrimitives::renameWithoutReplacing)) {}

bool TrashRestorer::isStillInTrash(const TrashPlacement& placement) {
    return FileIdentity::of(placement.entry) == placement.identity;
}

bool TrashRestorer::hasItemsToRestore(const JournalRun& run) {
    return std::ranges::any_of(run.items,
                               [](const JournalItem& item) { return item.trash && !item.restored; });
}

std::optional<JournalRun> TrashRestorer::newestRestorable(const std::vector<JournalRun>& runs) {
    const auto it = std::ranges::find_if(runs, hasItemsToRestore);
    return it == runs.end() ? std::nullopt : std::optional(*it);
}

RestoreReport TrashRestorer::restore(const JournalRun& run, const std::vector<std::string>& itemIDs,
                                     bool dryRun) const {
    const std::set<std::string> wanted(itemIDs.begin(), itemIDs.end());
    RestoreReport report{run.runID, {}, std::nullopt};
    std::vector<const JournalItem*> settledItems;
    for (const auto& item : run.items) {
        const bool named = wanted.contains(item.itemID);
        if (!wanted.empty() && !named)
            continue;
        RestoreOutcome outcome;
        bool settled = false;
        if (item.restored)
            outcome = notRestorable(alreadyRestoredText);
        else if (item.trash)
            outcome = putBack(item, *item.trash, dryRun, settled);
        else if (item.outcome == "removed" && item.method == "trash")
            outcome = left(placeUnknownText);
        else if (item.outcome == "removed" || named)
            outcome = notRestorable(unrestorableReason(item));
        else
            continue;
        if (settled)
            settledItems.push_back(&item);
        report.results.push_back(RestoreResult{item.findingID, item.itemID, item.path, std::move(outcome)});
    }
    if (settledItems.empty() || !journal_)
        return report;
    const auto marked = journal_->update(run.runID, [&](JournalRun& stored) {
        for (auto& item : stored.items)
            for (const auto* done : settledItems)
                if (item.findingID == done->findingID && item.itemID == done->itemID &&
                    item.path == done->path && item.trash == done->trash)
                    item.restored = true;
    });
    if (!marked) {
        Log::error(logCategory,
                   fmt::format("could not mark run {}: {}", run.runID, marked.error().message()));
        report.journalWarning = marked.error().message();
    }
    return report;
}

RestoreOutcome TrashRestorer::putBack(const JournalItem& item, const TrashPlacement& placement, bool dryRun,
                                      bool& settled) const {
    const fs::path original = item.path;
    if (!original.is_absolute() || !isPlainName(original.filename()))
        return left(invalidTrashPathText);
    // Putting back creates a path like a removal deletes one: where the guard forbids touching, nothing
    // comes back either.
    auto denial =
        guard_ ? guard_->check(original) : std::optional<std::string>(SafetyReason::invalidConfiguration);
    if (denial)
        return left(std::string(RemovalText::blockedPrefix) + *denial);
    // Only an entry straight in this user's Trash folder: the journal names it, but is only a file.
    if (placement.entry.parent_path().lexically_normal() != trash_.items.lexically_normal() ||
        !isPlainName(placement.entry.filename()))
        return left(outsideTrashText);

    auto slot = ParentDirectory::open(RemovalTarget(placement.entry, trash_.anchor, placement.identity));
    if (!slot) {
        const auto& error = slot.error();
        if (error.kind == ParentDirectoryError::Kind::changed)
            return left(trashSlotChangedText);
        if (error.kind == ParentDirectoryError::Kind::linkOnTheWay)
            return left(unsafeTrashText);
        if (error.kind == ParentDirectoryError::Kind::system &&
            (error.code == ENOENT || error.code == ENOTDIR)) {
            // Put back by the desktop's own Trash, or by a run that ended before it could say so.
            if (FileIdentity::of(original) == placement.identity) {
                settled = !dryRun;
                return notRestorable(backAlreadyText);
            }
            return left(goneFromTrashText);
        }
        return left(error.kind == ParentDirectoryError::Kind::invalidPath ? std::string(invalidTrashPathText)
                                                                          : systemErrorText(error.code));
    }

    const auto anchor = guard_->anchorFor(original);
    auto destination = openDestination(anchor, original.parent_path(), slot->status.st_dev, dryRun);
    if (!destination)
        return destination.error();
    const std::string name = original.filename();
    struct stat there {};
    if (destination->fd && ::fstatat(destination->fd.get(), name.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0)
        return left(occupiedOriginalText);
    if (dryRun)
        return {RestoreOutcome::Kind::wouldRestore,
                destination->missing ? std::string(wouldRemakeFoldersNote) : std::string()};

    const int code = rename_(slot->fd.get(), slot->name.c_str(), destination->fd.get(), name.c_str());
    if (code != 0) {
        removeMade(anchor, destination->made);
        Log::error(logCategory, fmt::format("could not put back {}: errno {}", original.string(), code));
        if (code == EEXIST || code == ENOTEMPTY)
            return left(occupiedOriginalText);
        if (code == EXDEV)
            return left(restoreOtherVolumeText);
        struct stat st {};
        if (code == ENOENT && ::fstatat(slot->fd.get(), slot->name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
            return left(goneFromTrashText);
        return left(systemErrorText(code));
    }
    // The entry was examined a moment before the rename; should another object have been slipped in
    // between, it goes back to the Trash instead of standing at the user's path.
    if (FileIdentity::at(destination->fd.get(), name.c_str()) != placement.identity) {
        if (rename_(destination->fd.get(), name.c_str(), slot->fd.get(), slot->name.c_str()) == 0)
            removeMade(anchor, destination->made);
        return left(trashSlotChangedText);
    }
    settled = true;
    Log::info(logCategory, fmt::format("put back {} from {}", original.string(), placement.entry.string()));
    auto note = dropInfo(placement);
    if (destination->missing)
        note = withNote(remadeFoldersNote, std::move(note));
    return {RestoreOutcome::Kind::restored, note.value_or(std::string())};
}

std::optional<std::string> TrashRestorer::dropInfo(const TrashPlacement& placement) const {
    if (!trash_.info || !placement.info)
        return std::nullopt;
    const fs::path expected = *trash_.info / (placement.entry.filename().native() + ".trashinfo");
    // Only the .trashinfo that belongs to the entry, where the Trash keeps it.
    if (placement.info->lexically_normal() != expected.lexically_normal())
        return std::nullopt;
    auto folder = ParentDirectory::openFolder(trash_.anchor, *trash_.info);
    if (!folder)
        return folder.error().code == ENOENT
                   ? std::nullopt
                   : std::optional<std::string>("die Info-Datei im Papierkorb blieb");
    const std::string name = expected.filename();
    struct stat st {};
    if (::fstatat(folder->get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    if (!S_ISREG(st.st_mode) || ::unlinkat(folder->get(), name.c_str(), 0) != 0)
        return std::string("die Info-Datei im Papierkorb blieb");
    return std::nullopt;
}

} // namespace velmora
