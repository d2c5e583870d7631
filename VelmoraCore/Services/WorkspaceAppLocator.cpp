#include "Services/WorkspaceAppLocator.hpp"

#include "Support/PropertyList.hpp"
#include "Support/Text.hpp"

#include <algorithm>
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

// The names in a folder, sorted so that "the first one found" means the same on every run. A folder
// that cannot be listed has none.
std::vector<std::string> sortedNames(const fs::path& folder) {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    std::ranges::sort(names);
    return names;
}

bool isFolder(const fs::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string withoutSuffix(const std::string& name, std::size_t suffixLength) {
    return name.substr(0, name.size() - suffixLength);
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
    std::call_once(built_, [this] { buildIndex(); });
    if (bundleID.empty())
        return std::nullopt;
    const auto found = index_.find(Text::lowercased(bundleID));
    if (found == index_.end())
        return std::nullopt;
    return found->second;
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
        if (!isFolder(entry))
            continue;
        if (!Text::lowercased(name).ends_with(".app")) {
            if (depth < maximumFolderDepth)
                indexBundles(entry, depth + 1);
            continue;
        }
        const auto info = readPropertyList(entry / "Contents" / "Info.plist");
        const auto bundleID = plistString(info.get(), "CFBundleIdentifier");
        if (!bundleID || bundleID->empty())
            continue;
        index_.try_emplace(Text::lowercased(*bundleID),
                           LocatedApp{entry, Text::repairUTF8(withoutSuffix(name, 4))});
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
