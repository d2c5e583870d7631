#include "Platform/JsonSettingsStore.hpp"

#include "Support/AtomicFile.hpp"
#include "Support/PrettyJson.hpp"

#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

namespace velmora {

namespace fs = std::filesystem;

namespace {

// A settings file holds a handful of keys; anything far larger is not one.
constexpr std::uintmax_t maximumFileSize = 1024 * 1024;

enum class FileState { missing, settings, foreign };

// The file's object; `foreign` when something is there that is not a readable JSON object.
FileState readSettings(const fs::path& file, nlohmann::json& object) {
    std::error_code ec;
    const auto status = fs::symlink_status(file, ec);
    if (status.type() == fs::file_type::not_found)
        return FileState::missing;
    const auto size = fs::file_size(file, ec);
    if (ec || size > maximumFileSize)
        return FileState::foreign;
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    if (!stream || stream.bad())
        return FileState::foreign;
    // An empty file holds nothing worth setting aside.
    if (text.str().find_first_not_of(" \t\r\n") == std::string::npos)
        return FileState::missing;
    object = nlohmann::json::parse(text.str(), nullptr, false);
    return object.is_object() ? FileState::settings : FileState::foreign;
}

} // namespace

fs::path JsonSettingsStore::defaultFile(const fs::path& configFolder) {
    return configFolder / "velmora2" / "settings.json";
}

fs::path JsonSettingsStore::quarantineFile() const {
    auto bad = file_;
    bad += ".bad";
    return bad;
}

std::optional<std::string> JsonSettingsStore::stringValue(std::string_view key) const {
    std::lock_guard lock(mutex_);
    nlohmann::json object;
    if (readSettings(file_, object) != FileState::settings)
        return std::nullopt;
    const auto it = object.find(key);
    if (it == object.end() || !it->is_string())
        return std::nullopt;
    return it->get<std::string>();
}

std::optional<bool> JsonSettingsStore::boolValue(std::string_view key) const {
    std::lock_guard lock(mutex_);
    nlohmann::json object;
    if (readSettings(file_, object) != FileState::settings)
        return std::nullopt;
    const auto it = object.find(key);
    if (it == object.end())
        return std::nullopt;
    if (it->is_boolean())
        return it->get<bool>();
    // A number written by hand reads the way the macOS defaults read one: anything but 0 is on.
    if (it->is_number_integer())
        return it->get<std::int64_t>() != 0;
    return std::nullopt;
}

template <typename Value>
std::expected<void, SettingsError> JsonSettingsStore::set(std::string_view key, Value value) {
    std::lock_guard lock(mutex_);
    nlohmann::json object;
    if (readSettings(file_, object) == FileState::foreign) {
        // Whatever the user had there stays next to it rather than being overwritten.
        std::error_code ec;
        fs::rename(file_, quarantineFile(), ec);
        if (ec)
            return std::unexpected(SettingsError{file_.string() + ": " + ec.message()});
        object = nlohmann::json::object();
    } else if (!object.is_object()) {
        object = nlohmann::json::object();
    }
    object[std::string(key)] = value;
    if (auto written = writeFileAtomically(file_, prettyJSON(object)); !written)
        return std::unexpected(SettingsError{file_.string() + ": " + written.error().code.message()});
    return {};
}

std::expected<void, SettingsError> JsonSettingsStore::setString(std::string_view key,
                                                                std::string_view value) {
    return set(key, std::string(value));
}

std::expected<void, SettingsError> JsonSettingsStore::setBool(std::string_view key, bool value) {
    return set(key, value);
}

} // namespace velmora
