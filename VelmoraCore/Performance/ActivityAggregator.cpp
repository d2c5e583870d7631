#include "Performance/ActivityAggregator.hpp"

#include "Support/Text.hpp"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

namespace velmora {

namespace {

struct Group {
    ActivityEntry entry;
    bool app = false;
    bool mainRuns = false; // macOS: the bundle's own program (Contents/MacOS/…) is among the processes
    bool allSystem = true;
    bool allOwn = true;
    bool hasOwnPid = false;
};

struct Membership {
    std::string key;
    std::string name;
    bool app = false;
    bool main = false;
};

bool endsWithApp(const std::string& name) {
    return name.size() > 4 && Text::lowercased(name.substr(name.size() - 4)) == ".app";
}

// The Data volume's firmlink view of the same folders.
std::string withoutDataVolume(const std::string& path) {
    constexpr std::string_view data = "/System/Volumes/Data/";
    return path.starts_with(data) ? path.substr(data.size() - 1) : path;
}

bool isMacSystemPath(const std::string& path) {
    if (path.starts_with("/System/Applications/"))
        return false;
    if (path.starts_with("/usr/local/"))
        return false;
    static constexpr std::array<std::string_view, 6> systemFolders{
        "/System/", "/usr/", "/bin/", "/sbin/", "/Library/Apple/", "/private/"};
    return std::any_of(systemFolders.begin(), systemFolders.end(),
                       [&](std::string_view folder) { return path.starts_with(folder); });
}

std::string programName(const ProcessSample& process) {
    const std::string file = process.executable.filename().string();
    return Text::repairUTF8(file.empty() ? process.name : file);
}

Membership macMembership(const ProcessSample& process, const std::string& path) {
    // The outermost bundle: helpers nest further bundles inside Contents/Frameworks and the like.
    std::filesystem::path bundle;
    std::filesystem::path walked;
    std::filesystem::path afterBundle;
    for (const std::filesystem::path& component : std::filesystem::path(path)) {
        walked /= component;
        if (!bundle.empty())
            afterBundle /= component;
        else if (endsWithApp(component.string()))
            bundle = walked;
    }
    if (bundle.empty())
        return {programName(process), programName(process), false, false};
    const std::string bundleName = bundle.filename().string();
    auto parts = afterBundle.begin();
    const bool main = std::distance(afterBundle.begin(), afterBundle.end()) == 3 &&
                      Text::lowercased(parts->string()) == "contents" &&
                      Text::lowercased((++parts)->string()) == "macos";
    return {bundle.string(), Text::repairUTF8(bundleName.substr(0, bundleName.size() - 4)), true, main};
}

} // namespace

std::vector<ActivityEntry> ActivityAggregator::aggregate(const std::vector<ProcessSample>& processes,
                                                         const Setup& setup) {
    const bool mac = setup.layout == PlatformLayout::macOS;
    std::map<std::string, Group> groups;
    std::map<std::string, std::optional<std::string>> desktopNames;
    for (const ProcessSample& process : processes) {
        const std::string path = withoutDataVolume(process.executable.string());
        const bool system =
            process.kernelThread || process.uid < (mac ? 500u : 1000u) || (mac && isMacSystemPath(path));
        Membership member;
        if (process.kernelThread)
            member = {"kernel", "Kernel", false, false};
        else if (mac)
            member = macMembership(process, path);
        else if (!process.appScope.empty()) {
            auto known = desktopNames.find(process.appScope);
            if (known == desktopNames.end())
                known = desktopNames
                            .emplace(process.appScope,
                                     setup.desktopName ? setup.desktopName(process.appScope) : std::nullopt)
                            .first;
            member = {"app:" + process.appScope, known->second.value_or(process.appScope), true, true};
        } else
            member = {programName(process), programName(process), false, false};
        // A lone program run by a system account and by the user are two rows: only the second is
        // the user's to judge.
        if (!member.app && !process.kernelThread)
            member.key = (system ? "system:" : "process:") + member.key;

        Group& group = groups[member.key];
        if (group.entry.id.empty()) {
            group.entry.id = member.key;
            group.entry.name = member.name;
            group.app = member.app;
        }
        group.mainRuns = group.mainRuns || member.main;
        group.entry.cpuPercent += process.cpuPercent;
        group.entry.memory += process.residentBytes;
        group.allSystem = group.allSystem && system;
        group.allOwn = group.allOwn && process.uid == setup.ownUid;
        group.hasOwnPid = group.hasOwnPid || process.pid == setup.ownPid;
    }

    std::vector<ActivityEntry> entries;
    entries.reserve(groups.size());
    for (auto& [key, group] : groups) {
        group.entry.isSystem = group.allSystem;
        group.entry.canQuit =
            group.app && group.mainRuns && !group.allSystem && group.allOwn && !group.hasOwnPid;
        entries.push_back(std::move(group.entry));
    }
    std::sort(entries.begin(), entries.end(), [](const ActivityEntry& a, const ActivityEntry& b) {
        if (a.cpuPercent != b.cpuPercent)
            return a.cpuPercent > b.cpuPercent;
        if (a.memory != b.memory)
            return a.memory > b.memory;
        return a.name != b.name ? a.name < b.name : a.id < b.id;
    });
    return entries;
}

} // namespace velmora
