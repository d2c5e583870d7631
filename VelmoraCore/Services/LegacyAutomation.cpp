#include "Services/LegacyAutomation.hpp"

#include "Findings/Finding.hpp"
#include "Removal/RemovalPlan.hpp"
#include "Services/LaunchItemScanner.hpp"
#include "Services/LaunchdService.hpp"
#include "Support/Log.hpp"
#include "Support/PropertyList.hpp"

#include <algorithm>
#include <array>
#include <sys/stat.h>

namespace velmora {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view legacyTitle = "Alte Automatik";
constexpr std::string_view legacySummary =
    "Der monatliche Aufräum-Agent einer früheren Version: er wird gestoppt, seine Startdatei, sein "
    "Skript und seine Protokolle kommen in den Papierkorb.";
// The shells an agent may hand the script to; anything else is not the old automation.
constexpr std::array<std::string_view, 4> shells{"/bin/sh", "/bin/bash", "/bin/zsh", "/bin/dash"};

std::string asciiLower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : static_cast<char>(c);
    });
    return lower;
}

// An absolute path without control characters, empty, "." or ".." components: the only kind of path
// taken from a start file, so that what is removed is exactly what the file names.
bool isCleanPath(std::string_view path) {
    if (!path.starts_with('/') || path.size() < 2 || path.ends_with('/'))
        return false;
    if (std::ranges::any_of(path, [](unsigned char c) { return c < 0x20 || c == 0x7F; }))
        return false;
    for (const auto& part : fs::path(path).relative_path())
        if (part.empty() || part == "." || part == "..")
            return false;
    return path.find("//") == std::string_view::npos;
}

bool isRegularFile(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::optional<std::string> scriptOf(const std::vector<std::string>& words) {
    if (words.empty())
        return std::nullopt;
    const auto named = [](const std::string& word) {
        return fs::path(word).filename() == LegacyAutomation::scriptName;
    };
    if (named(words[0]))
        return words[0];
    if (words.size() >= 2 && std::ranges::find(shells, words[0]) != shells.end() && named(words[1]))
        return words[1];
    return std::nullopt;
}

std::vector<std::string> programWords(plist_t dict) {
    if (auto arguments = plistStringArray(dict, "ProgramArguments"); arguments && !arguments->empty())
        return *arguments;
    if (auto program = plistString(dict, "Program"))
        return {*program};
    return {};
}

FindingItem fileItem(const fs::path& path) {
    FindingItem item;
    item.id = path.string();
    item.url = path;
    item.name = path.filename().string();
    struct stat st {};
    if (::lstat(path.c_str(), &st) == 0)
        item.size = static_cast<std::int64_t>(st.st_blocks) * 512;
    return item;
}

std::vector<fs::path> filesOf(const LegacyItem& item) {
    std::vector<fs::path> files{item.plist};
    if (!item.script.empty())
        files.push_back(item.script);
    for (const auto& log : item.logs)
        if (std::ranges::find(files, log) == files.end())
            files.push_back(log);
    return files;
}

} // namespace

LegacyAutomation::LegacyAutomation(Setup setup, RemovalRunner removal)
    : setup_(std::move(setup)), removal_(std::move(removal)) {}

std::vector<LegacyItem> LegacyAutomation::find() const {
    std::vector<LegacyItem> items;
    if (setup_.layout != PlatformLayout::macOS)
        return items;
    const auto folder = setup_.home / "Library" / "LaunchAgents";
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    std::ranges::sort(names);
    const auto real = [&](const std::string& logical) {
        return setup_.rootPrefix / fs::path(logical).relative_path();
    };

    for (const auto& name : names) {
        const auto file = folder / name;
        if (!asciiLower(name).ends_with(".plist") || !isRegularFile(file))
            continue;
        const auto plist = readPropertyList(file);
        if (!plist || plist_get_node_type(plist.get()) != PLIST_DICT)
            continue;
        const auto label = plistString(plist.get(), "Label");
        if (!label || !LaunchItemScanner::isValidLabel(*label))
            continue;
        const auto lower = asciiLower(*label);
        if (!lower.starts_with(labelPrefix) || lower.starts_with(currentLabelPrefix))
            continue;
        const auto script = scriptOf(programWords(plist.get()));
        if (!script || !isCleanPath(*script))
            continue;

        LegacyItem item;
        item.label = *label;
        item.plist = file;
        // A script already gone leaves the agent to be removed all the same.
        if (isRegularFile(real(*script)))
            item.script = real(*script);
        for (const char* key : {"StandardOutPath", "StandardErrorPath"}) {
            const auto log = plistString(plist.get(), key);
            if (!log || !isCleanPath(*log) || !isRegularFile(real(*log)))
                continue;
            if (std::ranges::find(item.logs, real(*log)) == item.logs.end())
                item.logs.push_back(real(*log));
        }
        items.push_back(std::move(item));
    }
    return items;
}

RemovalReport LegacyAutomation::remove(const std::vector<LegacyItem>& items, bool dryRun,
                                       const std::function<void(const std::string&)>& progress,
                                       StopToken stop) const {
    RemovalReport report;
    std::vector<FindingSelection> selections;
    for (const auto& item : items) {
        Finding finding;
        finding.id = FindingID{std::string(findingScannerID), item.label};
        finding.category = Category::services;
        finding.title = legacyTitle;
        finding.summary = legacySummary;
        finding.method = RemovalMethod::trash();
        finding.itemsSelectable = false;
        for (const auto& path : filesOf(item))
            finding.items.push_back(fileItem(path));

        bool stopped = dryRun;
        if (!dryRun && setup_.commands && LaunchItemScanner::isValidLabel(item.label)) {
            const auto target = "gui/" + std::to_string(setup_.uid) + "/" + item.label;
            const auto result = setup_.commands->run(LaunchdService::launchctl, {"bootout", target},
                                                     LaunchdService::timeout, stop);
            // 3 and 113: launchd has no such service loaded, which is as stopped as it gets.
            stopped = result && (result->exitCode == 0 || result->exitCode == 3 || result->exitCode == 113);
        }
        if (!stopped) {
            Log::error("legacy", "could not stop " + item.label);
            for (const auto& file : finding.items) {
                report.results.push_back(
                    ItemResult{finding.id, file.id, ItemOutcome::failed(std::string(stopFailedText))});
                report.failures.push_back(file.name + ": " + std::string(stopFailedText));
            }
            continue;
        }
        auto chosen = finding.items;
        selections.push_back(FindingSelection{std::move(finding), std::move(chosen)});
    }
    if (selections.empty())
        return report;
    const auto plan = RemovalPlan::build(selections, RemovalOptions{false, false, dryRun});
    auto moved =
        removal_.run(plan, progress ? RemovalRunner::Progress(progress) : RemovalRunner::Progress(), stop);
    std::ranges::move(moved.results, std::back_inserter(report.results));
    std::ranges::move(moved.failures, std::back_inserter(report.failures));
    report.freedBytes += moved.freedBytes;
    report.trashedBytes += moved.trashedBytes;
    return report;
}

} // namespace velmora
