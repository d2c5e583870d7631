#include "Scanning/Scanners/AppCachesScanner.hpp"

#include "Scanning/PathClaims.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/InstalledApps.hpp"
#include "Services/WorkspaceAppLocator.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view summary =
    "Zwischenspeicher der App. Sie legt ihn beim nächsten Start neu an; deine Daten und Einstellungen "
    "bleiben erhalten.";

// Apple's caches belong to the system; the App Store's only hold downloads it fetches again.
constexpr std::string_view appStoreCaches[] = {"com.apple.appstore", "com.apple.appstoreagent"};

bool isFolder(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// True when the folder or anything inside it was taken by an earlier finding.
bool touchedByClaims(const PathClaims* claims, const fs::path& folder) {
    if (!claims)
        return false;
    if (claims->isClaimed(folder))
        return true;
    const auto mine = PathClaims::standardComponents(folder);
    return std::ranges::any_of(claims->claimed(), [&](const std::vector<std::string>& claimed) {
        return claimed.size() > mine.size() && std::equal(mine.begin(), mine.end(), claimed.begin());
    });
}

} // namespace

std::expected<std::vector<Finding>, ScanError> AppCachesScanner::scan(const ScanContext& context,
                                                                      StopToken stop) {
    const bool mac = context.layout == PlatformLayout::macOS;
    const fs::path caches = mac ? context.home / "Library/Caches" : context.userCacheDir;
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(caches, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    std::ranges::sort(names);

    std::shared_ptr<const InstalledApps> installed;
    std::optional<WorkspaceAppLocator> entries;
    if (mac)
        installed = InstalledApps::forScan(context);
    else
        entries.emplace(context.rootPrefix, context.home, context.layout);

    std::vector<Finding> findings;
    for (const auto& name : names) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        const fs::path folder = caches / name;
        if (mac) {
            const bool appStore =
                std::ranges::find(appStoreCaches, Text::lowercased(name)) != std::end(appStoreCaches);
            if (!appnames::isBundleID(name) || (appnames::isApple(name) && !appStore))
                continue;
        } else if (name.starts_with('.')) {
            continue;
        }
        if (!isFolder(folder) || touchedByClaims(context.claims.get(), folder) ||
            catalogOverlap(context, folder) != CatalogOverlap::none || guardRefuses(context, folder))
            continue;
        const auto size = context.sizer ? context.sizer->size(folder, stop) : 0;
        if (size < minimumBytes)
            continue;

        AppRef app;
        app.displayName = Text::repairUTF8(name);
        if (mac) {
            app.bundleID = name;
            if (const auto* found = installed->find(name)) {
                app.displayName = found->displayName;
                app.processName = found->executable;
            } else if (appnames::isApple(name)) {
                app.displayName = "App Store";
                app.processName = "App Store";
            }
        } else {
            app.processName = name;
            if (const auto found = entries->find(name)) {
                app.bundleID = name;
                app.displayName = found->name;
            }
        }
        Finding finding;
        finding.id = FindingID{id(), name};
        finding.category = Category::appCaches;
        finding.title = app.displayName + " – Cache";
        finding.summary = std::string(summary);
        finding.risk = Risk::safe;
        finding.method = RemovalMethod::trash();
        FindingItem item;
        item.id = folder.string();
        item.url = folder;
        item.name = Text::repairUTF8(name);
        item.detail = caches.string();
        item.size = size;
        finding.items.push_back(std::move(item));
        finding.size = size;
        finding.blockingApps = {std::move(app)};
        findings.push_back(std::move(finding));
    }
    return findings;
}

} // namespace velmora
