// Puts what a recorded removal run moved into the Trash back where it came from: only the very objects
// the run moved, never over anything that has taken their place, never through a link, never copied.
#pragma once

#include "Removal/RemovalJournal.hpp"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class SafetyGuard;

inline constexpr std::string_view occupiedOriginalText =
    "Am ursprünglichen Ort liegt inzwischen etwas anderes – im Papierkorb gelassen.";
inline constexpr std::string_view trashSlotChangedText =
    "Im Papierkorb liegt an dieser Stelle inzwischen etwas anderes – nicht angefasst.";
inline constexpr std::string_view restoreOtherVolumeText =
    "Der ursprüngliche Ort liegt auf einem anderen Volume – nichts kopiert, im Papierkorb gelassen.";
inline constexpr std::string_view alreadyRestoredText = "Bereits zurückgelegt.";

struct RestoreOutcome {
    enum class Kind {
        restored,      // back at its original path
        wouldRestore,  // dry run: every check passed, nothing was moved
        left,          // not put back although it was moved to the Trash: a failure, `reason` says why
        notRestorable, // there is nothing to put back (deleted, removed by a tool, already back)
    };
    Kind kind = Kind::left;
    std::string reason; // German; for the first two kinds an optional note

    bool operator==(const RestoreOutcome&) const = default;
};

struct RestoreResult {
    FindingID findingID;
    std::string itemID;
    std::string path; // the original path
    RestoreOutcome outcome;
};

struct RestoreReport {
    std::string runID;
    std::vector<RestoreResult> results; // in the run's item order
    // Set when items were put back but the journal could not be told (they would be tried again).
    std::optional<std::string> journalWarning;

    std::size_t count(RestoreOutcome::Kind kind) const;
};

// Where the user's Trash keeps what a run moved there.
struct TrashLocation {
    std::filesystem::path anchor; // the home folder, trusted as configured; below it no link is followed
    std::filesystem::path items;  // the moved objects themselves: ~/.Trash, or <Trash>/files
    std::optional<std::filesystem::path> info; // <Trash>/info with a .trashinfo per object (Linux desktops)

    // ~/.Trash (the macOS layout).
    static TrashLocation home(const std::filesystem::path& home);
    // <dataHome>/Trash (the freedesktop.org layout), reached from `anchor`.
    static TrashLocation freedesktop(const std::filesystem::path& dataHome,
                                     const std::filesystem::path& anchor);
};

class TrashRestorer {
public:
    // Renames `fromName` in `fromFd` to `toName` in `toFd` unless `toName` exists: 0 or the errno
    // (EEXIST/ENOTEMPTY when taken, EXDEV across file systems). Tests put a failing one in.
    using Rename = std::function<int(int fromFd, const char* fromName, int toFd, const char* toName)>;

    // A null `guard` refuses everything; a null `journal` leaves the marking of restored items out.
    TrashRestorer(TrashLocation trash, std::shared_ptr<const SafetyGuard> guard,
                  std::shared_ptr<RemovalJournal> journal, Rename rename = {});

    // Puts back the Trash items of `run` (only those with one of `itemIDs`, all when it is empty) and
    // marks them restored in the journal. An item is moved only when the entry the run recorded in the
    // Trash is still the object it moved (device, inode, kind, birth time), the guard allows its original
    // path, nothing stands there and both lie on one volume; missing folders on the way are made again
    // (mode 0700). The move is one rename between folders opened without following a link and never
    // replaces anything. Items the run did not remove are left out unless named in `itemIDs`. With
    // `dryRun` every check is made and nothing changes. Called by one thread at a time.
    RestoreReport restore(const JournalRun& run, const std::vector<std::string>& itemIDs, bool dryRun) const;

    // Whether the Trash entry a run recorded is still the object it moved. A look for the lists only:
    // restore() checks again through folders opened without following a link.
    static bool isStillInTrash(const TrashPlacement& placement);
    // Whether `run` holds an item in the Trash that was not put back yet.
    static bool hasItemsToRestore(const JournalRun& run);
    // The newest of `runs` (newest first, as the journal lists them) that has such an item.
    static std::optional<JournalRun> newestRestorable(const std::vector<JournalRun>& runs);

    const std::shared_ptr<RemovalJournal>& journal() const { return journal_; }

private:
    // `settled` is set when the item is back at its place, by this call or before it.
    RestoreOutcome putBack(const JournalItem& item, const TrashPlacement& placement, bool dryRun,
                           bool& settled) const;
    // Takes the .trashinfo of a restored entry away; a German note when it had to stay.
    std::optional<std::string> dropInfo(const TrashPlacement& placement) const;

    TrashLocation trash_;
    std::shared_ptr<const SafetyGuard> guard_;
    std::shared_ptr<RemovalJournal> journal_;
    Rename rename_;
};

} // namespace velmora
