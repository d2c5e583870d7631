#include "Removal/RemovalReport.hpp"

#include "Findings/ByteFormat.hpp"
#include "Removal/Remover.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

namespace velmora {

namespace {

std::string nameOf(const RemovalReport& report, std::size_t index) {
    const auto& result = report.results[index];
    if (index < report.details.size() && !report.details[index].name.empty())
        return report.details[index].name;
    return result.itemID;
}

// Why an item did not go, as the reconciliation lists it.
std::string whyNot(const ItemOutcome& outcome) {
    return outcome.isCancelled() ? std::string(RemovalText::cancelled) : outcome.reason().value_or("");
}

bool skippedForDryRun(const ItemOutcome& outcome) {
    return outcome.isSkipped() && outcome.reason() == RemovalText::dryRun;
}

} // namespace

std::string countsText(const JournalCounts& c) {
    std::string text = fmt::format("{} ausgewählt: {} entfernt", c.selected, c.removed);
    for (const auto& [count, word] :
         {std::pair{c.skipped, "übersprungen"}, std::pair{c.failed, "fehlgeschlagen"},
          std::pair{c.cancelled, "abgebrochen"}})
        if (count > 0)
            text += fmt::format(", {} {}", count, word);
    return text;
}

std::string_view methodName(RemovalKind kind) {
    switch (kind) {
    case RemovalKind::trash:
        return "trash";
    case RemovalKind::delete_:
        return "delete";
    case RemovalKind::tool:
        return "tool";
    case RemovalKind::admin:
        return "admin";
    case RemovalKind::hint:
        return "hint";
    }
    return "hint";
}

std::string_view outcomeName(const ItemOutcome& outcome) {
    if (outcome.isRemoved())
        return "removed";
    if (outcome.isSkipped())
        return "skipped";
    if (outcome.isFailed())
        return "failed";
    return "cancelled";
}

std::string RemovalReport::failureSummary(std::size_t count) {
    if (count == 1)
        return "1 Eintrag konnte nicht entfernt werden.";
    return std::to_string(count) + " Einträge konnten nicht entfernt werden.";
}

std::optional<std::string> RemovalReport::summary() const {
    if (failures.empty())
        return std::nullopt;
    return failureSummary(failures.size());
}

JournalCounts RemovalReport::counts() const {
    JournalCounts counts;
    counts.selected = results.size();
    for (const auto& result : results) {
        const auto& outcome = result.outcome;
        ++(outcome.isRemoved()   ? counts.removed
           : outcome.isSkipped() ? counts.skipped
           : outcome.isFailed()  ? counts.failed
                                 : counts.cancelled);
    }
    return counts;
}

std::vector<std::string> RemovalReport::reconciliation() const {
    if (results.empty())
        return {};
    std::vector<std::string> lines{countsText(counts())};
    for (std::size_t i = 0; i < results.size(); ++i) {
        const auto& outcome = results[i].outcome;
        if (!outcome.isRemoved() && !skippedForDryRun(outcome))
            lines.push_back(nameOf(*this, i) + ": " + whyNot(outcome));
    }
    return lines;
}

std::optional<std::string> RemovalReport::trashedText() const {
    const bool anyTrashed = [&] {
        for (std::size_t i = 0; i < results.size() && i < details.size(); ++i)
            if (details[i].method == RemovalKind::trash && results[i].outcome.isRemoved())
                return true;
        return false;
    }();
    if (trashedBytes <= 0 && !anyTrashed)
        return std::nullopt;
    return "Im Papierkorb: " + ByteFormat::fileSize(trashedBytes) +
           " – frei wird der Platz erst, wenn du den Papierkorb leerst (velmora trash --empty).";
}

std::optional<std::string> RemovalReport::freeSpaceText() const {
    if (!freeBefore || !freeAfter)
        return std::nullopt;
    return "Freier Speicher vorher: " + ByteFormat::fileSize(*freeBefore) +
           ", nachher: " + ByteFormat::fileSize(*freeAfter);
}

std::optional<std::string> RemovalReport::freeSpaceNote() const {
    if (dryRun || !freeBefore || !freeAfter)
        return std::nullopt;
    const std::int64_t measured = *freeAfter - *freeBefore;
    const std::int64_t difference = std::llabs(measured - freedBytes);
    const std::int64_t larger = std::max(std::llabs(measured), std::llabs(freedBytes));
    if (difference <= noticeableDifference || difference * 5 <= larger)
        return std::nullopt;
    const auto change = measured >= 0 ? "um " + ByteFormat::fileSize(measured) + " gewachsen"
                                      : "um " + ByteFormat::fileSize(-measured) + " geschrumpft";
    return "Der freie Speicher ist " + change + ", freigegeben wurden " + ByteFormat::fileSize(freedBytes) +
           " – das kommt vor: Schnappschüsse halten gelöschte Daten fest, löschbaren Speicher gibt das "
           "System erst nach und nach frei, und andere Programme schreiben oder löschen währenddessen.";
}

JournalRun RemovalReport::journalRun(std::string id, std::chrono::system_clock::time_point time) const {
    JournalRun run;
    run.runID = std::move(id);
    run.time = time;
    run.counts = counts();
    run.freedBytes = freedBytes;
    run.trashedBytes = trashedBytes;
    run.freeBefore = freeBefore;
    run.freeAfter = freeAfter;
    for (std::size_t i = 0; i < results.size(); ++i) {
        const auto& result = results[i];
        JournalItem item;
        item.findingID = result.findingID;
        item.itemID = result.itemID;
        item.outcome = std::string(outcomeName(result.outcome));
        if (i < details.size()) {
            item.path = details[i].path;
            item.method = std::string(methodName(details[i].method));
            item.size = details[i].size;
        }
        if (const auto* removed = std::get_if<ItemOutcome::Removed>(&result.outcome.value)) {
            item.reason = removed->note;
            item.size = removed->size ? removed->size : item.size;
            item.trash = removed->trash;
        } else {
            item.reason = whyNot(result.outcome);
        }
        run.items.push_back(std::move(item));
    }
    return run;
}

} // namespace velmora
