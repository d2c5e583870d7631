// Moving an item into the user's Trash, so that it can still be restored. The live implementations are
// HomeTrash (the macOS layout, ~/.Trash) and FreedesktopTrash (the Linux desktops' Trash).
#pragma once

#include "Platform/RemovalTarget.hpp"

#include <cstddef>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

struct TrashError {
    enum class Kind {
        invalidPath,     // not an absolute path naming an item (see ParentDirectory)
        notFound,        // the item (or its folder) is gone
        otherVolume,     // the item lies on another file system than the Trash; nothing was moved
        noTrash,         // the Trash folder is missing and cannot be made, or is not a folder
        unsafeLocation,  // the Trash folder or a folder on the way to the item is a symbolic link
        changed,         // the item is not the object the target recorded; nothing was moved
        nameUnavailable, // no free name in the Trash (all candidates taken)
        system,          // any other failure of the system; `code` says which
    };
    Kind kind = Kind::system;
    int code = 0;        // errno where one caused the failure, else 0
    std::string message; // German, shown to the user next to the item

    bool operator==(const TrashError&) const = default;

    // The error for `kind` with its German text; `system` (and `noTrash` with a code) add the
    // system's reason.
    static TrashError make(Kind kind, int code = 0);
};

inline constexpr std::string_view otherVolumeText =
    "Liegt auf einem anderen Volume – der Papierkorb ist dort nicht erreichbar";
inline constexpr std::string_view noTrashText = "Kein Papierkorb vorhanden";
inline constexpr std::string_view trashNotFoundText = "Objekt existiert nicht mehr";
inline constexpr std::string_view invalidTrashPathText = "Ungültiger Pfad – nicht angefasst";
inline constexpr std::string_view unsafeTrashText =
    "Papierkorb oder ein Ordner auf dem Weg zum Objekt ist ein "
    "symbolischer Link – aus Sicherheitsgründen nicht benutzt";
inline constexpr std::string_view noFreeNameText = "Im Papierkorb ist kein freier Name zu finden";

class Trash {
public:
    virtual ~Trash() = default;

    // Moves `item` (a file, a folder with all it holds, or a symbolic link as the link itself) into the
    // Trash and returns where it now lies. The item is reached from its anchor without following a
    // link and must still be the object it records; it is renamed relative to the folder so reached. The move
    // is one rename: it either happens completely or not at all, and the item is never copied and never
    // deleted instead of being moved (an item on another volume fails with `otherVolume`). An existing entry
    // in the Trash is never replaced; a clashing name gets a number. On failure nothing was changed (the item
    // stays where it was). Thread-safe: concurrent calls, also from other programs using the same Trash,
    // never pick the same name.
    virtual std::expected<std::filesystem::path, TrashError> moveToTrash(const RemovalTarget& item) = 0;

    // The file beside `entry` (a path moveToTrash returned) that records where it came from, when this
    // Trash keeps one; nothing otherwise.
    virtual std::optional<std::filesystem::path> infoFileFor(const std::filesystem::path& entry) const {
        (void)entry;
        return std::nullopt;
    }
};

// The name the `attempt`-th try gives to `name` in the Trash, Finder-style: attempt 1 is the name
// itself, attempt n ≥ 2 inserts " n" before the extension ("a.txt" → "a 2.txt", "Ordner" →
// "Ordner 2", ".profile" → ".profile 2"; only the last extension counts: "x.tar.gz" → "x.tar 2.gz").
// The result has at most `maxBytes` bytes: a longer stem is shortened (never inside a UTF-8 sequence).
// Works on raw bytes, so names that are not UTF-8 survive unchanged.
std::string trashCandidateName(const std::string& name, std::size_t attempt, std::size_t maxBytes = 255);

} // namespace velmora
