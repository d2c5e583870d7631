#include "Scanning/Scanners/VersionManagerScanner.hpp"

#include "Findings/ItemsTotal.hpp"
#include "Platform/ToolLocator.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/PathScanner.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include <dirent.h>
#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;

struct Texts {
    std::string_view id;
    std::string_view title;
    std::string_view summary;
};

constexpr Texts nvmTexts{
    "languages.nvm", "Node.js-Versionen (nvm)",
    "Über nvm installierte Node.js-Versionen neben der Standardversion. Prüfe, ob ein Projekt eine davon "
    "noch braucht – „nvm install <Version>“ holt sie bei Bedarf zurück."};
constexpr Texts pyenvTexts{
    "languages.pyenv", "Python-Versionen (pyenv)",
    "Über pyenv installierte Python-Versionen neben der globalen Version. Prüfe, ob ein Projekt eine davon "
    "noch braucht – „pyenv install <Version>“ holt sie zurück; ihre virtuellen Umgebungen gehen mit."};
constexpr Texts rbenvTexts{
    "languages.rbenv", "Ruby-Versionen (rbenv)",
    "Über rbenv installierte Ruby-Versionen neben der globalen Version. Prüfe, ob ein Projekt eine davon "
    "noch braucht – „rbenv install <Version>“ holt sie bei Bedarf zurück."};

const Texts& textsFor(VersionManagerScanner::Manager manager) {
    switch (manager) {
    case VersionManagerScanner::Manager::nvm:
        return nvmTexts;
    case VersionManagerScanner::Manager::pyenv:
        return pyenvTexts;
    case VersionManagerScanner::Manager::rbenv:
        break;
    }
    return rbenvTexts;
}

std::optional<std::string> textOf(const fs::path& file) {
    std::ifstream in(file);
    if (!in)
        return std::nullopt;
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The version folders themselves: real folders only (pyenv's virtual environments are links into
// the version that holds them), no hidden names.
std::vector<std::string> installed(const fs::path& versions) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(versions.c_str());
    if (!dir)
        return names;
    while (const dirent* entry = ::readdir(dir)) {
        struct stat info {};
        if (entry->d_name[0] != '.' && ::lstat((versions / entry->d_name).c_str(), &info) == 0 &&
            S_ISDIR(info.st_mode))
            names.emplace_back(entry->d_name);
    }
    ::closedir(dir);
    std::ranges::sort(names);
    return names;
}

// Marks what `wanted` names among `versions`; false when it names nothing installed. A pyenv name may
// be a virtual environment ("3.11.4/envs/tools", or the link "tools" in the versions folder): then the
// version that holds it is in use.
bool protect(std::string wanted, const fs::path& versionsFolder, const std::vector<std::string>& versions,
             std::set<std::string>& kept) {
    if (wanted == "system")
        return true;
    std::error_code error;
    const auto link = versionsFolder / wanted;
    if (wanted.find('/') == std::string::npos && fs::is_symlink(link, error)) {
        const auto target = fs::weakly_canonical(link, error);
        const auto inside = target.lexically_relative(fs::weakly_canonical(versionsFolder, error));
        if (!error && !inside.empty() && *inside.begin() != "..")
            wanted = inside.begin()->string();
    }
    wanted = wanted.substr(0, wanted.find('/'));
    bool found = false;
    for (const auto& version : versions)
        if (VersionManagerScanner::selects(wanted, version)) {
            kept.insert(version);
            found = true;
        }
    return found;
}

std::chrono::system_clock::time_point modified(const fs::path& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0)
        return {};
    return std::chrono::system_clock::from_time_t(info.st_mtime);
}

} // namespace

std::string VersionManagerScanner::id() const {
    return std::string(textsFor(manager_).id);
}

std::vector<std::string> VersionManagerScanner::namesIn(std::string_view text) {
    std::vector<std::string> names;
    for (const auto line : toolscan::lines(text)) {
        std::istringstream words{std::string(line.substr(0, line.find('#')))};
        for (std::string word; words >> word;)
            names.push_back(word);
    }
    return names;
}

bool VersionManagerScanner::selects(std::string_view wanted, std::string_view version) {
    if (wanted.starts_with("ruby-") && !version.starts_with("ruby-"))
        wanted.remove_prefix(5);
    if (wanted.empty())
        return false;
    return version == wanted ||
           (version.starts_with(wanted) && (version[wanted.size()] == '.' || version[wanted.size()] == '-'));
}

std::expected<std::vector<Finding>, ScanError> VersionManagerScanner::scan(const ScanContext& context,
                                                                           StopToken stop) {
    fs::path versionsFolder;
    std::vector<std::string> versions;
    std::set<std::string> kept;
    if (manager_ == Manager::nvm) {
        versionsFolder = context.home / ".nvm/versions/node";
        versions = installed(versionsFolder);
        if (versions.empty())
            return std::vector<Finding>{};
        // The default alias and the home's own .nvmrc; either one that leads nowhere stops the offer.
        std::vector<std::string> wanted = {"default"};
        if (const auto nvmrc = textOf(context.home / ".nvmrc")) {
            const auto names = namesIn(*nvmrc);
            wanted.push_back(names.empty() ? std::string() : names.front());
        }
        for (const auto& name : wanted) {
            const auto folder = ToolLocator::nvmVersionFolder(context.home, name);
            if (!folder)
                return std::vector<Finding>{};
            if (*folder != "system")
                kept.insert(folder->filename().string());
        }
    } else {
        const bool python = manager_ == Manager::pyenv;
        const auto& configured = python ? context.pyenvRoot : context.rbenvRoot;
        const auto root = configured.empty() ? context.home / (python ? ".pyenv" : ".rbenv") : configured;
        versionsFolder = root / "versions";
        versions = installed(versionsFolder);
        if (versions.empty())
            return std::vector<Finding>{};
        // Without a global file the manager falls back to the system's own language: nothing of its
        // versions is then the default. pyenv may name several versions at once, rbenv only the first.
        std::vector<std::string> wanted;
        for (const auto& file :
             {root / "version", context.home / (python ? ".python-version" : ".ruby-version")})
            if (const auto text = textOf(file)) {
                auto names = namesIn(*text);
                if (!python && names.size() > 1)
                    names.resize(1);
                wanted.insert(wanted.end(), names.begin(), names.end());
            }
        for (const auto& name : wanted)
            if (!protect(name, versionsFolder, versions, kept))
                return std::vector<Finding>{};
    }

    std::vector<FindingItem> items;
    for (const auto& version : versions) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        const auto path = versionsFolder / version;
        if (kept.contains(version) || (context.safety && context.safety->check(path)))
            continue;
        auto item = toolscan::measuredItem(context, path, stop);
        item.date = modified(path);
        items.push_back(std::move(item));
    }
    if (items.empty())
        return std::vector<Finding>{};

    const auto& texts = textsFor(manager_);
    Finding finding;
    finding.id = FindingID{std::string(texts.id), ""};
    finding.category = Category::languages;
    finding.title = texts.title;
    finding.summary = texts.summary;
    finding.risk = Risk::review;
    // nvm is a shell function and cannot be started; pyenv and rbenv remove a version by deleting its
    // folder just the same. The Trash keeps the choice reversible and lets each version go on its own.
    finding.method = RemovalMethod::trash();
    finding.size = itemsTotal(items);
    finding.commandPreview = PathScanner::commandPreview(finding.method, items);
    finding.items = std::move(items);
    return std::vector<Finding>{std::move(finding)};
}

} // namespace velmora
