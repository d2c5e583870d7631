#include "Removal/RemovalJournal.hpp"

#include "Platform/SmallFile.hpp"
#include "Support/AtomicFile.hpp"
#include "Support/FolderLock.hpp"
#include "Support/IsoDate.hpp"
#include "Support/JsonHelpers.hpp"
#include "Support/PrettyJson.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <random>

namespace velmora {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t maximumFileSize = 64 * 1024 * 1024;
constexpr unsigned userOnly = 0600;

constexpr std::array<std::pair<FileIdentity::Kind, const char*>, 4> kindNames{{
    {FileIdentity::Kind::file, "file"},
    {FileIdentity::Kind::folder, "folder"},
    {FileIdentity::Kind::symlink, "symlink"},
    {FileIdentity::Kind::other, "other"},
}};

void sortNewestFirst(std::vector<JournalRun>& runs) {
    std::ranges::stable_sort(runs, [](const auto& a, const auto& b) {
        return a.time != b.time ? a.time > b.time : a.runID > b.runID;
    });
}

enum class Read { missing, unreadable, ok };

Read readJournal(const fs::path& file, std::string& text) {
    std::error_code ec;
    if (!fs::exists(fs::symlink_status(file, ec)))
        return Read::missing;
    auto read = readSmallFile(file, maximumFileSize);
    if (!read)
        return Read::unreadable;
    text = std::move(*read);
    return Read::ok;
}

} // namespace

void to_json(nlohmann::json& j, const TrashPlacement& placement) {
    const auto& id = placement.identity;
    const auto kind =
        std::ranges::find(kindNames, id.kind, &std::pair<FileIdentity::Kind, const char*>::first);
    j = nlohmann::json{{"entry", placement.entry.string()},
                       {"identity", {{"device", id.device}, {"inode", id.inode}, {"kind", kind->second}}}};
    if (id.birthTime)
        j["identity"]["birthTime"] = *id.birthTime;
    if (placement.info)
        j["info"] = placement.info->string();
}

void from_json(const nlohmann::json& j, TrashPlacement& placement) {
    placement.entry = j.at("entry").get<std::string>();
    std::optional<std::string> info;
    getOptional(j, "info", info);
    placement.info = info ? std::optional<fs::path>(*info) : std::nullopt;
    const auto& id = j.at("identity");
    placement.identity.device = id.at("device").get<std::uint64_t>();
    placement.identity.inode = id.at("inode").get<std::uint64_t>();
    const auto kindName = id.at("kind").get<std::string>();
    const auto kind = std::ranges::find_if(kindNames, [&](const auto& k) { return kindName == k.second; });
    if (kind == kindNames.end())
        throw JsonDecodingError("unknown identity kind");
    placement.identity.kind = kind->first;
    getOptional(id, "birthTime", placement.identity.birthTime);
}

void to_json(nlohmann::json& j, const JournalCounts& c) {
    j = nlohmann::json{{"selected", c.selected},
                       {"removed", c.removed},
                       {"skipped", c.skipped},
                       {"failed", c.failed},
                       {"cancelled", c.cancelled}};
}

void from_json(const nlohmann::json& j, JournalCounts& c) {
    c.selected = j.at("selected").get<std::size_t>();
    c.removed = j.at("removed").get<std::size_t>();
    c.skipped = j.at("skipped").get<std::size_t>();
    c.failed = j.at("failed").get<std::size_t>();
    c.cancelled = j.at("cancelled").get<std::size_t>();
}

void to_json(nlohmann::json& j, const JournalItem& item) {
    j = nlohmann::json{{"findingID", item.findingID},
                       {"itemID", item.itemID},
                       {"path", item.path},
                       {"method", item.method},
                       {"outcome", item.outcome}};
    j["reason"] = item.reason ? nlohmann::json(*item.reason) : nlohmann::json(nullptr);
    j["size"] = item.size ? nlohmann::json(*item.size) : nlohmann::json(nullptr);
    j["trash"] = item.trash ? nlohmann::json(*item.trash) : nlohmann::json(nullptr);
    j["restored"] = item.restored;
}

void from_json(const nlohmann::json& j, JournalItem& item) {
    item.findingID = j.at("findingID").get<FindingID>();
    item.itemID = j.at("itemID").get<std::string>();
    item.path = j.at("path").get<std::string>();
    item.method = j.at("method").get<std::string>();
    item.outcome = j.at("outcome").get<std::string>();
    getOptional(j, "reason", item.reason);
    getOptional(j, "size", item.size);
    getOptional(j, "trash", item.trash);
    item.restored = j.value("restored", false);
}

void to_json(nlohmann::json& j, const JournalRun& run) {
    j = nlohmann::json{{"runID", run.runID},
                       {"time", isoDateText(run.time)},
                       {"counts", run.counts},
                       {"freedBytes", run.freedBytes},
                       {"trashedBytes", run.trashedBytes}};
    j["freeBefore"] = run.freeBefore ? nlohmann::json(*run.freeBefore) : nlohmann::json(nullptr);
    j["freeAfter"] = run.freeAfter ? nlohmann::json(*run.freeAfter) : nlohmann::json(nullptr);
    j["items"] = run.items;
}

