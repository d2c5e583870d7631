#include "Scanning/Scanners/XcodeVersionsScanner.hpp"

#include "Findings/ItemsTotal.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/PathScanner.hpp"
#include "Scanning/ScanContext.hpp"
#include "Support/PropertyList.hpp"

#include <algorithm>
#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::string_view xcodeBundleID = "com.apple.dt.Xcode";

struct XcodeApp {
    fs::path path;
    std::string version;
};

// An Xcode bundle: a real folder (a link is never offered, though the selected Xcode may be reached
// through one) whose Info.plist names Xcode.
std::optional<XcodeApp> xcodeAt(const fs::path& path, bool throughLink = false) {
    struct stat info {};
    if ((throughLink ? ::stat(path.c_str(), &info) : ::lstat(path.c_str(), &info)) != 0 ||
        !S_ISDIR(info.st_mode))
        return std::nullopt;
    const auto plist = readPropertyList(path / "Contents/Info.plist");
    if (!plist || plistString(plist.get(), "CFBundleIdentifier") != xcodeBundleID)
        return std::nullopt;
    return XcodeApp{path, plistString(plist.get(), "CFBundleShortVersionString").value_or("")};
}

std::vector<XcodeApp> xcodeApps(const fs::path& applications) {
    std::vector<XcodeApp> apps;
    DIR* dir = ::opendir(applications.c_str());
    if (!dir)
        return apps;
    while (const dirent* entry = ::readdir(dir))
        if (::fnmatch("Xcode*.app", entry->d_name, 0) == 0)
            if (auto app = xcodeAt(applications / entry->d_name))
                apps.push_back(std::move(*app));
    ::closedir(dir);
    std::ranges::sort(apps, {}, &XcodeApp::path);
    return apps;
}

// The app bundle that holds the developer folder `xcode-select -p` printed
// ("/Applications/Xcode.app/Contents/Developer" → "/Applications/Xcode.app"); nothing for the
// Command Line Tools or anything else that is not inside an app.
std::optional<fs::path> selectedApp(const std::string& output) {
    const auto end = output.find_first_of("\r\n");
    const fs::path printed = fs::path(output.substr(0, end)).lexically_normal();
    if (!printed.is_absolute())
        return std::nullopt;
    fs::path app;
    for (const auto& part : printed) {
        app /= part;
        if (part.string().size() > 4 && part.string().ends_with(".app"))
            return app;
    }
    return std::nullopt;
}

bool sameObject(const fs::path& a, const fs::path& b) {
    struct stat first {};
    struct stat second {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

} // namespace

std::expected<std::vector<Finding>, ScanError> XcodeVersionsScanner::scan(const ScanContext& context,
                                                                          StopToken stop) {
    if (context.layout != PlatformLayout::macOS || !context.safety)
        return std::vector<Finding>{};
    const auto apps = xcodeApps(context.underRoot("/Applications"));
    const fs::path xcodeSelect = "/usr/bin/xcode-select";
    if (apps.empty() || !context.runner || !context.tools || !context.tools->fileExists ||
        !context.tools->fileExists(xcodeSelect))
        return std::vector<Finding>{};

    const auto printed = context.runner->run(xcodeSelect, {"-p"}, 10s, stop);
    if (!printed || printed->exitCode != 0)
        return std::vector<Finding>{};
    const auto selected = selectedApp(printed->standardOutput);
    // The selected app must be an Xcode that is there (possibly through a link, possibly outside
    // /Applications); only then is it certain which of the others are extra.
    if (!selected || !xcodeAt(context.underRoot(*selected), true))
        return std::vector<Finding>{};
    const AppRef xcode{std::string(xcodeBundleID), "Xcode", "Xcode"};

    std::vector<FindingItem> items;
    for (const auto& app : apps) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        if (sameObject(app.path, context.underRoot(*selected)) || context.safety->check(app.path))
            continue;
        FindingItem item;
        item.id = app.path.string();
        item.url = app.path;
        item.name = app.path.filename().string();
        if (!app.version.empty())
            item.detail = "Version " + app.version;
        item.size = context.sizer ? context.sizer->size(app.path, stop) : 0;
        item.blockingApp = xcode;
        items.push_back(std::move(item));
    }
    if (items.empty())
        return std::vector<Finding>{};

    Finding finding;
    finding.id = FindingID{id(), ""};
    finding.category = Category::xcode;
    finding.title = "Weitere Xcode-Versionen";
    finding.summary = "Xcode-Installationen neben dem Xcode, das gerade ausgewählt ist (xcode-select). Jede "
                      "belegt viele Gigabyte. Prüfe, ob du eine davon noch für ältere Projekte brauchst.";
    finding.risk = Risk::review;
    finding.method = RemovalMethod::trash();
    finding.blockingApps = {xcode};
    finding.size = itemsTotal(items);
    finding.commandPreview = PathScanner::commandPreview(finding.method, items);
    finding.items = std::move(items);
    return std::vector<Finding>{std::move(finding)};
}

} // namespace velmora
