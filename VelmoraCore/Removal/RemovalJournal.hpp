// The record of past removal runs in removals.json beside the keep list: what each run was asked to
// remove, what became of every item, and where an item moved to the Trash now lies, so that a run can
// be looked up later and its Trash items put back. Newest first, bounded; a corrupt file is set aside
// (removals.json.bad) and recording goes on. Within a process an actor; across processes every change
// holds the folder lock while it reads, merges and replaces the file.
#pragma once

#include "Findings/FindingID.hpp"
#include "Platform/FileIdentity.hpp"
#include "Removal/TrashPlacement.hpp"

#include <nlohmann/json_fwd.hpp>

#include <chrono>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace velmora {

struct JournalCounts {
    std::size_t selected = 0;
    std::size_t removed = 0;
    std::size_t skipped = 0;
    std::size_t failed = 0;
    std::size_t cancelled = 0;

    bool operator==(const JournalCounts&) const = default;
};

// One item of a run, as `clean --json` reports it plus where a Trash item went.
struct JournalItem {
    FindingID findingID;
    std::string itemID;
    std::string path;    // the original path (bytes as they were); empty for items that are no file
    std::string method;  // "trash", "delete", "tool", "admin" or "hint"
    std::string outcome; // "removed", "skipped", "failed" or "cancelled"
    std::optional<std::string> reason;
    std::optional<std::int64_t> size;
    std::optional<TrashPlacement> trash; // only for an item moved to the Trash
    bool restored = false;               // put back by `restore`; never tried again

    bool operator==(const JournalItem&) const = default;
};

struct JournalRun {
    std::string runID; // unique, sortable text (time and a random part)
    std::chrono::system_clock::time_point time;
    JournalCounts counts;
    std::int64_t freedBytes = 0;
    std::int64_t trashedBytes = 0;
    std::optional<std::int64_t> freeBefore;
    std::optional<std::int64_t> freeAfter;
    std::vector<JournalItem> items;

    bool operator==(const JournalRun&) const = default;
};

void to_json(nlohmann::json& j, const TrashPlacement& placement);
void from_json(const nlohmann::json& j, TrashPlacement& placement);
void to_json(nlohmann::json& j, const JournalCounts& counts);
void from_json(const nlohmann::json& j, JournalCounts& counts);
void to_json(nlohmann::json& j, const JournalItem& item);
void from_json(const nlohmann::json& j, JournalItem& item);
void to_json(nlohmann::json& j, const JournalRun& run);
void from_json(const nlohmann::json& j, JournalRun& run);

struct RemovalJournalError {
    enum class Step { createFolder, lock, quarantine, write, unknownRun };
    Step step;
    std::error_code code;

    // German, for the warning shown when a run could not be recorded.
    std::string message() const;
    bool operator==(const RemovalJournalError&) const = default;
};

class RemovalJournal {
public:
    static constexpr std::size_t maximumRuns = 200;

    explicit RemovalJournal(std::filesystem::path file) : file_(std::move(file)) {}
    // <appDataFolder>/removals.json (the folder of keep.json).
    static std::filesystem::path defaultFile(const std::filesystem::path& appDataFolder);

    const std::filesystem::path& file() const { return file_; }
    std::filesystem::path quarantineFile() const; // removals.json.bad

    // Newest first. A missing file is an empty journal; an unreadable or corrupt one too (it is left
    // alone here and set aside by the next change).
    std::vector<JournalRun> runs() const;
    std::optional<JournalRun> run(std::string_view runID) const;

    // Adds the run (replacing one with the same runID), keeps the newest maximumRuns, writes the file
    // atomically with mode 0600.
    std::expected<void, RemovalJournalError> append(const JournalRun& run);
    // Changes one stored run under the lock (e.g. marks items restored); `unknownRun` when it is gone.
    std::expected<void, RemovalJournalError> update(std::string_view runID,
                                                    const std::function<void(JournalRun&)>& change);

    static std::optional<std::vector<JournalRun>> decode(std::string_view text);
    static std::string encode(const std::vector<JournalRun>& runs);
    // A fresh run identifier for `time`: "20261124T101500Z-3f9a1c".
    static std::string makeRunID(std::chrono::system_clock::time_point time);

private:
    std::expected<void, RemovalJournalError>
    change(const std::function<std::expected<void, RemovalJournalError>(std::vector<JournalRun>&)>& edit);

    std::filesystem::path file_;
    mutable std::mutex mutex_;
};

} // namespace velmora
