#include "Scanning/Scanners/UnusedAppsScanner.hpp"

#include "Platform/FileTime.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/InstalledApps.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"
#include "Services/WorkspaceAppLocator.hpp"
#include "Support/Text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>
#include <sys/stat.h>

namespace velmora {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using TimePoint = std::chrono::system_clock::time_point;

constexpr auto brewInfoTimeout = 60s;
constexpr auto uninstallTimeout = 600s;

constexpr std::string_view trashSummary =
    "Seit über 90 Tagen nicht geöffnet. Brauchst du die App nicht mehr, wandert sie in den Papierkorb – "
    "ihre Einstellungen und Dokumente bleiben erhalten.";
constexpr std::string_view caskSummary =
    "Seit über 90 Tagen nicht geöffnet. Die App wurde mit Homebrew installiert, deshalb entfernt Homebrew "
    "sie auch – sonst hielte es sie weiter für installiert.";
constexpr std::string_view flatpakSummary =
    "Seit über 90 Tagen nicht gestartet (gemessen an ihrem Datenordner). Flatpak entfernt die App; deine "
    "Daten in ~/.var/app bleiben erhalten.";
constexpr std::string_view appImageSummary =
    "Seit über 90 Tagen nicht gestartet (gemessen am letzten Zugriff auf die Datei). Brauchst du das "
    "AppImage nicht mehr, wandert es in den Papierkorb.";

TimePoint accessTime(const struct stat& st) {
#ifdef __APPLE__
    return timePointOf(st.st_atimespec);
#else
    return timePointOf(st.st_atim);
#endif
}

bool isUnused(const ScanContext& context, TimePoint lastUse) {
    return context.now - lastUse >= std::chrono::days{UnusedAppsScanner::unusedDays};
}

struct Running {
    std::set<std::string> bundleIDs; // lower-cased
    std::vector<fs::path> executables;

    explicit Running(const ScanContext& context) {
        if (!context.runningApps)
            return;
        for (const auto& app : context.runningApps->runningApplications())
            if (app.bundleID)
                bundleIDs.insert(Text::lowercased(*app.bundleID));
        for (const auto& process : context.runningApps->runningProcesses())
            if (!process.executable.empty())
                executables.push_back(process.executable);
    }
    // `place` is the app's real path; a process path is one the system reports, i.e. without the root
    // prefix: both forms are compared.
    bool runs(const ScanContext& context, std::string_view bundleID, const fs::path& place) const {
        if (!bundleID.empty() && bundleIDs.contains(Text::lowercased(bundleID)))
            return true;
        const fs::path logical = fs::path("/") / place.lexically_relative(context.rootPrefix);
        return std::ranges::any_of(executables, [&](const fs::path& exe) {
            for (const auto& base : {place, logical}) {
                const auto inside = exe.lexically_relative(base);
                if (!inside.empty() && *inside.begin() != "..")
                    return true;
            }
            return false;
        });
    }
};

Finding appFinding(std::string key, const fs::path& place, std::string name, std::string_view summary,
                   RemovalMethod method, AppRef app, TimePoint lastUse, std::int64_t size) {
    Finding finding;
    finding.id = FindingID{"apps.unused", std::move(key)};
    finding.category = Category::apps;
    finding.title = name;
    finding.summary = std::string(summary);
    finding.risk = Risk::review;
    if (const auto* tool = std::get_if<RemovalMethod::Tool>(&method.value))
        finding.commandPreview = tool->command.commandLine();
    finding.method = std::move(method);
    FindingItem item;
    item.id = place.string();
    item.url = place;
    item.name = std::move(name);
    item.size = size;
    item.date = lastUse;
    item.detail = place.parent_path().string();
    item.blockingApp = app;
    finding.items.push_back(std::move(item));
    finding.size = size;
    finding.blockingApps = {std::move(app)};
    return finding;
}

// The latest modification of the data folder and of its first level: an app writes below config/, cache/ and
// data/, which changes those folders, not ~/.var/app/<id> itself.
std::optional<TimePoint> dataFolderTime(const fs::path& folder) {
    struct stat st {};
    if (::lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
        return std::nullopt;
    TimePoint newest = modificationTime(st);
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        struct stat child {};
        if (::lstat(it->path().c_str(), &child) == 0)
            newest = std::max(newest, modificationTime(child));
    }
    return newest;
}

} // namespace

