// Deletes one item for good – a file, a symbolic link (the link itself) or a folder with everything in
// it – through folder descriptors, so that nothing outside the item can be reached: no link is ever
// followed, no other volume entered, and a folder swapped for a link during the walk is not entered.
#pragma once

#include "Platform/RemovalTarget.hpp"
#include "Support/StopToken.hpp"

#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace velmora {

struct DeleteStats {
    std::int64_t removedEntries = 0; // files, links and folders, the item itself included
    // Allocated bytes that are really free now: a file counts when its last hard link went (a file also
    // linked from outside the item frees nothing), a folder with its own blocks.
    std::int64_t freedBytes = 0;

    bool operator==(const DeleteStats&) const = default;
};

struct DeleteError {
    enum class Kind {
        invalidPath,    // not an absolute path naming an item; nothing was touched
        notFound,       // the item does not exist (any more); nothing was touched
        unsafeLocation, // a folder on the way to the item is a symbolic link; nothing was touched
        changed,        // the item is not the object the target recorded; nothing was touched
        system,         // the item's folder could not be opened or the item not examined; nothing touched
        failed,         // some entries (perhaps all) could not be removed; everything else was
        cancelled,      // the stop token was triggered; what was removed so far is gone
    };
    Kind kind = Kind::failed;
    int code = 0;                // errno of the first failure where one caused it, else 0
    std::string message;         // German: the first failure's reason, then the entry's path below the item
    std::filesystem::path where; // that entry relative to the item; empty for the item itself
    std::int64_t failedEntries = 0; // entries that stayed for a reason of their own (not counting the
                                    // folders that stayed only because something in them did)
    DeleteStats removed;            // what was removed all the same
};

inline constexpr std::string_view mountPointText = "Enthält ein anderes Volume – dort wird nichts gelöscht";
inline constexpr std::string_view itemIsMountPointText =
    "Ist ein eigenes Volume (Einhängepunkt) – nicht angefasst";
inline constexpr std::string_view swappedText = "Wurde während des Löschens ausgetauscht – nicht angefasst";
inline constexpr std::string_view movedText = "Ordner wurde während des Löschens verschoben – abgebrochen";
inline constexpr std::string_view unsafeFolderText =
    "Ein Ordner auf dem Weg zum Objekt ist ein symbolischer Link – nicht angefasst";
inline constexpr std::string_view invalidDeletePathText = "Ungültiger Pfad – nicht angefasst";
inline constexpr std::string_view cancelledText = "Abgebrochen";

class TreeDeleter {
public:
    enum class Event {
        listed,     // the names of a folder were read; `relative` is that folder ("" for the item)
        descending, // a folder was examined and is about to be opened; `relative` is that folder
    };
    // Called on the deleting thread; lets tests change the tree at exactly these moments.
    using Observer = std::function<void(Event, const std::filesystem::path& relative)>;

    explicit TreeDeleter(Observer observer = {});

    // Removes `item`. Its folder is reached from the item's anchor as ParentDirectory does (no link on
    // the way), the item must still be the object it records and is named relative to that folder, so
    // a link as the item is removed as the link. A folder is walked
    // depth-first with an explicit stack (any depth; at most a few dozen descriptors open, deeper
    // folders are reopened through ".." and checked to be the same folder); each folder is opened
    // with O_NOFOLLOW and must have the device and inode seen when it was listed, else it is left
    // alone. A folder on another device or mount (a mount point inside the item) is skipped with
    // an error, an item that is a mount point itself is refused. Whatever can go goes: a failure
    // leaves that entry and the folders above it, everything else is removed, and the result is
    // `failed` with the first failure. An entry that vanished meanwhile is no failure.
    // Thread-safe (no shared state); the observer runs on the calling thread.
    std::expected<DeleteStats, DeleteError> remove(const RemovalTarget& item, StopToken stop = {}) const;

private:
    Observer observer_;
};

} // namespace velmora
