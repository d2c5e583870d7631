// How a removal ended: one result per item in the order of execution, what it freed and what only went
// to the Trash, the free space before and after, and the lines the summary lists for the items that
// could not go.
#pragma once

#include "Findings/RemovalMethod.hpp"
#include "Removal/ItemOutcome.hpp"
#include "Removal/RemovalJournal.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

// What the plan knew of a result's item, and how the runner handled it.
struct ResultDetail {
    RemovalKind method =
        RemovalKind::trash;           // the group the item ran in (a Trash item deleted directly: delete_)
    std::string name;                 // the item's name as the lists show it
    std::string path;                 // the item's path; empty for items that are no file
    std::optional<std::int64_t> size; // the recorded size, when known

    bool operator==(const ResultDetail&) const = default;
};

struct RemovalReport {
    std::vector<ItemResult> results;
    // The recorded sizes of the items whose space is free now: deleted directly, cleaned by their tool,
    // removed by an administrator step. An item of unknown size counts 0.
    std::int64_t freedBytes = 0;
    // "<item name>: <reason>" for every item that was not removed, except those skipped only because
    // of the dry run; a cancelled item reads "<item name>: Abgebrochen".
    std::vector<std::string> failures;
    // The recorded sizes of the items moved to the Trash: their space comes back only when the Trash is
    // emptied.
    std::int64_t trashedBytes = 0;
    // Free bytes of the home's volume as the run started and as it ended, when they could be read.
    std::optional<std::int64_t> freeBefore = std::nullopt;
    std::optional<std::int64_t> freeAfter = std::nullopt;
    // One per result, in the same order; empty in reports not made by the runner.
    std::vector<ResultDetail> details = {};
    bool dryRun = false;
    // The run's entry in the removal journal; nothing when it was not recorded.
    std::optional<std::string> runID = std::nullopt;
    // German, when the run could not be recorded (the run itself is not affected).
    std::optional<std::string> journalWarning = std::nullopt;

    bool operator==(const RemovalReport&) const = default;

    // "1 Eintrag konnte nicht entfernt werden." or "<count> Einträge konnten nicht entfernt werden.".
    static std::string failureSummary(std::size_t count);
    // The summary for this report's failures; nothing when there are none.
    std::optional<std::string> summary() const;

    JournalCounts counts() const;
    // "13 ausgewählt: 11 entfernt, 1 übersprungen, 1 fehlgeschlagen" (counts of 0 left out, except
    // "entfernt"), then "<name>: <reason>" for each item that was not removed. Items skipped only
    // because of the dry run are counted but not listed one by one. Nothing for an empty report.
    std::vector<std::string> reconciliation() const;
    // "Im Papierkorb: 1,2 GB – frei wird der Platz erst, …" when anything went to the Trash.
    std::optional<std::string> trashedText() const;
    // "Freier Speicher vorher: 10,5 GB, nachher: 12,7 GB" when both were read.
    std::optional<std::string> freeSpaceText() const;
    // One calm sentence when the measured change of free space and the freed bytes differ by more
    // than noticeableDifference and by more than a fifth of the larger of the two; nothing otherwise
    // and in a dry run.
    std::optional<std::string> freeSpaceNote() const;
    static constexpr std::int64_t noticeableDifference = 100'000'000;

    // The run as the journal keeps it and `clean --json` prints it.
    JournalRun journalRun(std::string runID, std::chrono::system_clock::time_point time) const;
};

// "13 ausgewählt: 11 entfernt, 1 übersprungen, 1 fehlgeschlagen": counts of 0 left out, except
// "entfernt" (the participles read the same for one item and for many).
std::string countsText(const JournalCounts& counts);
// "trash", "delete", "tool", "admin", "hint".
std::string_view methodName(RemovalKind kind);
// "removed", "skipped", "failed", "cancelled".
std::string_view outcomeName(const ItemOutcome& outcome);

} // namespace velmora
