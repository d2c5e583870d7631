#include "Services/WorkspaceAppLocator.hpp"

#include "Support/PropertyList.hpp"
#ifdef __APPLE__
#include "Platform/LaunchServices.hpp"
#endif
#include "Support/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora {

namespace fs = std::filesystem;

namespace {

// Suites put their apps one or two folders down ("/Applications/Adobe Photoshop 2024/…app"); deeper
// than this there are no apps worth the walk.
constexpr int maximumFolderDepth = 3;
constexpr std::size_t maximumDesktopEntryBytes = 256 * 1024;

std::string withoutSuffix(const std::string& name, std::size_t suffixLength) {
    return name.substr(0, name.size() - suffixLength);
}

bool isFolder(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool isLink(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

// Only "nothing there" is an answer; a file we may not read could be anything.
bool isAbsent(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

std::string bundleName(const fs::path& bundle) {
    const std::string name = bundle.filename().string();
    return Text::repairUTF8(Text::lowercased(name).ends_with(".app") ? withoutSuffix(name, 4) : name);
}

// The "Name=" of the [Desktop Entry] group; nothing when the file cannot be read or has none.
std::optional<std::string> desktopEntryName(const fs::path& file) {
    const int fd = ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return std::nullopt;
    std::string data;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) {
        data.resize(std::min(static_cast<std::size_t>(st.st_size), maximumDesktopEntryBytes));
        const auto n = ::read(fd, data.data(), data.size());
        data.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    }
    ::close(fd);
    bool inEntryGroup = false;
    std::size_t start = 0;
    while (start < data.size()) {
        const auto end = std::min(data.find('\n', start), data.size());
        const std::string_view line = Text::trimmed(std::string_view(data).substr(start, end - start));
        start = end + 1;
        if (line.starts_with('['))
            inEntryGroup = line == "[Desktop Entry]";
        else if (inEntryGroup && line.starts_with("Name=")) {
            const auto name = Text::repairUTF8(Text::trimmed(line.substr(5)));
            if (!name.empty())
                return name;
        }
    }
    return std::nullopt;
}

} // namespace

WorkspaceAppLocator::WorkspaceAppLocator(fs::path rootPrefix, fs::path home, PlatformLayout layout)
    : rootPrefix_(std::move(rootPrefix)), home_(std::move(home)), layout_(layout) {}

std::vector<fs::path> WorkspaceAppLocator::searchFolders() const {
    if (layout_ == PlatformLayout::macOS)
        return {rootPrefix_ / "Applications", home_ / "Applications", rootPrefix_ / "System/Applications"};
    return {home_ / ".local/share/applications",
            home_ / ".local/share/flatpak/exports/share/applications",
            rootPrefix_ / "usr/local/share/applications",
            rootPrefix_ / "usr/share/applications",
            rootPrefix_ / "var/lib/flatpak/exports/share/applications",
            rootPrefix_ / "var/lib/snapd/desktop/applications"};
}

std::optional<LocatedApp> WorkspaceAppLocator::find(std::string_view bundleID) const {
    return lookUp(bundleID).app;
}

AppPresence WorkspaceAppLocator::presence(std::string_view bundleID) const {
    return lookUp(bundleID).presence;
}

WorkspaceAppLocator::Answer WorkspaceAppLocator::lookUp(std::string_view bundleID) const {
    std::call_once(built_, [this] { buildIndex(); });
    if (bundleID.empty())
        return {AppPresence::notInstalled, std::nullopt};
    if (const auto found = index_.find(Text::lowercased(bundleID)); found != index_.end())
        return {AppPresence::installed, found->second};
#ifdef __APPLE__
    // Apps outside the usual folders (a build folder, another volume) are known to the system.
    if (layout_ == PlatformLayout::macOS && rootPrefix_ == "/") {
        const auto urls = LaunchServices::applicationURLs(bundleID);
        if (!urls)
            return {AppPresence::unknown, std::nullopt};
        if (!urls->empty())
            return {AppPresence::installed, LocatedApp{urls->front(), bundleName(urls->front())}};
    }
#endif
    return {complete_ ? AppPresence::notInstalled : AppPresence::unknown, std::nullopt};
}

// The names in a folder, sorted so that "the first one found" means the same on every run. A folder
// that cannot be listed has none, and leaves the index incomplete unless it does not exist.
std::vector<std::string> WorkspaceAppLocator::sortedNames(const fs::path& folder) const {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    if (ec && ec != std::errc::no_such_file_or_directory && ec != std::errc::not_a_directory)
        complete_ = false;
    std::ranges::sort(names);
    return names;
}

// The folder a link leads to, with absolute targets read below the root prefix (as the system would
// read them on the Mac the tree stands for); nothing for a dangling link, a loop or anything but a folder.
std::optional<fs::path> WorkspaceAppLocator::linkedFolder(const fs::path& link) const {
    constexpr int maximumHops = 8;
    fs::path current = link;
    for (int hop = 0; hop < maximumHops && isLink(current); ++hop) {
        std::error_code ec;
        const fs::path target = fs::read_symlink(current, ec);
        if (ec || target.empty())
            return std::nullopt;
        current =
            target.is_absolute() ? rootPrefix_ / target.relative_path() : current.parent_path() / target;
    }
    return isFolder(current) ? std::optional(current) : std::nullopt;
}

void WorkspaceAppLocator::buildIndex() const {
    for (const auto& folder : searchFolders()) {
        if (layout_ == PlatformLayout::macOS)
            indexBundles(folder, 0);
        else
            indexDesktopEntries(folder);
    }
}

void WorkspaceAppLocator::indexBundles(const fs::path& folder, int depth) const {
    for (const auto& name : sortedNames(folder)) {
        const fs::path entry = folder / name;
        if (!Text::lowercased(name).ends_with(".app")) {
            if (depth < maximumFolderDepth && isFolder(entry))
                indexBundles(entry, depth + 1);
            continue;
        }
        const auto bundle = linkedFolder(entry);
        if (!bundle)
            continue;
        const fs::path infoFile = *bundle / "Contents" / "Info.plist";
        // A folder without an Info.plist is no app; one whose Info.plist cannot be read may be any app.
        if (isAbsent(infoFile))
            continue;
        const auto info = readPropertyList(infoFile);
        if (!info) {
            complete_ = false;
            continue;
        }
        const auto bundleID = plistString(info.get(), "CFBundleIdentifier");
        if (!bundleID || bundleID->empty())
            continue;
        index_.try_emplace(Text::lowercased(*bundleID), LocatedApp{entry, bundleName(entry)});
    }
}

void WorkspaceAppLocator::indexDesktopEntries(const fs::path& folder) const {
    constexpr std::string_view suffix = ".desktop";
    for (const auto& name : sortedNames(folder)) {
        if (!name.ends_with(suffix) || name.size() == suffix.size())
            continue;
        const fs::path entry = folder / name;
        const std::string id = withoutSuffix(name, suffix.size());
        // Flatpak exports its entries as symbolic links; the name is all we match on, so they count
        // without being followed (and then go by their file name).
        struct stat st {};
        if (::lstat(entry.c_str(), &st) != 0 || !(S_ISREG(st.st_mode) || S_ISLNK(st.st_mode)))
            continue;
        index_.try_emplace(Text::lowercased(id),
                           LocatedApp{entry, desktopEntryName(entry).value_or(Text::repairUTF8(id))});
    }
}

} // namespace velmora
