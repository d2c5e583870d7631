#include "Scanning/PathScanner.hpp"

#include "Findings/ItemsTotal.hpp"
#include "Findings/ShellQuote.hpp"
#include "Platform/FileTime.hpp"
#include "Scanning/ScanContext.hpp"
#include "Support/PropertyList.hpp"
#include "Support/StopToken.hpp"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fnmatch.h>
#include <iterator>
#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;

enum class EntryKind { missing, directory, symlink, other, denied };

EntryKind kindOf(const fs::path& path, struct stat* out = nullptr) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0)
        return (errno == EACCES || errno == EPERM) ? EntryKind::denied : EntryKind::missing;
    if (out)
        *out = st;
    if (S_ISLNK(st.st_mode))
        return EntryKind::symlink;
    return S_ISDIR(st.st_mode) ? EntryKind::directory : EntryKind::other;
}

// The names in a folder, sorted so that results do not depend on the file system's listing order.
std::optional<std::vector<std::string>> listNames(const fs::path& folder, bool& denied) {
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) {
        if (errno == EACCES || errno == EPERM)
            denied = true;
        return std::nullopt;
    }
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string_view name(entry->d_name);
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    ::closedir(dir);
    std::ranges::sort(names);
    return names;
}

bool isWildcard(std::string_view component) {
    return component.find('*') != std::string_view::npos;
}

std::vector<std::string> splitPattern(std::string_view pattern) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= pattern.size()) {
        const auto slash = pattern.find('/', start);
        const auto end = slash == std::string_view::npos ? pattern.size() : slash;
        if (end > start)
            parts.emplace_back(pattern.substr(start, end - start));
        if (slash == std::string_view::npos)
            break;
        start = slash + 1;
    }
    return parts;
}

} // namespace

PathScanner::Resolution PathScanner::resolve(const fs::path& start, const std::vector<std::string>& patterns,
                                             const std::vector<std::string>& excludeNames) {
    Resolution resolution;
    for (const auto& pattern : patterns) {
        const auto components = splitPattern(pattern);
        if (components.empty())
            continue;
        std::vector<fs::path> current{start};
        for (std::size_t index = 0; index < components.size() && !current.empty(); ++index) {
            const auto& component = components[index];
            const bool last = index + 1 == components.size();
            std::vector<fs::path> next;
            for (const auto& folder : current) {
                std::vector<fs::path> candidates;
                if (isWildcard(component)) {
                    const auto names = listNames(folder, resolution.permissionDenied);
                    if (!names)
                        continue;
                    for (const auto& name : *names) {
                        // Hidden entries only match a component that asks for them.
                        if (name.starts_with('.') && !component.starts_with('.'))
                            continue;
                        if (std::ranges::find(excludeNames, name) != excludeNames.end())
                            continue;
                        if (::fnmatch(component.c_str(), name.c_str(), 0) == 0)
                            candidates.push_back(folder / name);
                    }
                } else {
                    candidates.push_back(folder / component);
                }
                for (auto& candidate : candidates) {
                    const auto kind = kindOf(candidate);
                    if (kind == EntryKind::denied)
                        resolution.permissionDenied = true;
                    // Links are never followed, and never reported: what they point to is not here.
                    if (kind == EntryKind::directory || (last && kind == EntryKind::other))
                        next.push_back(std::move(candidate));
                }
            }
            current = std::move(next);
        }
        for (auto& match : current)
            resolution.matches.push_back(std::move(match));
    }
    return resolution;
}

std::string PathScanner::displayName(const fs::path& match, MatchName rule) {
    const std::string last = match.filename().string();
    switch (rule) {
    case MatchName::lastComponent:
        return last;
    case MatchName::withoutExtension:
        return match.stem().string();
    case MatchName::parentComponent:
        return match.parent_path().filename().string();
    case MatchName::huggingFace: {
        const auto first = last.find("--");
        if (first == std::string::npos)
            return last;
        std::string rest = last.substr(first + 2);
        for (std::size_t pos = rest.find("--"); pos != std::string::npos; pos = rest.find("--", pos + 1))
            rest.replace(pos, 2, "/");
        return rest;
    }
    }
    return last;
}

std::optional<std::string> PathScanner::commandPreview(const RemovalMethod& method,
                                                       const std::vector<FindingItem>& items) {
    std::string line;
    switch (method.kind()) {
    case RemovalKind::delete_:
        line = "rm -rf";
        for (const auto& item : items)
            if (item.url)
                line += " " + ShellQuote::quote(item.url->string());
        return line;
    case RemovalKind::trash:
        line = "In den Papierkorb:";
        for (const auto& item : items)
            if (item.url)
                line += " " + item.url->string();
        return line;
    case RemovalKind::tool:
        return std::get<RemovalMethod::Tool>(method.value).command.commandLine();
    default:
        return std::nullopt;
    }
}

std::optional<std::chrono::system_clock::time_point> xcodeArchiveCreationDate(const fs::path& archive) {
    const auto plist = readPropertyList(archive / "Info.plist");
    return plist ? plistDate(plist.get(), "CreationDate") : std::nullopt;
}

