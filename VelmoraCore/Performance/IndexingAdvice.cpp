#include "Performance/IndexingAdvice.hpp"

#include "Findings/ByteFormat.hpp"
#include "Findings/ShellQuote.hpp"
#include "Platform/SmallFile.hpp"
#include "Platform/XdgUserDirs.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <set>
#include <string_view>
#include <system_error>

#include <fnmatch.h>

namespace velmora {

namespace {

enum class Indexer { spotlight, tracker, baloo };

// How one indexer decides what it reads.
struct Policy {
    Indexer indexer = Indexer::spotlight;
    std::vector<std::filesystem::path> roots;
    std::vector<std::filesystem::path> excludedFolders;
    std::vector<std::string> markers;     // a folder holding one of these is not indexed, nor anything below
    std::vector<std::string> nameFilters; // fnmatch patterns of folder names that are not indexed
    std::vector<std::string> skippedAtHome; // names directly below the home folder that are not walked
    bool indexesHidden = true;
};

struct Listing {
    std::vector<std::string> folders;
    std::set<std::string> names; // every entry, for the marker and project-file checks
};

Listing list(const std::filesystem::path& folder) {
    Listing listing;
    std::error_code error;
    std::filesystem::directory_iterator it(folder, std::filesystem::directory_options::skip_permission_denied,
                                           error);
    for (; !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
        std::string name = it->path().filename().string();
        // symlink_status: a link to a folder is not a folder of this tree.
        if (it->symlink_status(error).type() == std::filesystem::file_type::directory)
            listing.folders.push_back(name);
        listing.names.insert(std::move(name));
    }
    std::sort(listing.folders.begin(), listing.folders.end());
    return listing;
}

bool holdsAny(const std::set<std::string>& names, std::initializer_list<std::string_view> wanted) {
    return std::any_of(wanted.begin(), wanted.end(),
                       [&](std::string_view name) { return names.contains(std::string(name)); });
}

// Whether `name` (a folder in a parent listed as `parent`) is build output or an environment we know.
bool isDeveloperFolder(const std::filesystem::path& folder, const std::string& name, const Listing& parent) {
    if (name == "node_modules" || name == "DerivedData" || name == ".build")
        return true;
    std::error_code error;
    if (name == "target")
        return holdsAny(parent.names, {"Cargo.toml", "pom.xml"}) ||
               std::filesystem::exists(folder / "CACHEDIR.TAG", error);
    if (name == "build")
        return holdsAny(parent.names,
                        {"CMakeLists.txt", "meson.build", "build.gradle", "build.gradle.kts", "package.json",
                         "setup.py", "pyproject.toml", "Makefile", "Package.swift"});
    return std::filesystem::exists(folder / "pyvenv.cfg", error);
}

bool filtered(const Policy& policy, const std::string& name) {
    if (!policy.indexesHidden && name.starts_with("."))
        return true;
    if (policy.indexer == Indexer::spotlight && name.size() > 8 && name.ends_with(".noindex"))
        return true;
    return std::any_of(policy.nameFilters.begin(), policy.nameFilters.end(), [&](const std::string& pattern) {
        return ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    });
}

bool excluded(const Policy& policy, const std::filesystem::path& folder) {
    return std::any_of(policy.excludedFolders.begin(), policy.excludedFolders.end(),
                       [&](const std::filesystem::path& out) { return folder == out; });
}

bool marked(const Policy& policy, const std::set<std::string>& names) {
    return std::any_of(policy.markers.begin(), policy.markers.end(),
                       [&](const std::string& marker) { return names.contains(marker); });
}

struct Walk {
    const IndexingAdvice::Setup& setup;
    const StopToken& stop;
    std::size_t listed = 0;
    std::set<std::filesystem::path> found{};

