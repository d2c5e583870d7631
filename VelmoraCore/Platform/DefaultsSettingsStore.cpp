#include "Platform/DefaultsSettingsStore.hpp"

#include "Platform/CommandFailureText.hpp"
#include "Support/Text.hpp"

namespace velmora {

std::optional<std::string> DefaultsSettingsStore::stringValue(std::string_view key) const {
    const auto result = runner_->run(defaults_, {"read", std::string(domain), std::string(key)}, timeout);
    if (!result || result->exitCode != 0)
        return std::nullopt;
    auto value = result->standardOutput;
    if (value.ends_with('\n'))
        value.pop_back();
    return value;
}

std::optional<bool> DefaultsSettingsStore::boolValue(std::string_view key) const {
    const auto value = stringValue(key);
    if (!value)
        return std::nullopt;
    // A boolean reads as 1 or 0; a string the user wrote by hand counts the way the defaults system
    // reads it as a boolean.
    const auto text = Text::lowercased(*value);
    if (text == "1" || text == "yes" || text == "true")
        return true;
    if (text == "0" || text == "no" || text == "false")
        return false;
    return std::nullopt;
}

std::expected<void, SettingsError> DefaultsSettingsStore::write(std::string_view key, const char* type,
                                                                std::string_view value) {
    const auto result = runner_->run(
        defaults_, {"write", std::string(domain), std::string(key), type, std::string(value)}, timeout);
    if (!result || result->exitCode != 0)
        return std::unexpected(SettingsError{commandFailureText(defaults_, result)});
    return {};
}

std::expected<void, SettingsError> DefaultsSettingsStore::setString(std::string_view key,
                                                                    std::string_view value) {
    return write(key, "-string", value);
}

std::expected<void, SettingsError> DefaultsSettingsStore::setBool(std::string_view key, bool value) {
    return write(key, "-bool", value ? "true" : "false");
}

} // namespace velmora