Finding PathScanner::findingFor(const PathRule& rule, std::vector<FindingItem> items) {
    Finding finding;
    finding.id = FindingID{rule.id, ""};
    finding.category = rule.category;
    finding.title = rule.title;
    finding.summary = rule.summary;
    finding.risk = rule.risk;
    finding.method = rule.method;
    finding.blockingApps = rule.blockingApps;
    finding.itemsSelectable = rule.grouping == Grouping::perMatch;
    finding.size = itemsTotal(items);
    finding.items = std::move(items);
    finding.commandPreview = commandPreview(finding.method, finding.items);
    return finding;
}

std::expected<std::vector<Finding>, ScanError> PathScanner::scan(const ScanContext& context, StopToken stop) {
    fs::path start;
    switch (rule_.base) {
    case PathBase::home:
        start = context.home;
        break;
    case PathBase::userCache:
        start = context.userCacheDir;
        break;
    case PathBase::absolute:
        start = context.rootPrefix;
        break;
    case PathBase::pnpmHome:
        start = context.pnpmHome;
        break;
    }
    auto resolution = start.empty() ? Resolution{} : resolve(start, rule_.patterns, rule_.excludeNames);
    if (!rule_.userCachePatterns.empty() && !context.userCacheDir.empty()) {
        auto cached = resolve(context.userCacheDir, rule_.userCachePatterns, rule_.excludeNames);
        std::ranges::move(cached.matches, std::back_inserter(resolution.matches));
        resolution.permissionDenied = resolution.permissionDenied || cached.permissionDenied;
    }

    const auto cutoff = context.now - std::chrono::seconds{std::int64_t{rule_.minAgeDays} * 86'400};
    std::vector<FindingItem> items;
    std::vector<std::string> seen;
    const auto addItem = [&](const fs::path& path) {
        if (std::ranges::find(seen, path.string()) != seen.end())
            return;
        seen.push_back(path.string());
        FindingItem item;
        item.id = path.string();
        item.url = path;
        item.name = displayName(path, rule_.matchName);
        item.size = context.sizer ? context.sizer->size(path, stop) : 0;
        if (rule_.itemDate == ItemDate::xcodeArchive)
            item.date = xcodeArchiveCreationDate(path);
        if (*item.size >= rule_.minSize)
            items.push_back(std::move(item));
    };

    for (const auto& match : resolution.matches) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        if (context.claims && context.claims->isClaimed(match))
            continue;
        struct stat st {};
        if (kindOf(match, &st) == EntryKind::missing)
            continue; // vanished since it was listed
        if (rule_.minAgeDays > 0 && modificationTime(st) > cutoff)
            continue;
        addItem(match);
        if (!rule_.companionExtensions.empty() && !S_ISDIR(st.st_mode)) {
            const auto stem = match.stem().string();
            for (const auto& extension : rule_.companionExtensions) {
                const auto companion = match.parent_path() / (stem + "." + extension);
                struct stat cst {};
                if (companion != match && kindOf(companion, &cst) == EntryKind::other)
                    addItem(companion);
            }
        }
    }

    // Newest dated items first; equal dates and undated items keep the order they were found in.
    std::ranges::stable_sort(items, [](const FindingItem& a, const FindingItem& b) {
        if (a.date.has_value() != b.date.has_value())
            return a.date.has_value();
        return a.date && *a.date > *b.date;
    });

    const bool lackedAccess =
        resolution.permissionDenied && rule_.needsFullDiskAccess && !context.hasFullDiskAccess;
    if (items.empty() && !lackedAccess)
        return std::vector<Finding>{};

    Finding finding = findingFor(rule_, std::move(items));
    const auto& found = finding.items;
    if (const auto* tool = std::get_if<RemovalMethod::Tool>(&rule_.method.value);
        tool && context.tools && !context.tools->locate(tool->command.tool)) {
        // The owning tool is not installed: its file-level fallback takes over, and without one the
        // finding only explains (it is never removed behind the tool's back).
        if (tool->fallback == Fallback::delete_)
            finding.method = RemovalMethod::deleteDirectly();
        else if (tool->fallback == Fallback::trash)
            finding.method = RemovalMethod::trash();
        else if (!found.empty()) {
            finding.method = RemovalMethod::hint(HintAction{HintAction::RevealInFinder{*found.front().url}});
            finding.risk = Risk::hintOnly;
        }
        finding.commandPreview = commandPreview(finding.method, found);
    }
    if (auto* hint = std::get_if<RemovalMethod::Hint>(&finding.method.value)) {
        // A hint that shows "the location" gets the first place that was found.
        auto* reveal = std::get_if<HintAction::RevealInFinder>(&hint->action.value);
        if (reveal && reveal->path.empty() && !found.empty())
            reveal->path = *found.front().url;
    }
    finding.needsFullDiskAccess = lackedAccess;
    if (found.empty())
        finding.size.reset(); // nothing readable: the finding only says that access is missing
    return std::vector<Finding>{std::move(finding)};
}

} // namespace velmora