    void folder(const Policy& policy, const std::filesystem::path& path, int depth) {
        if (stop.stop_requested() || listed >= setup.maxFolders || excluded(policy, path))
            return;
        ++listed;
        const Listing listing = list(path);
        if (marked(policy, listing.names))
            return;
        for (const std::string& name : listing.folders) {
            if (filtered(policy, name) ||
                (path == setup.home && std::find(policy.skippedAtHome.begin(), policy.skippedAtHome.end(),
                                                 name) != policy.skippedAtHome.end()))
                continue;
            const std::filesystem::path child = path / name;
            if (name == ".git")
                continue;
            if (isDeveloperFolder(child, name, listing)) {
                if (!excluded(policy, child) && !marked(policy, list(child).names))
                    found.insert(child);
                continue;
            }
            if (depth < setup.maxDepth)
                folder(policy, child, depth + 1);
        }
    }
};

// The values of "key=" (or "key[$e]=") in `group`; "$HOME" stands for the home folder.
std::optional<std::vector<std::string>> iniList(std::string_view text, std::string_view group,
                                                std::string_view key, const std::filesystem::path& home) {
    std::optional<std::vector<std::string>> values;
    bool inGroup = false;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
        if (line.starts_with("[")) {
            inGroup = line == "[" + std::string(group) + "]";
            continue;
        }
        const std::size_t equals = line.find('=');
        if (!inGroup || equals == std::string_view::npos)
            continue;
        std::string_view name = line.substr(0, equals);
        if (name.ends_with("[$e]"))
            name.remove_suffix(4);
        if (name != key)
            continue;
        values.emplace();
        std::string_view rest = line.substr(equals + 1);
        while (!rest.empty()) {
            const std::size_t comma = rest.find(',');
            std::string item(rest.substr(0, comma));
            rest = comma == std::string_view::npos ? std::string_view{} : rest.substr(comma + 1);
            if (item.starts_with("$HOME"))
                item = home.string() + item.substr(5);
            while (item.size() > 1 && item.ends_with('/'))
                item.pop_back();
            if (!item.empty())
                values->push_back(std::move(item));
        }
    }
    return values;
}

std::optional<Policy> balooPolicy(const std::filesystem::path& home) {
    const std::optional<std::string> config = readSmallFile(home / ".config" / "baloofilerc", 256 * 1024);
    if (!config)
        return std::nullopt;
    const auto enabled = iniList(*config, "Basic Settings", "Indexing-Enabled", home);
    if (enabled && !enabled->empty() && Text::lowercased(enabled->front()) == "false")
        return std::nullopt;
    Policy policy;
    policy.indexer = Indexer::baloo;
    for (const std::string& folder :
         iniList(*config, "General", "folders", home).value_or(std::vector{home.string()}))
        policy.roots.push_back(folder);
    for (const std::string& folder :
         iniList(*config, "General", "exclude folders", home).value_or(std::vector<std::string>{}))
        policy.excludedFolders.push_back(folder);
    // Without its own list, Baloo's built-in filters apply; of our folders they name these.
    policy.nameFilters = iniList(*config, "General", "exclude filters", home)
                             .value_or(std::vector<std::string>{"node_modules", "venv", ".venv", ".git"});
    const auto hidden = iniList(*config, "General", "index hidden folders", home);
    policy.indexesHidden = hidden && !hidden->empty() && Text::lowercased(hidden->front()) == "true";
    return policy;
}

std::optional<Policy> trackerPolicy(const IndexingAdvice::Setup& setup) {
    const bool running =
        std::any_of(setup.runningPrograms.begin(), setup.runningPrograms.end(), [](const std::string& name) {
            // The kernel's short name keeps 15 bytes: "tracker-miner-f".
            return name == "localsearch-3" || name.starts_with("tracker-miner-f");
        });
    if (!running)
        return std::nullopt;
    const XdgUserDirs dirs = XdgUserDirs::read("/", setup.home);
    Policy policy;
    policy.indexer = Indexer::tracker;
    policy.roots = {
        dirs.desktop.value_or(setup.home / "Desktop"), dirs.documents.value_or(setup.home / "Documents"),
        dirs.pictures.value_or(setup.home / "Pictures"), setup.home / "Music", setup.home / "Videos"};
    policy.markers = {".trackerignore", ".git", ".hg", ".nomedia"};
    policy.indexesHidden = false;
    return policy;
}

IndexingHint hintFor(Indexer indexer, const std::filesystem::path& folder, std::int64_t size) {
    const std::string shown = Text::repairUTF8(folder.string());
    const std::string name = Text::repairUTF8(folder.filename().string());
    const std::string bytes = ByteFormat::fileSize(size);
    const std::string intro =
        "Der Ordner " + shown + " (" + bytes + ") wird nach jedem Build neu erzeugt und von ";
    const std::string why =
        " jedes Mal wieder durchsucht – das kostet Rechenzeit, obwohl darin nichts liegt, "
        "das du suchen würdest. ";
    IndexingHint hint;
    hint.folder = folder;
    hint.size = size;
    switch (indexer) {
    case Indexer::spotlight:
        hint.id = "indexing.spotlight." + folder.string();
        hint.title = "Spotlight durchsucht „" + name + "“ (" + bytes + ")";
        hint.text = intro + "Spotlight" + why + "Schließe ihn aus: im Terminal mit touch " +
                    ShellQuote::quote(shown + "/.metadata_never_index") +
                    " oder in den Systemeinstellungen unter Spotlight → Datenschutz.";
        break;
    case Indexer::tracker:
        hint.id = "indexing.tracker." + folder.string();
        hint.title = "Die Dateisuche durchsucht „" + name + "“ (" + bytes + ")";
        hint.text = intro + "der Dateisuche (Tracker)" + why + "Schließe ihn aus: im Terminal mit touch " +
                    ShellQuote::quote(shown + "/.trackerignore") +
                    " – Tracker lässt den Ordner dann samt Inhalt aus.";
        break;
    case Indexer::baloo:
        hint.id = "indexing.baloo." + folder.string();
        hint.title = "Die Dateisuche durchsucht „" + name + "“ (" + bytes + ")";
        hint.text = intro + "der Dateisuche (Baloo)" + why +
                    "Schließe ihn aus: im Terminal mit balooctl6 config add excludeFolders " +
                    ShellQuote::quote(shown) +
                    " (unter Plasma 5 balooctl statt balooctl6) oder in den "
                    "Systemeinstellungen unter Dateisuche.";
        break;
    }
    return hint;
}

} // namespace

