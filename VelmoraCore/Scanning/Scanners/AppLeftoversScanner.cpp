#include "Scanning/Scanners/AppLeftoversScanner.hpp"

#include "Findings/ItemsTotal.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/InstalledApps.hpp"
#include "Support/Text.hpp"
#ifdef __APPLE__
#include "Platform/LaunchServices.hpp"
#endif

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>
#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view macSummary =
    "Einstellungen, Caches und Daten einer App, die nicht mehr installiert ist. Prüfe die Einträge: "
    "installierst du die App später neu, beginnt sie ohne sie von vorn.";
constexpr std::string_view flatpakSummary =
    "Daten und Einstellungen einer Flatpak-App, die nicht mehr installiert ist. Installierst du sie "
    "später neu, beginnt sie ohne sie von vorn.";
constexpr std::string_view snapSummary =
    "Daten und Einstellungen einer Snap-App, die nicht mehr installiert ist. Installierst du sie später "
    "neu, beginnt sie ohne sie von vorn.";

// How an entry of a Library folder is named after its app.
enum class Form { exact, suffix, teamPrefix };

struct Place {
    const char* folder;
    Form form;
    const char* suffix = "";
};

constexpr Place macPlaces[] = {
    {"Application Support", Form::exact},
    {"Caches", Form::exact},
    {"Containers", Form::exact},
    {"Group Containers", Form::teamPrefix},
    {"Preferences", Form::suffix, ".plist"},
    {"Saved Application State", Form::suffix, ".savedState"},
    {"HTTPStorages", Form::exact},
    {"HTTPStorages", Form::suffix, ".binarycookies"},
    {"WebKit", Form::exact},
    {"Logs", Form::exact},
};

std::optional<std::string> identifierOf(const std::string& name, const Place& place) {
    switch (place.form) {
    case Form::exact:
        return appnames::isBundleID(name) ? std::optional(name) : std::nullopt;
    case Form::suffix: {
        const std::string_view suffix = place.suffix;
        if (!name.ends_with(suffix))
            return std::nullopt;
        auto id = name.substr(0, name.size() - suffix.size());
        return appnames::isBundleID(id) ? std::optional(id) : std::nullopt;
    }
    case Form::teamPrefix:
        return appnames::groupContainerID(name);
    }
    return std::nullopt;
}

// Entries named after the identifier alone are folders; those with a suffix may be files.
bool isEntry(const fs::path& path, bool folderOnly = false) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 && (S_ISDIR(st.st_mode) || (S_ISREG(st.st_mode) && !folderOnly));
}

// Only "nothing there" proves an app gone; a place we may not look into could hold it.
enum class Exists { yes, no, unknown };
Exists presenceOf(const fs::path& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) == 0)
        return Exists::yes;
    return errno == ENOENT || errno == ENOTDIR ? Exists::no : Exists::unknown;
}

struct RunningNames {
    std::set<std::string> names; // lower-cased bundle ids and process names
    explicit RunningNames(const ScanContext& context) {
        if (!context.runningApps)
            return;
        for (const auto& app : context.runningApps->runningApplications())
            if (app.bundleID)
                names.insert(Text::lowercased(*app.bundleID));
        for (const auto& process : context.runningApps->runningProcesses())
            names.insert(Text::lowercased(process.name));
    }
    bool has(std::string_view id) const { return names.contains(Text::lowercased(id)); }
    // A running helper "<id>.<part>" is the app still at work.
    bool hasPartOf(std::string_view id) const {
        const auto wanted = Text::lowercased(id);
        return std::ranges::any_of(names, [&](const std::string& name) {
            return name == wanted || (name.starts_with(wanted) && name[wanted.size()] == '.');
        });
    }
};

struct Group {
    std::string id;
    std::vector<FindingItem> items;
};

Finding leftoverFinding(Group group, std::string title, std::string_view summary) {
    Finding finding;
    finding.id = FindingID{"apps.leftovers", group.id};
    finding.category = Category::apps;
    finding.title = std::move(title);
    finding.summary = std::string(summary);
    finding.risk = Risk::review;
    finding.method = RemovalMethod::trash();
    finding.size = itemsTotal(group.items);
    finding.items = std::move(group.items);
    return finding;
}

FindingItem entryItem(const ScanContext& context, const fs::path& entry, const fs::path& base,
                      StopToken stop) {
    FindingItem item;
    item.id = entry.string();
    item.url = entry;
    item.name = Text::repairUTF8(entry.lexically_relative(base).string());
    item.detail = entry.parent_path().string();
    item.size = context.sizer ? context.sizer->size(entry, stop) : 0;
    return item;
}

void addEntry(const ScanContext& context, std::map<std::string, Group>& groups, const std::string& id,
              const fs::path& entry, const fs::path& base, StopToken stop) {
    for (const auto& part : partsOutsideCatalog(context, entry)) {
        if ((context.claims && context.claims->isClaimed(part)) || guardRefuses(context, part))
            continue;
        auto& group = groups[Text::lowercased(id)];
        if (group.id.empty())
            group.id = id;
        group.items.push_back(entryItem(context, part, base, stop));
    }
}

