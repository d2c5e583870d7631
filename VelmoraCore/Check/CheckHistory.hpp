// The snapshots of past automatic checks in one JSON file (newest first, at most 52). The scheduled
// check and the interactive app may append at nearly the same time from two processes: every append
// holds an exclusive lock on the folder while it reads, merges and replaces the file, so neither loses
// the other's snapshot. Within a process it is an actor (one internal mutex).
#pragma once

#include "Check/CheckSnapshot.hpp"

#include <chrono>
#include <expected>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace velmora {

struct CheckHistoryError {
    enum class Step { createFolder, lock, clearQuarantine, quarantine, write };
    Step step;
    std::error_code code;

    std::string_view message() const { return "Konnte den Verlauf der Checks nicht speichern."; }
    bool operator==(const CheckHistoryError&) const = default;
};

class CheckHistory {
public:
    static constexpr std::size_t maximumEntries = 52;
    // A snapshot dated further ahead of "now" than this was written under a wrong clock: it stays in
    // the file, but it is never taken for the last check, or it would be "the previous check" and
    // "vor 1 Sekunde" until that date.
    static constexpr std::chrono::hours futureTolerance{24};

    explicit CheckHistory(std::filesystem::path fileURL) : fileURL_(std::move(fileURL)) {}
    // <appDataFolder>/history.json
    static std::filesystem::path defaultFile(const std::filesystem::path& appDataFolder);

    const std::filesystem::path& fileURL() const { return fileURL_; }
    // history.json.bad, where an undecodable file is set aside.
    std::filesystem::path quarantineURL() const;

    // Never fails: a missing, unreadable or undecodable file is an empty history (and is left alone).
    std::vector<CheckSnapshot> all() const;
    // The newest snapshot of all() that is not dated beyond now + futureTolerance.
    std::optional<CheckSnapshot> latest(std::chrono::system_clock::time_point now) const;
    // The same choice within a list that is newest first; null when there is none.
    static const CheckSnapshot* latestOf(const std::vector<CheckSnapshot>& newestFirst,
                                         std::chrono::system_clock::time_point now);

    // Adds the snapshot (replacing one with the same date as the file stores it, to the microsecond),
    // keeps the newest 52 and writes the file atomically. A corrupt file is first moved to history.json.bad.
    // On failure the old file stays.
    std::expected<void, CheckHistoryError> append(const CheckSnapshot& snapshot);

    // Decodes a history file's text; nothing when it is not a list of snapshots.
    static std::optional<std::vector<CheckSnapshot>> decode(std::string_view text);
    static std::string encode(const std::vector<CheckSnapshot>& snapshots);

private:
    std::filesystem::path fileURL_;
    mutable std::mutex mutex_;
};

} // namespace velmora
