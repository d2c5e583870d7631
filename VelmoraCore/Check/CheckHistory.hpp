// The snapshots of past automatic checks in one JSON file (newest first, at most 52). The scheduled
// check and the interactive app may append at nearly the same time from two processes: every append
// holds an exclusive lock on the folder while it reads, merges and replaces the file, so neither loses
// the other's snapshot. Within a process it is an actor (one internal mutex).
#pragma once

#include "Check/CheckSnapshot.hpp"

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

    explicit CheckHistory(std::filesystem::path fileURL) : fileURL_(std::move(fileURL)) {}
    // <appDataFolder>/history.json
    static std::filesystem::path defaultFile(const std::filesystem::path& appDataFolder);

    const std::filesystem::path& fileURL() const { return fileURL_; }
    // history.json.bad, where an undecodable file is set aside.
    std::filesystem::path quarantineURL() const;

    // Never fails: a missing, unreadable or undecodable file is an empty history (and is left alone).
    std::vector<CheckSnapshot> all() const;
    std::optional<CheckSnapshot> latest() const;

    // Adds the snapshot (replacing one with exactly the same date), keeps the newest 52 and writes the
    // file atomically. A corrupt file is first moved to history.json.bad. On failure the old file stays.
    std::expected<void, CheckHistoryError> append(const CheckSnapshot& snapshot);

    // Decodes a history file's text; nothing when it is not a list of snapshots.
    static std::optional<std::vector<CheckSnapshot>> decode(std::string_view text);
    static std::string encode(const std::vector<CheckSnapshot>& snapshots);

private:
    std::filesystem::path fileURL_;
    mutable std::mutex mutex_;
};

} // namespace velmora