void from_json(const nlohmann::json& j, JournalRun& run) {
    run.runID = j.at("runID").get<std::string>();
    const auto time = parseIsoDate(j.at("time").get<std::string>());
    if (!time)
        throw JsonDecodingError("bad time");
    run.time = *time;
    run.counts = j.at("counts").get<JournalCounts>();
    run.freedBytes = j.at("freedBytes").get<std::int64_t>();
    run.trashedBytes = j.at("trashedBytes").get<std::int64_t>();
    getOptional(j, "freeBefore", run.freeBefore);
    getOptional(j, "freeAfter", run.freeAfter);
    run.items = j.at("items").get<std::vector<JournalItem>>();
}

std::string RemovalJournalError::message() const {
    if (step == Step::unknownRun)
        return "Dieser Lauf steht nicht (mehr) im Protokoll der Entfernungen.";
    return "Konnte das Protokoll der Entfernungen nicht speichern.";
}

fs::path RemovalJournal::defaultFile(const fs::path& appDataFolder) {
    return appDataFolder / "removals.json";
}

fs::path RemovalJournal::quarantineFile() const {
    auto bad = file_;
    bad += ".bad";
    return bad;
}

std::optional<std::vector<JournalRun>> RemovalJournal::decode(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded() || !json.is_array())
        return std::nullopt;
    try {
        auto runs = json.get<std::vector<JournalRun>>();
        sortNewestFirst(runs);
        return runs;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::string RemovalJournal::encode(const std::vector<JournalRun>& runs) {
    return prettyJSON(runs);
}

std::string RemovalJournal::makeRunID(std::chrono::system_clock::time_point time) {
    auto stamp = isoDateText(time); // 2026-11-24T10:15:00Z
    std::erase_if(stamp, [](char c) { return c == '-' || c == ':'; });
    std::random_device random;
    return fmt::format("{}-{:06x}", stamp, random() & 0xffffffu);
}

std::vector<JournalRun> RemovalJournal::runs() const {
    std::lock_guard lock(mutex_);
    std::string text;
    if (readJournal(file_, text) != Read::ok)
        return {};
    return decode(text).value_or(std::vector<JournalRun>{});
}

std::optional<JournalRun> RemovalJournal::run(std::string_view runID) const {
    for (auto& run : runs())
        if (run.runID == runID)
            return std::move(run);
    return std::nullopt;
}

std::expected<void, RemovalJournalError> RemovalJournal::change(
    const std::function<std::expected<void, RemovalJournalError>(std::vector<JournalRun>&)>& edit) {
    using Step = RemovalJournalError::Step;
    std::lock_guard lock(mutex_);
    const auto folder = file_.parent_path();
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec)
        return std::unexpected(RemovalJournalError{Step::createFolder, ec});
    const FolderLock folderLock(folder);
    if (folderLock.error() != 0)
        return std::unexpected(
            RemovalJournalError{Step::lock, std::error_code(folderLock.error(), std::generic_category())});

    std::vector<JournalRun> runs;
    std::string text;
    const auto read = readJournal(file_, text);
    std::optional<std::vector<JournalRun>> decoded;
    if (read == Read::ok)
        decoded = decode(text);
    if (read != Read::missing && !decoded) {
        // Keep what the user had for inspection, and go on recording in a fresh file.
        fs::remove(quarantineFile(), ec);
        fs::rename(file_, quarantineFile(), ec);
        if (ec)
            return std::unexpected(RemovalJournalError{Step::quarantine, ec});
    } else if (decoded) {
        runs = std::move(*decoded);
    }
    if (auto edited = edit(runs); !edited)
        return edited;
    sortNewestFirst(runs);
    if (runs.size() > maximumRuns)
        runs.resize(maximumRuns);
    if (auto written = writeFileAtomically(file_, encode(runs), userOnly); !written)
        return std::unexpected(RemovalJournalError{Step::write, written.error().code});
    return {};
}

std::expected<void, RemovalJournalError> RemovalJournal::append(const JournalRun& run) {
    return change([&](std::vector<JournalRun>& runs) -> std::expected<void, RemovalJournalError> {
        std::erase_if(runs, [&](const JournalRun& r) { return r.runID == run.runID; });
        runs.push_back(run);
        return {};
    });
}

std::expected<void, RemovalJournalError>
RemovalJournal::update(std::string_view runID, const std::function<void(JournalRun&)>& edit) {
    return change([&](std::vector<JournalRun>& runs) -> std::expected<void, RemovalJournalError> {
        const auto it = std::ranges::find(runs, runID, &JournalRun::runID);
        if (it == runs.end())
            return std::unexpected(RemovalJournalError{RemovalJournalError::Step::unknownRun, {}});
        edit(*it);
        return {};
    });
}

} // namespace velmora
