#include "Removal/RunningAppCheck.hpp"

#include "Removal/Remover.hpp"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace velmora {

namespace {

// Linux keeps TASK_COMM_LEN - 1 bytes of a command's name.
constexpr std::size_t truncatedNameLength = 15;

// Names and identifiers are compared without regard to case: the app row says "Spotify", Linux runs
// "spotify", and a Flatpak's desktop id is "com.spotify.Client".
bool sameText(std::string_view a, std::string_view b) {
    return std::ranges::equal(
        a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

bool sameProcessName(const std::string& wanted, const RunningProcessInfo& process) {
    if (sameText(process.name, wanted))
        return true;
    if (process.name.size() == truncatedNameLength && wanted.size() > truncatedNameLength &&
        sameText(process.name, std::string_view(wanted).substr(0, truncatedNameLength)))
        return true;
    return !process.executable.empty() && sameText(process.executable.filename().string(), wanted);
}

} // namespace

RunningAppCheck RunningAppCheck::take(const RunningAppsSource& source) {
    RunningAppCheck check;
    check.apps_ = source.runningApplications();
    check.processes_ = source.runningProcesses();
    return check;
}

bool RunningAppCheck::nothingToCheck(const Finding& finding, const std::vector<FindingItem>& items) {
    return finding.blockingApps.empty() &&
           std::ranges::none_of(items, [](const FindingItem& item) { return item.blockingApp.has_value(); });
}

bool RunningAppCheck::isRunning(const AppRef& app) const {
    if (app.bundleID && !app.bundleID->empty()) {
        const bool byBundle = std::ranges::any_of(apps_, [&](const RunningAppInfo& running) {
            return running.bundleID && sameText(*running.bundleID, *app.bundleID);
        });
        if (byBundle)
            return true;
    }
    if (!app.processName || app.processName->empty())
        return false;
    // Applications without a bundle identifier are known only by their name.
    const bool byAppName = std::ranges::any_of(apps_, [&](const RunningAppInfo& running) {
        return !running.bundleID && sameText(running.name, *app.processName);
    });
    return byAppName || std::ranges::any_of(processes_, [&](const RunningProcessInfo& process) {
               return sameProcessName(*app.processName, process);
           });
}

std::optional<std::string> RunningAppCheck::blocker(const Finding& finding, const FindingItem* item) const {
    if (item && item->blockingApp && isRunning(*item->blockingApp))
        return runningText(*item->blockingApp);
    for (const auto& app : finding.blockingApps)
        if (isRunning(app))
            return runningText(app);
    return std::nullopt;
}

std::string RunningAppCheck::runningText(const AppRef& app) {
    std::string name = app.displayName;
    if (name.empty())
        name = app.processName.value_or(app.bundleID.value_or("Eine App"));
    return name + std::string(RemovalText::appRunningSuffix);
}

} // namespace velmora
