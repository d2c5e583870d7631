#include "Services/LoginItemReader.hpp"

#include "Support/Log.hpp"
#include "Support/StopToken.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

namespace velmora {

namespace {

constexpr std::string_view sectionStart = "Records for UID ";
constexpr std::string_view switchedOn = "Startet bei jeder Anmeldung.";
constexpr std::string_view switchedOff = "Ist in den Systemeinstellungen ausgeschaltet.";

// "Records for UID 501 : 3A1B…" belongs to 501; "Records for UID 5012" and "… UID -2" do not.
bool isSectionOf(std::string_view line, std::uint32_t uid) {
    const std::string_view rest = line.substr(sectionStart.size());
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    if (error != std::errc() || end == rest.data())
        return false;
    const bool digitFollows = end != rest.data() + rest.size() && *end >= '0' && *end <= '9';
    return !digitFollows && value == uid;
}

// "#1:" opens a record; "#1: 16.com.x" is a line inside one (a list of embedded items).
bool isRecordHeader(std::string_view name, std::string_view value) {
    return value.empty() && name.size() > 1 && name.front() == '#' &&
           std::all_of(name.begin() + 1, name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The disposition is a list of words such as "[enabled, allowed, visible, notified] (0xb)".
bool isSwitchedOn(std::string_view disposition) {
    bool enabled = false;
    bool allowed = false;
    bool refused = false;
    std::size_t start = 0;
    while (start < disposition.size()) {
        const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
        while (start < disposition.size() && !isLetter(disposition[start]))
            ++start;
        auto end = start;
        while (end < disposition.size() && isLetter(disposition[end]))
            ++end;
        const std::string word = Text::lowercased(disposition.substr(start, end - start));
        enabled = enabled || word == "enabled";
        allowed = allowed || word == "allowed";
        refused = refused || word == "disallowed" || word == "disabled";
        start = end;
    }
    return enabled && allowed && !refused;
}

} // namespace

std::string loginItemReadErrorText(LoginItemReadError error) {
    switch (error) {
    case LoginItemReadError::failed:
        return "Die Anmeldeobjekte konnten nicht gelesen werden.";
    case LoginItemReadError::timedOut:
        return "Die Anmeldeobjekte konnten nicht gelesen werden: Zeitüberschreitung nach " +
               std::to_string(LoginItemReader::timeout.count()) + " s";
    case LoginItemReadError::cancelled:
        return "Das Lesen der Anmeldeobjekte wurde abgebrochen.";
    }
    return {};
}

std::optional<std::string> LoginItemReader::Entry::value(const std::string& field) const {
    const auto found = fields.find(field);
    if (found == fields.end())
        return std::nullopt;
    return found->second;
}

std::vector<LoginItemReader::Entry> LoginItemReader::parse(std::string_view dump, std::uint32_t uid) {
    std::vector<Entry> entries;
    Entry current;
    const auto finishRecord = [&] {
        if (!current.fields.empty())
            entries.push_back(std::exchange(current, {}));
    };
    bool inSection = false;
    std::size_t start = 0;
    while (start < dump.size()) {
        const auto end = std::min(dump.find('\n', start), dump.size());
        const std::string_view line = Text::trimmed(dump.substr(start, end - start));
        start = end + 1;
        if (line.starts_with(sectionStart)) {
            finishRecord();
            inSection = isSectionOf(line, uid);
            continue;
        }
        if (!inSection)
            continue;
        const auto colon = line.find(':');
        if (colon == std::string_view::npos || colon == 0) {
            finishRecord();
            continue;
        }
        const std::string_view name = Text::trimmed(line.substr(0, colon));
        const std::string_view value = Text::trimmed(line.substr(colon + 1));
        if (isRecordHeader(name, value)) {
            finishRecord();
            continue;
        }
        if (value.empty() || value == "(null)")
            continue;
        current.fields.try_emplace(std::string(name), std::string(value));
    }
    finishRecord();
    return entries;
}

std::vector<LaunchItem> LoginItemReader::loginItems(const std::vector<Entry>& entries) {
    std::vector<LaunchItem> items;
    for (const auto& entry : entries) {
        const auto type = entry.value("Type");
        if (!type || !type->starts_with("login item"))
            continue;
        const auto bundleID = entry.value("Bundle Identifier");
        auto label = bundleID;
        if (!label)
            label = entry.value("Identifier");
        if (!label)
            label = entry.value("Name");
        if (!label)
            continue;
        const bool on = isSwitchedOn(entry.value("Disposition").value_or(""));
        const std::string id = std::string(rawValue(LaunchScope::loginItem)) + "/" + *label;
        if (auto same = std::ranges::find(items, id, &LaunchItem::id); same != items.end()) {
            if (on)
                same->explanation = switchedOn;
            continue;
        }
        LaunchItem item;
        item.id = id;
        item.label = *label;
        item.scope = LaunchScope::loginItem;
        item.startKind = StartKind::atLogin;
        if (const auto app = bundleID ? bundleID : entry.value("Parent Identifier"))
            item.associatedBundleIDs.push_back(*app);
        item.displayName = entry.value("Name").value_or(readableLabel(*label));
        item.explanation = on ? switchedOn : switchedOff;
        items.push_back(std::move(item));
    }
    return items;
}

std::expected<std::vector<LaunchItem>, LoginItemReadError> LoginItemReader::read(StopToken stop) const {
    if (!runner_)
        return std::unexpected(LoginItemReadError::failed);
    const auto result = runner_->run(sfltool, {"dumpbtm"}, timeout, std::move(stop));
    if (!result) {
        Log::error("services", "sfltool dumpbtm: " + result.error().message);
        switch (result.error().kind) {
        case CommandError::Kind::timeout:
            return std::unexpected(LoginItemReadError::timedOut);
        case CommandError::Kind::cancelled:
            return std::unexpected(LoginItemReadError::cancelled);
        case CommandError::Kind::launchFailed:
            break;
        }
        return std::unexpected(LoginItemReadError::failed);
    }
    if (result->exitCode != 0) {
        Log::error("services", "sfltool dumpbtm: Exit " + std::to_string(result->exitCode));
        return std::unexpected(LoginItemReadError::failed);
    }
    return loginItems(parse(result->standardOutput, uid_));
}

} // namespace velmora
