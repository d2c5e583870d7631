#include "Scanning/Scanners/SimctlOutput.hpp"

#include "Platform/CommandFailureText.hpp"
#include "Scanning/ScanContext.hpp"
#include "Support/IsoDate.hpp"

#include <nlohmann/json.hpp>

#include <cctype>

#include <sys/stat.h>

namespace velmora::simctl {

namespace {

using Json = nlohmann::json;
using namespace std::chrono_literals;

constexpr auto commandTimeout = 60s;

ScanError unreadable(std::string_view command) {
    return ScanError{"Die Ausgabe von „xcrun " + std::string(command) + "“ ist nicht lesbar."};
}

// Nesting is counted before the parser sees the text, so that no input can make it go deep.
bool withinDepth(std::string_view text) {
    std::size_t depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char c : text) {
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++depth > maximumDepth)
                return false;
        } else if ((c == '}' || c == ']') && depth > 0) {
            --depth;
        }
    }
    return true;
}

std::optional<Json> parseBounded(std::string_view text) {
    if (text.size() > maximumOutputBytes || !withinDepth(text))
        return std::nullopt;
    auto json = Json::parse(text, nullptr, false);
    if (json.is_discarded())
        return std::nullopt;
    return json;
}

std::optional<std::string> stringAt(const Json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_string())
        return std::nullopt;
    return it->get<std::string>();
}

std::optional<bool> boolAt(const Json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_boolean())
        return std::nullopt;
    return it->get<bool>();
}

} // namespace

std::expected<Listing, ScanError> parseListing(std::string_view text) {
    const auto json = parseBounded(text);
    if (!json || !json->is_object())
        return std::unexpected(unreadable("simctl list -j"));
    const auto devices = json->find("devices");
    if (devices == json->end() || !devices->is_object())
        return std::unexpected(unreadable("simctl list -j"));

    Listing listing;
    for (const auto& [runtime, entries] : devices->items()) {
        if (!entries.is_array()) {
            listing.usedRuntimes.insert(runtime); // cannot tell: counts as in use
            continue;
        }
        if (!entries.empty())
            listing.usedRuntimes.insert(runtime);
        for (const auto& entry : entries) {
            if (!entry.is_object())
                continue;
            auto udid = stringAt(entry, "udid");
            if (!udid)
                continue;
            Device device;
            device.udid = std::move(*udid);
            device.name = stringAt(entry, "name").value_or(device.udid);
            device.runtime = runtime;
            device.available = boolAt(entry, "isAvailable");
            device.availabilityError = stringAt(entry, "availabilityError").value_or("");
            device.dataPath = stringAt(entry, "dataPath");
            listing.devices.push_back(std::move(device));
        }
    }
    if (const auto runtimes = json->find("runtimes"); runtimes != json->end() && runtimes->is_array()) {
        for (const auto& runtime : *runtimes) {
            if (!runtime.is_object())
                continue;
            const auto identifier = stringAt(runtime, "identifier");
            const auto name = stringAt(runtime, "name");
            if (identifier && name)
                listing.runtimeNames.emplace(*identifier, *name);
        }
    }
    return listing;
}

std::expected<std::vector<RuntimeImage>, ScanError> parseRuntimeImages(std::string_view text) {
    const auto json = parseBounded(text);
    if (!json || !json->is_object())
        return std::unexpected(unreadable("simctl runtime list -j"));
    std::vector<RuntimeImage> images;
    for (const auto& [key, entry] : json->items()) {
        if (!entry.is_object())
            continue;
        RuntimeImage image;
        image.identifier = stringAt(entry, "identifier").value_or(key);
        image.runtimeIdentifier = stringAt(entry, "runtimeIdentifier").value_or("");
        image.version = stringAt(entry, "version").value_or("");
        image.build = stringAt(entry, "build").value_or("");
        image.path = stringAt(entry, "path").value_or("");
        image.deletable = boolAt(entry, "deletable").value_or(false);
        if (const auto size = entry.find("sizeBytes");
            size != entry.end() && size->is_number_integer() && size->get<std::int64_t>() >= 0)
            image.sizeBytes = size->get<std::int64_t>();
        if (const auto used = stringAt(entry, "lastUsedAt"))
            image.lastUsed = parseIsoDate(*used);
        images.push_back(std::move(image));
    }
    return images;
}

std::string runtimeDisplayName(std::string_view runtimeIdentifier) {
    constexpr std::string_view prefix = "com.apple.CoreSimulator.SimRuntime.";
    if (!runtimeIdentifier.starts_with(prefix))
        return std::string(runtimeIdentifier);
    std::string rest(runtimeIdentifier.substr(prefix.size()));
    const auto dash = rest.find('-');
    if (dash == std::string::npos || dash == 0 || dash + 1 == rest.size())
        return rest;
    std::string version = rest.substr(dash + 1);
    for (auto& c : version)
        if (c == '-')
            c = '.';
    return rest.substr(0, dash) + " " + version;
}

bool isUuid(std::string_view text) {
    if (text.size() != 36)
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (c != '-')
                return false;
        } else if (!std::isxdigit(static_cast<unsigned char>(c))) {
            return false;
        }
    }
    return true;
}

std::optional<std::filesystem::path> xcrun(const ScanContext& context) {
    // Only the system's own xcrun: it picks the selected Xcode's simctl.
    const std::filesystem::path path = "/usr/bin/xcrun";
    if (context.layout != PlatformLayout::macOS || !context.tools || !context.tools->fileExists ||
        !context.tools->fileExists(path))
        return std::nullopt;
    return path;
}

bool coreSimulatorIn(const std::filesystem::path& developerFolder) {
    struct stat info {};
    return ::lstat((developerFolder / "CoreSimulator").c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::expected<std::pair<std::int32_t, std::string>, ScanError> run(const ScanContext& context,
                                                                   const std::filesystem::path& xcrun,
                                                                   const std::vector<std::string>& arguments,
                                                                   StopToken stop) {
    if (!context.runner)
        return std::unexpected(ScanError{"Kein Befehlsausführer"});
    auto outcome = context.runner->run(xcrun, arguments, commandTimeout, stop);
    if (!outcome)
        return std::unexpected(ScanError{commandFailureText(xcrun, outcome)});
    return std::pair{outcome->exitCode, std::move(outcome->standardOutput)};
}

} // namespace velmora::simctl
