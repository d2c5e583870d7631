#include "Scanning/Scanners/SoftwareUpdatesScanner.hpp"

#include "Findings/ByteFormat.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/PersonalFinding.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"

#include <array>
#include <utility>

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr personal::Texts texts{
    "system.softwareUpdates", "Ausstehende Softwareupdates",
    "Updates, die macOS für diesen Mac bereithält. Installiere sie in den Systemeinstellungen unter "
    "„Softwareupdate“ – danach räumt macOS die heruntergeladenen Dateien selbst weg.",
    Risk::hintOnly};

constexpr std::string_view softwareupdate = "/usr/sbin/softwareupdate";
// It asks Apple's servers, which can take a while; the scan gives each scanner 45 s.
constexpr auto timeout = 40s;
constexpr std::size_t maximumUpdates = 1000;

const RemovalMethod openSettings = RemovalMethod::hint(
    HintAction{HintAction::OpenURL{"x-apple.systempreferences:com.apple.preferences.softwareupdate"}});

// "868648KiB" (macOS 13) or "868648K" (older systems): binary units.
std::optional<std::int64_t> downloadBytes(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, std::int64_t>, 7> units{{{"KiB", 1LL << 10},
                                                                                     {"K", 1LL << 10},
                                                                                     {"MiB", 1LL << 20},
                                                                                     {"M", 1LL << 20},
                                                                                     {"GiB", 1LL << 30},
                                                                                     {"G", 1LL << 30},
                                                                                     {"B", 1}}};
    std::size_t digits = 0;
    std::int64_t value = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
        if (digits == 12)
            return std::nullopt; // beyond any real download
        value = value * 10 + (text[digits++] - '0');
    }
    if (digits == 0)
        return std::nullopt;
    for (const auto& [unit, factor] : units)
        if (text.substr(digits) == unit)
            return value * factor;
    return std::nullopt;
}

// "Title: macOS Ventura 13.3.1, Version: 13.3.1, Size: 868648KiB, Recommended: YES, Action: restart,"
// A title may itself hold ", "; only the known keys start a new field.
void readTitleLine(std::string_view line, SoftwareUpdatesScanner::Update& update) {
    line.remove_prefix(std::string_view("Title: ").size());
    std::string title;
    while (!line.empty()) {
        const auto end = std::min(line.find(", "), line.size());
        auto part = line.substr(0, end);
        line.remove_prefix(std::min(end + 2, line.size()));
        if (line.empty() && part.ends_with(','))
            part.remove_suffix(1);
        if (part.starts_with("Version: "))
            update.version = std::string(part.substr(9));
        else if (part.starts_with("Size: "))
            update.bytes = downloadBytes(part.substr(6));
        else if (part.starts_with("Action: "))
            update.restart = part.substr(8) == "restart";
        else if (!part.starts_with("Recommended: "))
            title += (title.empty() ? "" : ", ") + std::string(part);
    }
    if (!title.empty())
        update.title = std::move(title);
}

} // namespace

std::optional<std::vector<SoftwareUpdatesScanner::Update>>
SoftwareUpdatesScanner::updates(std::string_view output) {
    std::vector<Update> result;
    bool recognised = false;
    for (const auto raw : toolscan::lines(output)) {
        const auto line = toolscan::trimmed(raw);
        if (line == "Software Update Tool" || line == "Finding available software" ||
            line == "No new software available.")
            recognised = true;
        else if (line.starts_with("* Label: ") && line.size() > 9) {
            if (result.size() == maximumUpdates)
                return std::nullopt;
            const auto label = std::string(line.substr(9));
            result.push_back(Update{label, label, std::nullopt, std::nullopt, false});
        } else if (line.starts_with("Title: ")) {
            if (result.empty())
                return std::nullopt; // a title that belongs to no update
            readTitleLine(line, result.back());
        }
    }
    if (!recognised)
        return std::nullopt;
    return result;
}

std::expected<std::vector<Finding>, ScanError> SoftwareUpdatesScanner::scan(const ScanContext& context,
                                                                            StopToken stop) {
    if (context.layout != PlatformLayout::macOS || !context.runner || !context.tools ||
        !context.tools->fileExists || !context.tools->fileExists(std::string(softwareupdate)))
        return std::vector<Finding>{};
    auto ran = context.runner->run(std::string(softwareupdate), {"--list"}, timeout, stop);
    if (!ran) {
        if (ran.error().kind == CommandError::Kind::cancelled)
            return std::unexpected(ScanError{"Abgebrochen"});
        if (ran.error().kind == CommandError::Kind::timeout)
            return std::unexpected(ScanError{"softwareupdate hat nicht rechtzeitig geantwortet (nach " +
                                             std::to_string(timeout.count()) + " s abgebrochen)."});
        return std::unexpected(ScanError{"softwareupdate ließ sich nicht starten: " + ran.error().message});
    }
    if (ran->exitCode != 0)
        return std::unexpected(ScanError{"softwareupdate: Exit " + std::to_string(ran->exitCode)});
    // "No new software available." goes to standard error, the list to standard output.
    const auto found = updates(ran->standardOutput + "\n" + ran->standardError);
    if (!found)
        return std::unexpected(toolscan::unreadable("softwareupdate --list"));
    if (found->empty())
        return std::vector<Finding>{};
    std::vector<FindingItem> items;
    for (const auto& update : *found) {
        FindingItem item;
        item.id = update.label;
        item.name = update.title;
        // The download is not on this disk yet, or not all of it: it is told, not counted.
        std::string detail;
        const auto add = [&](const std::string& part) { detail += (detail.empty() ? "" : " · ") + part; };
        if (update.version)
            add("Version " + *update.version);
        if (update.bytes)
            add("Download " + ByteFormat::fileSize(*update.bytes));
        if (update.restart)
            add("Neustart nötig");
        if (!detail.empty())
            item.detail = std::move(detail);
        items.push_back(std::move(item));
    }
    auto finding = personal::finding(texts, openSettings, std::move(items));
    finding.size.reset();
    return std::vector<Finding>{std::move(finding)};
}

} // namespace velmora