std::optional<std::map<std::string, std::string>> UnusedAppsScanner::caskApps(std::string_view json) {
    const auto doc = nlohmann::json::parse(json, nullptr, false);
    if (doc.is_discarded() || !doc.is_object() || !doc.contains("casks") || !doc["casks"].is_array())
        return std::nullopt;
    std::map<std::string, std::string> apps;
    for (const auto& cask : doc["casks"]) {
        if (!cask.is_object() || !cask.contains("token") || !cask["token"].is_string())
            return std::nullopt;
        const auto token = cask["token"].get<std::string>();
        if (!cask.contains("artifacts") || !cask["artifacts"].is_array())
            continue;
        for (const auto& artifact : cask["artifacts"]) {
            if (!artifact.is_object() || !artifact.contains("app") || !artifact["app"].is_array())
                continue;
            // ["Source.app", {"target": "Shown Name.app"}]: the target is what lies in /Applications.
            const auto& parts = artifact["app"];
            std::optional<std::string> name;
            for (const auto& part : parts) {
                if (part.is_string() && !name)
                    name = part.get<std::string>();
                else if (part.is_object() && part.contains("target") && part["target"].is_string())
                    name = part["target"].get<std::string>();
            }
            if (name)
                apps.emplace(Text::lowercased(fs::path(*name).filename().string()), token);
        }
    }
    return apps;
}

std::expected<std::vector<Finding>, ScanError> UnusedAppsScanner::scan(const ScanContext& context,
                                                                       StopToken stop) {
    auto found = context.layout == PlatformLayout::macOS ? scanMac(context, stop) : scanLinux(context, stop);
    // Keys are the app's identifier; a second copy of an app (user and system installation, two
    // folders) adds where it lies, as seen inside the root.
    std::set<std::string> keys;
    if (found)
        for (auto& finding : *found)
            if (!keys.insert(Text::lowercased(finding.id.key)).second)
                finding.id.key +=
                    "@/" + finding.items.front().url->lexically_relative(context.rootPrefix).string();
    return found;
}

std::expected<std::vector<Finding>, ScanError> UnusedAppsScanner::scanMac(const ScanContext& context,
                                                                          StopToken stop) {
    auto usage = usage_;
#ifdef __APPLE__
    if (!usage && context.rootPrefix == "/")
        usage = spotlightAppUsage();
#endif
    if (!usage) {
        const auto mdls = toolscan::locate(context, "mdls");
        if (!mdls)
            return std::vector<Finding>{}; // no dates, nothing to judge by
        usage = std::make_shared<MdlsAppUsage>(context.runner, *mdls);
    }
    std::map<std::string, std::string> casks;
    if (const auto brew = toolscan::locate(context, "brew")) {
        const auto info = toolscan::output(context, *brew, {"info", "--json=v2", "--cask", "--installed"},
                                           brewInfoTimeout, "Homebrew", stop);
        if (!info)
            return std::unexpected(info.error());
        auto parsed = caskApps(*info);
        if (!parsed)
            return std::unexpected(toolscan::unreadable("brew info --json=v2 --cask --installed"));
        casks = std::move(*parsed);
    }
    const auto installed = InstalledApps::forScan(context);
    const auto inUserFolders = [&](const fs::path& bundle) {
        for (const auto& folder : {context.underRoot("/Applications"), context.home / "Applications"}) {
            const auto inside = bundle.lexically_relative(folder);
            if (!inside.empty() && *inside.begin() != "..")
                return true;
        }
        return false;
    };
    const Running running(context);
    std::vector<Finding> findings;
    for (const auto& app : installed->apps) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        if (!inUserFolders(app.bundle) || appnames::isApple(app.bundleID) ||
            running.runs(context, app.bundleID, app.bundle))
            continue;
        const auto lastUse = usage->lastUsed(app.bundle, stop);
        if (!lastUse)
            return std::unexpected(ScanError{lastUse.error()});
        if (!*lastUse || !isUnused(context, **lastUse))
            continue;
        RemovalMethod method = RemovalMethod::trash();
        std::string_view summary = trashSummary;
        // Homebrew puts a cask's app straight into one of the two folders.
        const bool topLevel = app.bundle.parent_path() == context.underRoot("/Applications") ||
                              app.bundle.parent_path() == context.home / "Applications";
        if (const auto cask = casks.find(Text::lowercased(app.bundle.filename().string()));
            topLevel && cask != casks.end()) {
            method = RemovalMethod::tool(
                ToolCommand{"brew", {"uninstall", "--cask", cask->second}, uninstallTimeout});
            summary = caskSummary;
        }
        // What goes to the Trash is a system location: only what the guard would let removal take.
        if (method.kind() == RemovalKind::trash && (!context.safety || guardRefuses(context, app.bundle)))
            continue;
        const auto size = context.sizer ? context.sizer->size(app.bundle, stop) : 0;
        findings.push_back(appFinding(app.bundleID, app.bundle, app.displayName, summary, std::move(method),
                                      AppRef{app.bundleID, app.executable, app.displayName}, **lastUse,
                                      size));
    }
    return findings;
}