std::vector<IndexingHint> IndexingAdvice::find(const Setup& setup, StopToken stop) {
    std::vector<Policy> policies;
    if (setup.layout == PlatformLayout::macOS) {
        Policy spotlight;
        spotlight.roots = {setup.home};
        spotlight.markers = {".metadata_never_index"};
        spotlight.skippedAtHome = {"Library", ".Trash"};
        policies.push_back(std::move(spotlight));
    } else {
        if (std::optional<Policy> tracker = trackerPolicy(setup))
            policies.push_back(std::move(*tracker));
        if (std::optional<Policy> baloo = balooPolicy(setup.home))
            policies.push_back(std::move(*baloo));
    }

    std::vector<IndexingHint> hints;
    for (const Policy& policy : policies) {
        Walk walk{setup, stop};
        for (const std::filesystem::path& root : policy.roots)
            walk.folder(policy, root, 0);
        if (policy.indexer == Indexer::spotlight) {
            const std::filesystem::path derivedData = setup.home / "Library/Developer/Xcode/DerivedData";
            std::error_code error;
            if (std::filesystem::is_directory(std::filesystem::symlink_status(derivedData, error)) &&
                !marked(policy, list(derivedData).names))
                walk.found.insert(derivedData);
        }
        for (const std::filesystem::path& folder : walk.found) {
            if (stop.stop_requested() || !setup.sizes)
                break;
            const std::int64_t size = setup.sizes->size(folder, stop);
            if (size >= setup.minimumSize)
                hints.push_back(hintFor(policy.indexer, folder, size));
        }
    }
    std::sort(hints.begin(), hints.end(), [](const IndexingHint& a, const IndexingHint& b) {
        return a.size != b.size ? a.size > b.size : a.id < b.id;
    });
    if (hints.size() > setup.maxHints)
        hints.resize(setup.maxHints);
    return hints;
}

} // namespace velmora
