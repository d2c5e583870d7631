#include "Scanning/Scanners/LocalSnapshotsScanner.hpp"

#include "Removal/AdminScriptBuilder.hpp"
#include "Removal/AdminStepCheck.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/PersonalFinding.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"
#include "SystemData/LocalSnapshots.hpp"

#include <algorithm>
#include <ctime>

namespace velmora {

namespace {

constexpr personal::Texts texts{
    "system.localSnapshots", "Lokale Schnappschüsse",
    "Time-Machine-Schnappschüsse auf diesem Mac. macOS löscht sie selbst, wenn der Platz knapp wird, "
    "doch bis dahin belegen sie Speicher – wie viel, verrät das System nicht. Deine Backups auf dem "
    "Time-Machine-Laufwerk bleiben erhalten. Das Löschen braucht dein Admin-Passwort.",
    Risk::review};

// Without a snapshot that can be deleted by date, the finding points to Time Machine's settings.
const RemovalMethod timeMachineSettings =
    RemovalMethod::hint(HintAction{HintAction::OpenURL{"x-apple.systempreferences:com.apple.prefs.backup"}});

constexpr std::string_view tmutil = "/usr/bin/tmutil";
constexpr std::string_view prefix = "com.apple.TimeMachine.";
constexpr std::string_view suffix = ".local";

bool digitsAt(std::string_view text, std::size_t from, std::size_t count, int& value) {
    value = 0;
    for (std::size_t i = from; i < from + count; ++i) {
        if (text[i] < '0' || text[i] > '9')
            return false;
        value = value * 10 + (text[i] - '0');
    }
    return true;
}

} // namespace

std::optional<std::string> LocalSnapshotsScanner::dateText(std::string_view name) {
    constexpr std::size_t length = std::string_view("2021-07-23-151043").size();
    if (!name.starts_with(prefix) || !name.ends_with(suffix) ||
        name.size() != prefix.size() + length + suffix.size())
        return std::nullopt;
    auto text = std::string(name.substr(prefix.size(), length));
    if (!date(text))
        return std::nullopt;
    return text;
}

std::optional<std::chrono::system_clock::time_point> LocalSnapshotsScanner::date(std::string_view text) {
    // YYYY-MM-DD-HHMMSS
    if (text.size() != 17 || text[4] != '-' || text[7] != '-' || text[10] != '-')
        return std::nullopt;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!digitsAt(text, 0, 4, year) || !digitsAt(text, 5, 2, month) || !digitsAt(text, 8, 2, day) ||
        !digitsAt(text, 11, 2, hour) || !digitsAt(text, 13, 2, minute) || !digitsAt(text, 15, 2, second))
        return std::nullopt;
    const std::chrono::year_month_day ymd{std::chrono::year{year}, std::chrono::month{unsigned(month)},
                                          std::chrono::day{unsigned(day)}};
    if (!ymd.ok() || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    parts.tm_isdst = -1; // the system knows whether summer time applied then
    const std::time_t moment = std::mktime(&parts);
    if (moment == static_cast<std::time_t>(-1))
        return std::nullopt;
    return std::chrono::system_clock::from_time_t(moment);
}

std::expected<std::vector<Finding>, ScanError> LocalSnapshotsScanner::scan(const ScanContext& context,
                                                                           StopToken stop) {
    if (context.layout != PlatformLayout::macOS || !context.runner || !context.tools ||
        !context.tools->fileExists || !context.tools->fileExists(std::string(tmutil)))
        return std::vector<Finding>{};
    const auto out = toolscan::output(context, std::string(tmutil), {"listlocalsnapshots", "/"},
                                      LocalSnapshots::timeout, "tmutil", stop);
    if (!out)
        return std::unexpected(out.error());
    const auto names = LocalSnapshots::parse(*out);
    // Every line must be a header or a name; anything else means the tool said something we do not
    // understand, and a name guessed from it could lead to deleting the wrong snapshot.
    const auto spoken = std::ranges::count_if(toolscan::lines(*out), [](std::string_view line) {
        return !toolscan::trimmed(line).empty() && !line.ends_with(':');
    });
    if (static_cast<std::size_t>(spoken) != names.size())
        return std::unexpected(toolscan::unreadable("tmutil listlocalsnapshots /"));

    // The dates go through the same allow-list the administrator script applies (no path is involved,
    // so no guard is needed).
    const AdminStepCheck check(SafetyCheck{}, context.layout, context.rootPrefix);
    std::vector<FindingItem> items;
    std::vector<AdminStep> steps;
    for (const auto& name : names) {
        FindingItem item;
        item.id = name;
        item.name = name;
        const auto when = dateText(name);
        if (when) {
            item.date = date(*when);
            AdminStep step{std::string(tmutil), {"deletelocalsnapshots", *when}, name, false};
            if (!check.check(step))
                steps.push_back(std::move(step));
        }
        if (std::ranges::none_of(steps, [&](const AdminStep& s) { return s.itemID == name; }))
            item.detail = "Kein Time-Machine-Schnappschuss – macOS verwaltet ihn selbst.";
        items.push_back(std::move(item));
    }
    if (items.empty())
        return std::vector<Finding>{};
    std::string preview;
    for (const auto& step : steps)
        preview += (preview.empty() ? "" : "\n") + AdminScriptBuilder::commandLine(step);
    const bool deletable = !steps.empty();
    auto finding = personal::finding(
        texts, deletable ? RemovalMethod::admin(std::move(steps)) : timeMachineSettings, std::move(items));
    finding.size.reset(); // the system does not tell how much a snapshot holds
    if (deletable) {
        finding.commandPreview = std::move(preview);
    } else {
        finding.risk = Risk::hintOnly; // nothing here can be deleted by its date
    }
    return std::vector<Finding>{std::move(finding)};
}

} // namespace velmora
