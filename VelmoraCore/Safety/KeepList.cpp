#include "Safety/KeepList.hpp"

#include "Support/AtomicFile.hpp"
#include "Support/FolderLock.hpp"
#include "Support/PrettyJson.hpp"
#include "Support/Text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <vector>

namespace velmora {

namespace {

// A keep list holds a few hundred ids; a file far larger than this is not one.
constexpr std::size_t maximumFileSize = 16 * 1024 * 1024;

enum class FileState { missing, blank, readable, unreadable };

FileState readFile(const std::filesystem::path& file, std::string& text) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found)
        return FileState::missing;
    std::ifstream stream(file, std::ios::binary);
    if (error || !stream)
        return FileState::unreadable;
    text.assign(maximumFileSize + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (stream.bad())
        return FileState::unreadable;
    const auto length = static_cast<std::size_t>(stream.gcount());
    text.resize(length);
    if (length > maximumFileSize)
        return FileState::unreadable;
    if (text.find_first_not_of(" \t\r\n") == std::string::npos)
        return FileState::blank;
    return FileState::readable;
}

} // namespace

KeepList::KeepList(std::filesystem::path fileURL) : fileURL_(std::move(fileURL)) {
    auto contents = read(fileURL_);
    ids_ = std::move(contents.ids);
    preserveBeforeSaving_ = contents.damaged;
}

KeepList::Contents KeepList::read(const std::filesystem::path& file) {
    std::string text;
    switch (readFile(file, text)) {
    case FileState::missing:
    case FileState::blank:
        return {};
    case FileState::unreadable:
        return {{}, true};
    case FileState::readable:
        if (auto decoded = decode(text))
            return {std::move(*decoded), false};
        return {{}, true};
    }
    return {{}, true};
}

bool KeepList::isDamaged() const {
    std::lock_guard lock(mutex_);
    return preserveBeforeSaving_;
}

std::filesystem::path KeepList::badCopyURL() const {
    auto bad = fileURL_;
    bad += ".bad";
    return bad;
}

std::expected<void, KeepListError> KeepList::copyToBad() const {
    std::error_code error;
    std::filesystem::copy_file(fileURL_, badCopyURL(), std::filesystem::copy_options::overwrite_existing,
                               error);
    if (error)
        return std::unexpected(KeepListError{KeepListError::Kind::preserveUnreadable, error});
    return {};
}

std::filesystem::path KeepList::defaultFile(const std::filesystem::path& appDataFolder) {
    return appDataFolder / "keep.json";
}

KeepList::IDs KeepList::ids() const {
    std::lock_guard lock(mutex_);
    return ids_;
}

bool KeepList::contains(const FindingID& id) const {
    std::lock_guard lock(mutex_);
    return ids_.contains(id);
}

std::expected<void, KeepListError> KeepList::add(const FindingID& id) {
    if (!Text::isValidUTF8(id.scannerID) || !Text::isValidUTF8(id.key))
        return std::unexpected(KeepListError{KeepListError::Kind::invalidText, {}});
    return change([&](IDs& ids) { ids.insert(id); });
}

std::expected<void, KeepListError> KeepList::remove(const FindingID& id) {
    return change([&](IDs& ids) { ids.erase(id); });
}

std::expected<void, KeepListError> KeepList::change(const std::function<void(IDs&)>& edit) {
    std::lock_guard lock(mutex_);
    std::error_code error;
    const auto folder = fileURL_.parent_path();
    std::filesystem::create_directories(folder, error);
    if (error)
        return std::unexpected(KeepListError{KeepListError::Kind::write, error});
    // Start from the file as it is now, not as it was loaded: a mark made meanwhile by another
    // window or command must survive this save.
    const FolderLock folderLock(folder);
    if (folderLock.error() != 0)
        return std::unexpected(KeepListError{KeepListError::Kind::write,
                                             std::error_code(folderLock.error(), std::generic_category())});
    auto current = read(fileURL_);
    if (current.damaged)
        preserveBeforeSaving_ = true;
    auto changed = current.damaged ? ids_ : std::move(current.ids);
    edit(changed);
    auto saved = save(changed);
    if (saved)
        ids_ = std::move(changed);
    return saved;
}

std::expected<void, KeepListError> KeepList::save(const IDs& ids) {
    if (preserveBeforeSaving_) {
        if (auto copied = copyToBad(); !copied && copied.error().code != std::errc::no_such_file_or_directory)
            return copied;
    }
    if (auto written = writeFileAtomically(fileURL_, encode(ids)); !written)
        return std::unexpected(KeepListError{KeepListError::Kind::write, written.error().code});
    preserveBeforeSaving_ = false;
    return {};
}

std::string KeepList::encode(const IDs& ids) {
    std::vector<const FindingID*> sorted;
    sorted.reserve(ids.size());
    for (const auto& id : ids)
        sorted.push_back(&id);
    std::sort(sorted.begin(), sorted.end(), [](const FindingID* a, const FindingID* b) {
        return a->scannerID != b->scannerID ? a->scannerID < b->scannerID : a->key < b->key;
    });
    nlohmann::json array = nlohmann::json::array();
    for (const auto* id : sorted)
        array.push_back(*id);
    return prettyJSON(array);
}

std::optional<KeepList::IDs> KeepList::decode(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded() || !json.is_array())
        return std::nullopt;
    IDs ids;
    for (const auto& element : json) {
        if (!element.is_object())
            return std::nullopt;
        const auto scannerID = element.find("scannerID");
        const auto key = element.find("key");
        if (scannerID == element.end() || key == element.end() || !scannerID->is_string() ||
            !key->is_string())
            return std::nullopt;
        ids.insert(FindingID{scannerID->get<std::string>(), key->get<std::string>()});
    }
    return ids;
}

} // namespace velmora