std::expected<std::vector<Finding>, ScanError> UnusedAppsScanner::scanLinux(const ScanContext& context,
                                                                            StopToken stop) {
    const Running running(context);
    std::vector<Finding> findings;
    if (const auto flatpak = toolscan::locate(context, "flatpak")) {
        const WorkspaceAppLocator entries(context.rootPrefix, context.home, context.layout);
        const std::pair<fs::path, const char*> installations[] = {
            {context.home / ".local/share/flatpak", "--user"},
            {context.underRoot("/var/lib/flatpak"), "--system"}};
        for (const auto& [installation, scope] : installations) {
            std::vector<std::string> ids;
            std::error_code ec;
            for (fs::directory_iterator it(installation / "app", ec), end; !ec && it != end; it.increment(ec))
                ids.push_back(it->path().filename().string());
            std::ranges::sort(ids);
            for (const auto& id : ids) {
                if (stop.stop_requested())
                    return std::unexpected(ScanError{"Abgebrochen"});
                const fs::path place = installation / "app" / id;
                struct stat current {};
                // An app folder without "current" is a half-finished install or removal.
                if (!appnames::isBundleID(id) || ::lstat((place / "current").c_str(), &current) != 0 ||
                    running.runs(context, id, place))
                    continue;
                const auto lastUse = dataFolderTime(context.home / ".var/app" / id);
                if (!lastUse || !isUnused(context, *lastUse))
                    continue;
                const auto name = entries.find(id)
                                      .transform([](const LocatedApp& a) { return a.name; })
                                      .value_or(Text::repairUTF8(id));
                const auto size = context.sizer ? context.sizer->size(place, stop) : 0;
                findings.push_back(
                    appFinding(id, place, name, flatpakSummary,
                               RemovalMethod::tool(
                                   ToolCommand{"flatpak", {"uninstall", scope, "-y", id}, uninstallTimeout}),
                               AppRef{id, std::nullopt, name}, *lastUse, size));
            }
        }
    }
    std::vector<fs::path> images;
    std::error_code ec;
    for (fs::directory_iterator it(context.home / "Applications", ec), end; !ec && it != end;
         it.increment(ec))
        if (Text::lowercased(it->path().filename().string()).ends_with(".appimage"))
            images.push_back(it->path());
    std::ranges::sort(images);
    for (const auto& image : images) {
        struct stat st {};
        if (::lstat(image.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || running.runs(context, "", image) ||
            guardRefuses(context, image))
            continue;
        // A file system mounted noatime keeps the access time of the download; the later of the two
        // times is then the best that is known, and the finding stays one to review.
        const auto lastUse = std::max(accessTime(st), modificationTime(st));
        if (!isUnused(context, lastUse))
            continue;
        const auto name = Text::repairUTF8(image.stem().string());
        const auto size = context.sizer ? context.sizer->size(image, stop) : 0;
        findings.push_back(appFinding(Text::repairUTF8(image.filename().string()), image, name,
                                      appImageSummary, RemovalMethod::trash(),
                                      AppRef{std::nullopt, image.filename().string(), name}, lastUse, size));
    }
    return findings;
}

} // namespace velmora
