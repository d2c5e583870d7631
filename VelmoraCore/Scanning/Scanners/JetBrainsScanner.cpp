#include "Scanning/Scanners/JetBrainsScanner.hpp"

#include "Findings/ItemsTotal.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/PathScanner.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>

#include <dirent.h>
#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;

struct Place {
    fs::path folder;
    std::string_view kind;
    bool offered = true;
};

struct Ide {
    std::string_view product;
    std::string_view bundleID;
    std::string_view process;
    std::string_view name;
};

constexpr std::array<Ide, 15> ides{{
    {"IntelliJIdea", "com.jetbrains.intellij", "idea", "IntelliJ IDEA Ultimate"},
    {"IdeaIC", "com.jetbrains.intellij.ce", "idea", "IntelliJ IDEA Community"},
    {"PyCharm", "com.jetbrains.pycharm", "pycharm", "PyCharm"},
    {"PyCharmCE", "com.jetbrains.pycharm.ce", "pycharm", "PyCharm Community"},
    {"CLion", "com.jetbrains.CLion", "clion", "CLion"},
    {"GoLand", "com.jetbrains.goland", "goland", "GoLand"},
    {"WebStorm", "com.jetbrains.WebStorm", "webstorm", "WebStorm"},
    {"PhpStorm", "com.jetbrains.PhpStorm", "phpstorm", "PhpStorm"},
    {"Rider", "com.jetbrains.rider", "rider", "Rider"},
    {"RubyMine", "com.jetbrains.rubymine", "rubymine", "RubyMine"},
    {"DataGrip", "com.jetbrains.datagrip", "datagrip", "DataGrip"},
    {"RustRover", "com.jetbrains.rustrover", "rustrover", "RustRover"},
    {"DataSpell", "com.jetbrains.dataspell", "dataspell", "DataSpell"},
    {"AppCode", "com.jetbrains.AppCode", "appcode", "AppCode"},
    {"Aqua", "com.jetbrains.aqua", "aqua", "Aqua"},
}};

AppRef appFor(const std::string& product) {
    for (const auto& ide : ides)
        if (ide.product == product)
            return AppRef{std::string(ide.bundleID), std::string(ide.process), std::string(ide.name)};
    std::string process = product;
    std::ranges::transform(process, process.begin(), [](unsigned char c) { return std::tolower(c); });
    return AppRef{std::nullopt, process, product};
}

std::vector<Place> places(const ScanContext& context) {
    const auto& home = context.home;
    if (context.layout == PlatformLayout::macOS)
        return {{home / "Library/Application Support/JetBrains", "Einstellungen"},
                {home / "Library/Caches/JetBrains", "Caches"},
                {home / "Library/Logs/JetBrains", "Protokolle"}};
    const auto cache = context.userCacheDir.empty() ? home / ".cache" : context.userCacheDir;
    // The settings and the caches only tell which version is the newest: the safety guard keeps
    // ~/.config (credentials live there), and the catalog's cache row offers the caches.
    return {{home / ".config/JetBrains", "Einstellungen", false},
            {home / ".local/share/JetBrains", "Plugins und Daten"},
            {cache / "JetBrains", "Caches", false}};
}

std::chrono::system_clock::time_point modified(const fs::path& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0)
        return {};
    return std::chrono::system_clock::from_time_t(info.st_mtime);
}

struct Found {
    JetBrainsScanner::Version version;
    fs::path path;
    const Place* place;
};

} // namespace

std::optional<JetBrainsScanner::Version> JetBrainsScanner::version(std::string_view name) {
    const auto digit = name.find_first_of("0123456789");
    if (digit == 0 || digit == std::string_view::npos)
        return std::nullopt;
    const auto product = name.substr(0, digit);
    if (!std::ranges::all_of(product,
                             [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }))
        return std::nullopt;
    const char* at = name.data() + digit;
    const char* end = name.data() + name.size();
    int year = 0;
    int release = 0;
    const auto [yearEnd, yearError] = std::from_chars(at, end, year);
    if (yearError != std::errc{} || yearEnd - at != 4 || yearEnd == end || *yearEnd != '.')
        return std::nullopt;
    const auto [releaseEnd, releaseError] = std::from_chars(yearEnd + 1, end, release);
    if (releaseError != std::errc{} || releaseEnd != end || releaseEnd == yearEnd + 1)
        return std::nullopt;
    return Version{std::string(product), {year, release}};
}

std::expected<std::vector<Finding>, ScanError> JetBrainsScanner::scan(const ScanContext& context,
                                                                      StopToken stop) {
    const auto where = places(context);
    std::map<std::string, std::vector<Found>> byProduct;
    for (const auto& place : where) {
        DIR* dir = ::opendir(place.folder.c_str());
        if (!dir)
            continue;
        while (const dirent* entry = ::readdir(dir)) {
            struct stat info {};
            const auto path = place.folder / entry->d_name;
            if (::lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
                continue;
            if (auto parsed = version(entry->d_name))
                byProduct[parsed->product].push_back(Found{std::move(*parsed), path, &place});
        }
        ::closedir(dir);
    }

    std::vector<Finding> findings;
    for (auto& [product, found] : byProduct) {
        const auto newest = std::ranges::max(found, {}, [](const Found& f) { return f.version.number; });
        std::ranges::sort(found, {}, [](const Found& f) { return std::pair(f.version.number, f.path); });
        const auto ide = appFor(product);
        std::vector<FindingItem> items;
        for (const auto& f : found) {
            if (stop.stop_requested())
                return std::unexpected(ScanError{"Abgebrochen"});
            if (f.version.number == newest.version.number || !f.place->offered ||
                (context.safety && context.safety->check(f.path)))
                continue;
            auto item = toolscan::measuredItem(context, f.path, stop);
            item.detail = std::string(f.place->kind);
            item.date = modified(f.path);
            item.blockingApp = ide;
            items.push_back(std::move(item));
        }
        if (items.empty())
            continue;
        const auto newestName =
            std::to_string(newest.version.number.first) + "." + std::to_string(newest.version.number.second);
        Finding finding;
        finding.id = FindingID{id(), product};
        finding.category = Category::toolchains;
        finding.title = ide.displayName + " – ältere Versionen";
        const bool mac = context.layout == PlatformLayout::macOS;
        finding.summary = std::string(mac ? "Einstellungen, Caches und Protokolle" : "Plugins und Daten") +
                          " älterer Versionen von " + ide.displayName + ". Die neueste Version (" +
                          newestName +
                          ") hat die Einstellungen beim Update übernommen; prüfe, ob du eine ältere noch "
                          "startest.";
        finding.risk = Risk::review;
        finding.method = RemovalMethod::trash();
        finding.blockingApps = {ide};
        finding.size = itemsTotal(items);
        finding.commandPreview = PathScanner::commandPreview(finding.method, items);
        finding.items = std::move(items);
        findings.push_back(std::move(finding));
    }
    return findings;
}

} // namespace velmora
