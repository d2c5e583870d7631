#include "Check/CheckHistory.hpp"

#include "Support/AtomicFile.hpp"
#include "Support/FolderLock.hpp"
#include "Support/PrettyJson.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace velmora {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t maximumFileSize = 64 * 1024 * 1024;

enum class Read { missing, unreadable, ok };

Read readText(const fs::path& file, std::string& text) {
    std::error_code ec;
    if (!fs::exists(fs::symlink_status(file, ec)))
        return Read::missing;
    if (fs::file_size(file, ec) > maximumFileSize || ec)
        return Read::unreadable;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        return Read::unreadable;
    std::ostringstream buffer;
    buffer << stream.rdbuf();
    if (stream.bad())
        return Read::unreadable;
    text = buffer.str();
    return Read::ok;
}

void sortNewestFirst(std::vector<CheckSnapshot>& snapshots) {
    std::ranges::stable_sort(snapshots, [](const auto& a, const auto& b) { return a.date > b.date; });
}

} // namespace

fs::path CheckHistory::defaultFile(const fs::path& appDataFolder) {
    return appDataFolder / "history.json";
}

fs::path CheckHistory::quarantineURL() const {
    auto bad = fileURL_;
    bad += ".bad";
    return bad;
}

std::optional<std::vector<CheckSnapshot>> CheckHistory::decode(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded() || !json.is_array())
        return std::nullopt;
    try {
        auto snapshots = json.get<std::vector<CheckSnapshot>>();
        sortNewestFirst(snapshots);
        return snapshots;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::string CheckHistory::encode(const std::vector<CheckSnapshot>& snapshots) {
    return prettyJSON(snapshots);
}

std::vector<CheckSnapshot> CheckHistory::all() const {
    std::lock_guard lock(mutex_);
    std::string text;
    if (readText(fileURL_, text) != Read::ok)
        return {};
    return decode(text).value_or(std::vector<CheckSnapshot>{});
}

const CheckSnapshot* CheckHistory::latestOf(const std::vector<CheckSnapshot>& newestFirst,
                                            std::chrono::system_clock::time_point now) {
    for (const auto& snapshot : newestFirst)
        if (snapshot.date <= now + futureTolerance)
            return &snapshot;
    return nullptr;
}

std::optional<CheckSnapshot> CheckHistory::latest(std::chrono::system_clock::time_point now) const {
    const auto snapshots = all();
    if (const auto* newest = latestOf(snapshots, now))
        return *newest;
    return std::nullopt;
}

std::expected<void, CheckHistoryError> CheckHistory::append(const CheckSnapshot& snapshot) {
    std::lock_guard lock(mutex_);
    const auto folder = fileURL_.parent_path();
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec)
        return std::unexpected(CheckHistoryError{CheckHistoryError::Step::createFolder, ec});
    const FolderLock folderLock(folder);
    if (folderLock.error() != 0)
        return std::unexpected(CheckHistoryError{
            CheckHistoryError::Step::lock, std::error_code(folderLock.error(), std::generic_category())});

    std::vector<CheckSnapshot> snapshots;
    std::string text;
    const auto read = readText(fileURL_, text);
    std::optional<std::vector<CheckSnapshot>> decoded;
    if (read == Read::ok)
        decoded = decode(text);
    if (read != Read::missing && !decoded) {
        // Set the corrupt file aside once, so that nothing the user had is lost, and start afresh.
        const auto bad = quarantineURL();
        fs::remove(bad, ec);
        if (ec)
            return std::unexpected(CheckHistoryError{CheckHistoryError::Step::clearQuarantine, ec});
        fs::rename(fileURL_, bad, ec);
        if (ec)
            return std::unexpected(CheckHistoryError{CheckHistoryError::Step::quarantine, ec});
    } else if (decoded) {
        snapshots = std::move(*decoded);
    }

    // Dates are compared as the file holds them (microseconds), so that a snapshot replaces the one it
    // equals once read back, whatever finer part its clock gave it.
    auto stored = snapshot;
    stored.date = fromReferenceDateSeconds(referenceDateSeconds(snapshot.date));
    std::erase_if(snapshots, [&](const CheckSnapshot& s) { return s.date == stored.date; });
    snapshots.push_back(std::move(stored));
    sortNewestFirst(snapshots);
    if (snapshots.size() > maximumEntries)
        snapshots.resize(maximumEntries);

    if (auto written = writeFileAtomically(fileURL_, encode(snapshots)); !written)
        return std::unexpected(CheckHistoryError{CheckHistoryError::Step::write, written.error().code});
    return {};
}

} // namespace velmora
