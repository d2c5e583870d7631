#include "Scanning/Scanners/InstalledApps.hpp"

#include "Safety/SafetyGuard.hpp"
#include "Scanning/Catalog.hpp"
#include "Scanning/ScanContext.hpp"
#include "Support/PropertyList.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <fnmatch.h>
#include <mutex>
#include <sys/stat.h>

namespace velmora {

namespace fs = std::filesystem;

namespace {

constexpr int maximumFolderDepth = 3;

bool isFolder(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool isAbsent(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

bool endsWithApp(const std::string& name) {
    return name.size() > 4 && Text::lowercased(name.substr(name.size() - 4)) == ".app";
}

void readFolder(const fs::path& folder, int depth, InstalledApps& into) {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    if (ec && ec != std::errc::no_such_file_or_directory && ec != std::errc::not_a_directory)
        into.complete = false;
    std::ranges::sort(names);
    for (const auto& name : names) {
        const fs::path entry = folder / name;
        if (!isFolder(entry))
            continue;
        if (!endsWithApp(name)) {
            if (depth < maximumFolderDepth)
                readFolder(entry, depth + 1, into);
            continue;
        }
        const fs::path infoFile = entry / "Contents" / "Info.plist";
        if (isAbsent(infoFile))
            continue;
        const auto info = readPropertyList(infoFile);
        const auto id = info ? plistString(info.get(), "CFBundleIdentifier") : std::nullopt;
        if (!id || id->empty()) {
            into.complete = false;
            continue;
        }
        InstalledApp app;
        app.bundle = entry;
        app.bundleID = *id;
        app.displayName =
            Text::repairUTF8(plistString(info.get(), "CFBundleDisplayName")
                                 .or_else([&] { return plistString(info.get(), "CFBundleName"); })
                                 .value_or(name.substr(0, name.size() - 4)));
        app.executable = plistString(info.get(), "CFBundleExecutable");
        into.apps.push_back(std::move(app));
    }
}

bool componentsMatch(const std::vector<std::string>& pattern, const std::vector<std::string>& location) {
    const auto n = std::min(pattern.size(), location.size());
    for (std::size_t k = 0; k < n; ++k)
        if (::fnmatch(pattern[k].c_str(), location[k].c_str(), FNM_PERIOD) != 0 && pattern[k] != location[k])
            return false;
    return true;
}

std::vector<std::string> parts(const fs::path& path) {
    std::vector<std::string> result;
    for (const auto& part : path.lexically_normal())
        if (!part.empty() && part != "/" && part != ".")
            result.push_back(part.string());
    return result;
}

} // namespace

InstalledApps InstalledApps::read(const std::vector<fs::path>& folders) {
    InstalledApps result;
    for (const auto& folder : folders)
        readFolder(folder, 0, result);
    return result;
}

std::shared_ptr<const InstalledApps> InstalledApps::forScan(const ScanContext& context) {
    static std::mutex mutex;
    static std::weak_ptr<PathClaims> scan;
    static std::shared_ptr<const InstalledApps> cached;
    std::lock_guard lock(mutex); // the second scanner waits for the first one's pass
    const auto current = scan.lock();
    if (cached && current && current == context.claims)
        return cached;
    cached = std::make_shared<const InstalledApps>(
        read({context.underRoot("/Applications"), context.home / "Applications",
              context.underRoot("/System/Applications")}));
    scan = context.claims;
    return cached;
}

const InstalledApp* InstalledApps::find(std::string_view bundleID) const {
    const auto wanted = Text::lowercased(bundleID);
    for (const auto& app : apps)
        if (Text::lowercased(app.bundleID) == wanted)
            return &app;
    return nullptr;
}

bool InstalledApps::owns(std::string_view bundleID) const {
    const auto wanted = Text::lowercased(bundleID);
    return std::ranges::any_of(apps, [&](const InstalledApp& app) {
        const auto id = Text::lowercased(app.bundleID);
        return wanted == id || (wanted.starts_with(id) && wanted[id.size()] == '.');
    });
}

namespace appnames {

bool isBundleID(std::string_view name) {
    int dots = 0;
    bool partEmpty = true;
    for (const char c : name) {
        if (c == '.') {
            if (partEmpty)
                return false;
            ++dots;
            partEmpty = true;
        } else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                   c == '_') {
            partEmpty = false;
        } else {
            return false;
        }
    }
    return dots >= 2 && !partEmpty;
}

bool isApple(std::string_view bundleID) {
    return Text::lowercased(bundleID).starts_with("com.apple.");
}

std::optional<std::string> groupContainerID(std::string_view name) {
    constexpr std::size_t teamLength = 10;
    if (name.size() <= teamLength + 1 || name[teamLength] != '.')
        return std::nullopt;
    for (const char c : name.substr(0, teamLength))
        if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')))
            return std::nullopt;
    const auto id = name.substr(teamLength + 1);
    if (!isBundleID(id))
        return std::nullopt;
    return std::string(id);
}

std::string vendor(std::string_view bundleID) {
    const auto first = bundleID.find('.');
    const auto second = bundleID.find('.', first + 1);
    return Text::lowercased(bundleID.substr(0, second));
}

} // namespace appnames

CatalogOverlap catalogOverlap(const ScanContext& context, const fs::path& location) {
    const auto wanted = parts(location);
    CatalogOverlap overlap = CatalogOverlap::none;
    const auto check = [&](const fs::path& base, const std::string& pattern) {
        if (base.empty())
            return;
        const auto full = parts(base / pattern);
        if (!componentsMatch(full, wanted))
            return;
        if (full.size() <= wanted.size())
            overlap = CatalogOverlap::within;
        else if (overlap == CatalogOverlap::none)
            overlap = CatalogOverlap::holds;
    };
    for (const auto& rule : Catalog::rules(context.layout)) {
        for (const auto& pattern : rule.patterns) {
            switch (rule.base) {
            case PathBase::home:
                check(context.home, pattern);
                break;
            case PathBase::userCache:
                check(context.userCacheDir, pattern);
                break;
            case PathBase::pnpmHome:
                check(context.pnpmHome, pattern);
                break;
            case PathBase::absolute:
                check(context.underRoot(pattern), "");
                break;
            }
            if (overlap == CatalogOverlap::within)
                return overlap;
        }
        for (const auto& pattern : rule.userCachePatterns) {
            check(context.userCacheDir, pattern);
            if (overlap == CatalogOverlap::within)
                return overlap;
        }
    }
    return overlap;
}

namespace {

constexpr int maximumSplitDepth = 4;

void collectOutside(const ScanContext& context, const fs::path& location, int depth,
                    std::vector<fs::path>& into) {
    switch (catalogOverlap(context, location)) {
    case CatalogOverlap::none:
        into.push_back(location);
        return;
    case CatalogOverlap::within:
        return;
    case CatalogOverlap::holds:
        break;
    }
    if (depth >= maximumSplitDepth || !isFolder(location))
        return;
    std::vector<fs::path> children;
    std::error_code ec;
    for (fs::directory_iterator it(location, ec), end; !ec && it != end; it.increment(ec))
        children.push_back(it->path());
    if (ec)
        return; // what cannot be listed cannot be split safely
    std::ranges::sort(children);
    for (const auto& child : children)
        collectOutside(context, child, depth + 1, into);
}

} // namespace

std::vector<fs::path> partsOutsideCatalog(const ScanContext& context, const fs::path& location) {
    std::vector<fs::path> result;
    collectOutside(context, location, 0, result);
    return result;
}

bool guardRefuses(const ScanContext& context, const fs::path& location) {
    return context.safety && context.safety->check(location).has_value();
}

} // namespace velmora