std::vector<std::string> sortedNames(const fs::path& folder) {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    std::ranges::sort(names);
    return names;
}

} // namespace

std::expected<std::vector<Finding>, ScanError> AppLeftoversScanner::scan(const ScanContext& context,
                                                                         StopToken stop) {
    return context.layout == PlatformLayout::macOS ? scanMac(context, stop) : scanLinux(context, stop);
}

std::expected<std::vector<Finding>, ScanError> AppLeftoversScanner::scanMac(const ScanContext& context,
                                                                            StopToken stop) {
    const auto apps = InstalledApps::forScan(context);
    const auto& installed = *apps;
    // An app folder we could not read completely may hold any app: then nothing is proven gone.
    if (!installed.complete)
        return std::vector<Finding>{};
    const RunningNames running(context);
    std::set<std::string> vendors;
    for (const auto& app : installed.apps)
        vendors.insert(appnames::vendor(app.bundleID));
    for (const auto& name : running.names)
        if (appnames::isBundleID(name))
            vendors.insert(appnames::vendor(name));

    const fs::path library = context.home / "Library";
    std::map<std::string, Group> groups;
    for (const auto& place : macPlaces) {
        const fs::path folder = library / place.folder;
        for (const auto& name : sortedNames(folder)) {
            if (stop.stop_requested())
                return std::unexpected(ScanError{"Abgebrochen"});
            const auto id = identifierOf(name, place);
            if (!id || appnames::isApple(*id) || installed.owns(*id) || running.hasPartOf(*id))
                continue;
            // A group is shared by a vendor's apps and named after none of them in particular.
            if (place.form == Form::teamPrefix && vendors.contains(appnames::vendor(*id)))
                continue;
            const fs::path entry = folder / name;
            if (!isEntry(entry, place.form == Form::exact))
                continue;
#ifdef __APPLE__
            if (context.rootPrefix == "/") {
                const auto urls = LaunchServices::applicationURLs(*id);
                if (!urls || !urls->empty())
                    continue;
            }
#endif
            addEntry(context, groups, *id, entry, library, stop);
        }
    }
    std::vector<Finding> findings;
    for (auto& [key, group] : groups) {
        const auto title = Text::repairUTF8(group.id) + " – Reste einer gelöschten App";
        findings.push_back(leftoverFinding(std::move(group), title, macSummary));
    }
    return findings;
}

std::expected<std::vector<Finding>, ScanError> AppLeftoversScanner::scanLinux(const ScanContext& context,
                                                                              StopToken stop) {
    const RunningNames running(context);
    std::vector<Finding> findings;

    // Installations configured elsewhere (installations.d) are not looked into: their apps would seem gone.
    const bool extraInstallations = !sortedNames(context.underRoot("/etc/flatpak/installations.d")).empty();
    const fs::path dataRoot = context.home / ".var/app";
    std::map<std::string, Group> flatpaks;
    for (const auto& id : extraInstallations ? std::vector<std::string>{} : sortedNames(dataRoot)) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        if (!appnames::isBundleID(id) || running.hasPartOf(id))
            continue;
        const Exists user = presenceOf(context.home / ".local/share/flatpak/app" / id);
        const Exists system = presenceOf(context.underRoot("/var/lib/flatpak/app") / id);
        if (user != Exists::no || system != Exists::no)
            continue;
        if (const fs::path entry = dataRoot / id; isEntry(entry))
            addEntry(context, flatpaks, id, entry, dataRoot, stop);
    }
    for (auto& [key, group] : flatpaks) {
        const auto title = Text::repairUTF8(group.id) + " – Reste einer entfernten App";
        findings.push_back(leftoverFinding(std::move(group), title, flatpakSummary));
    }

    const fs::path snapData = context.home / "snap";
    std::map<std::string, Group> snaps;
    for (const auto& name : sortedNames(snapData)) {
        const bool snapName = !name.empty() && std::ranges::all_of(name, [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
        });
        if (!snapName || running.has(name))
            continue;
        const Exists mounted = presenceOf(context.underRoot("/snap") / name);
        const Exists elsewhere = presenceOf(context.underRoot("/var/lib/snapd/snap") / name);
        if (mounted != Exists::no || elsewhere != Exists::no)
            continue;
        if (const fs::path entry = snapData / name; isEntry(entry))
            addEntry(context, snaps, name, entry, snapData, stop);
    }
    for (auto& [key, group] : snaps) {
        const auto title = Text::repairUTF8(group.id) + " – Reste einer entfernten App";
        findings.push_back(leftoverFinding(std::move(group), title, snapSummary));
    }
    return findings;
}

} // namespace velmora
