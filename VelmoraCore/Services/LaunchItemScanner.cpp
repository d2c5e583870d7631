#include "Services/LaunchItemScanner.hpp"

#include "Safety/ServiceLabel.hpp"
#include "Services/LaunchdService.hpp"
#include "Services/LoginItemReader.hpp"
#include "Services/WorkspaceAppLocator.hpp"
#include "Support/PropertyList.hpp"
#include "Support/StopToken.hpp"
#include "Support/Text.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <map>
#include <sys/stat.h>

namespace velmora {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view appleLabelPrefix = "com.apple.";
constexpr std::string_view ownLabelPrefix = "de.tobrenlux.velmora2.";
constexpr std::string_view ownAgentName = "Velmora 2 – automatischer Check";

constexpr std::string_view unreadableText =
    "Die Datei konnte nicht gelesen werden. Velmora 2 fasst sie nicht an.";
constexpr std::string_view ownAgentText =
    "Das ist der automatische Check von Velmora 2. Er bleibt immer erhalten.";
constexpr std::string_view movedText =
    "Das Programm liegt nicht mehr am erwarteten Ort, die App ist aber installiert.";
constexpr std::string_view programMissingText = "Das Programm fehlt: ";
constexpr std::string_view appDeletedText = "Die App wurde vermutlich gelöscht.";
constexpr std::string_view uninstalledText = "Es wurde vermutlich deinstalliert.";
constexpr std::string_view missingInAppText =
    "Das Programm fehlt in der installierten App. Nicht entfernbar – bitte die App neu installieren.";
constexpr std::string_view appNotInstalledText =
    "Die zugehörige App ist nicht mehr installiert. Die App wurde vermutlich gelöscht.";
constexpr std::string_view disconnectedText = "Das Programm liegt auf einem nicht verbundenen Laufwerk.";
constexpr std::string_view belongsToText = "Gehört zu ";
constexpr std::string_view noKnownAppText = "Gehört zu keiner erkennbaren App.";

constexpr std::string_view sharedLabelReason =
    "Ein gleichnamiger, intakter Dienst läuft – bitte über die zugehörige App entfernen.";
constexpr std::string_view ownReason = "Gehört zu Velmora 2 und bleibt erhalten.";
constexpr std::string_view loginItemReason = "Anmeldeobjekte schaltest du in den Systemeinstellungen aus.";
constexpr std::string_view notOrphanedReason = "Der Dienst ist nicht verwaist.";
constexpr std::string_view systemReason = "Gehört zu macOS.";
constexpr std::string_view oddLabelReason = "Ungewöhnlicher Name – Velmora 2 fasst diesen Dienst nicht an.";
constexpr std::string_view misplacedReason = "Die Startdatei liegt nicht am erwarteten Ort.";

// Compared without regard to case, as the Mac's file system finds "/system/…" at "/System/…" too.
constexpr std::array<std::string_view, 6> systemProgramPrefixes{"/bin/",      "/sbin/",        "/usr/bin/",
                                                                "/usr/sbin/", "/usr/libexec/", "/system/"};

enum class Existence { exists, missing, unknown };

// Only "no such file" and "a piece of the path is no folder" prove that something is gone; any other
// failure (no permission, a link loop, an overlong path) leaves the question open.
Existence existence(const fs::path& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0)
        return Existence::exists;
    return errno == ENOENT || errno == ENOTDIR ? Existence::missing : Existence::unknown;
}

std::vector<std::string_view> pathPieces(std::string_view path) {
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    while (start <= path.size()) {
        const auto end = std::min(path.find('/', start), path.size());
        if (end > start)
            pieces.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

std::string joinedPath(const std::vector<std::string_view>& pieces, std::size_t count) {
    std::string path;
    for (std::size_t i = 0; i < count; ++i)
        (path += '/') += pieces[i];
    return path;
}

bool endsWithIgnoringCase(std::string_view text, std::string_view suffix) {
    if (text.size() < suffix.size())
        return false;
    return std::ranges::equal(text.substr(text.size() - suffix.size()), suffix, [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    });
}

bool hasLabelPrefix(std::string_view label, std::string_view prefix) {
    return Text::lowercased(label).starts_with(prefix);
}

// What the program path tells about the service, worked out once before the verdict.
struct ProgramFacts {
    bool disconnected = false;
    bool programGone = false;
    bool inApp = false;
    bool missingInInstalledApp = false;
    bool untestable = false;    // an existence test could not answer; no verdict may call it gone
    bool systemProgram = false; // the operating system's own; whatever it declares, never orphaned
    std::optional<std::string> enclosingApp; // as the system names it
    bool enclosingAppExists = false;

    bool any() const { return disconnected || programGone || inApp || missingInInstalledApp; }
};

ProgramFacts programFacts(const fs::path& root, const std::optional<std::string>& program) {
    ProgramFacts facts;
    if (!program || !program->starts_with('/'))
        return facts;
    const std::string lowerProgram = Text::lowercased(*program);
    facts.systemProgram = std::ranges::any_of(
        systemProgramPrefixes, [&](std::string_view p) { return lowerProgram.starts_with(p); });
    if (facts.systemProgram)
        return facts;
    const auto under = [&](std::string_view logical) { return root / fs::path(logical).relative_path(); };
    const auto pieces = pathPieces(*program);

    if (pieces.size() >= 2 && Text::lowercased(pieces[0]) == "volumes") {
        const auto volume = existence(under(joinedPath(pieces, 2)));
        if (volume != Existence::exists) {
            facts.disconnected = true;
            return facts;
        }
    }

    const auto programState = existence(under(*program));
    const auto app =
        std::ranges::find_if(pieces, [](std::string_view p) { return endsWithIgnoringCase(p, ".app"); });
    if (app == pieces.end()) {
        facts.programGone = programState == Existence::missing;
        facts.untestable = programState == Existence::unknown;
        return facts;
    }

    facts.inApp = true;
    facts.enclosingApp = joinedPath(pieces, static_cast<std::size_t>(app - pieces.begin()) + 1);
    const auto appState = existence(under(*facts.enclosingApp));
    facts.enclosingAppExists = appState == Existence::exists;
    facts.untestable = programState == Existence::unknown || appState == Existence::unknown;
    if (facts.untestable)
        return facts;
    if (appState == Existence::exists)
        facts.missingInInstalledApp = programState == Existence::missing;
    else
        facts.programGone = true;
    return facts;
}

// The name the Finder shows for an app bundle: its file name without ".app".
std::string appName(const fs::path& app) {
    std::string name = Text::repairUTF8(app.filename().string());
    if (endsWithIgnoringCase(name, ".app"))
        name.resize(name.size() - 4);
    return name;
}

StartKind startKind(plist_t dict) {
    if (plistBool(dict, "RunAtLoad") == true)
        return StartKind::atLogin;
    plist_t keepAlive = plistValue(dict, "KeepAlive");
    if (plistBool(dict, "KeepAlive") == true ||
        (keepAlive && plist_get_node_type(keepAlive) == PLIST_DICT && plistCount(keepAlive) > 0))
        return StartKind::atLogin;
    if (plistValue(dict, "StartInterval") || plistValue(dict, "StartCalendarInterval"))
        return StartKind::scheduled;
    return StartKind::onDemand;
}

std::string itemID(LaunchScope scope, std::string_view label) {
    return std::string(rawValue(scope)) + "/" + std::string(label);
}

// The start file's name without ".plist": what the administrator path deletes is checked as a label.
std::string startFileLabel(const fs::path& plist) {
    std::string name = plist.filename().string();
    if (endsWithIgnoringCase(name, ".plist"))
        name.resize(name.size() - 6);
    return name;
}

std::vector<std::string> lowercasedPieces(const fs::path& path) {
    std::vector<std::string> pieces;
    for (const auto& piece : path.lexically_normal())
        if (!piece.empty() && piece != "/")
            pieces.push_back(Text::lowercased(piece.string()));
    return pieces;
}

// What the app index says about the declared bundle identifiers taken together.
struct DeclaredApps {
    bool anyInstalled = false;
    bool anyUnknown = false; // the index could not tell for one of them
};

// The verdict for an agent or daemon: the first rule that holds decides the sentence and whether
// the service is orphaned. An app the index cannot vouch for either way is never taken for gone.
void judge(LaunchItem& item, const ProgramFacts& facts, const std::optional<LocatedApp>& owner,
           DeclaredApps apps) {
    item.displayName = owner && item.appURL ? owner->name : readableLabel(item.label);
    if (hasLabelPrefix(item.label, ownLabelPrefix)) {
        item.isOwnAgent = true;
        item.displayName = ownAgentName;
        item.explanation = ownAgentText;
        return;
    }
    if (facts.programGone && apps.anyInstalled) {
        item.explanation = movedText;
    } else if (facts.programGone && !apps.anyUnknown) {
        item.explanation = std::string(programMissingText) + Text::repairUTF8(*item.programPath) + ". " +
                           std::string(facts.inApp ? appDeletedText : uninstalledText);
        item.isOrphaned = true;
    } else if (facts.missingInInstalledApp) {
        item.explanation = missingInAppText;
    } else if (!facts.any() && !facts.untestable && !facts.systemProgram &&
               !item.associatedBundleIDs.empty() && !apps.anyInstalled && !apps.anyUnknown) {
        // A program that could not be tested may well be there; only a clean record counts here.
        item.explanation = appNotInstalledText;
        item.isOrphaned = true;
    } else if (facts.disconnected) {
        item.explanation = disconnectedText;
    } else if (owner) {
        item.explanation = std::string(belongsToText) + owner->name + ".";
    } else {
        item.explanation = noKnownAppText;
        item.hasNoKnownApp = true;
    }
}

} // namespace

LaunchItemScanner::Sources LaunchItemScanner::Sources::live(fs::path rootPrefix, fs::path home,
                                                            std::uint32_t uid,
                                                            std::shared_ptr<CommandRunner> runner,
                                                            PlatformLayout layout) {
    Sources sources;
    sources.apps = std::make_shared<WorkspaceAppLocator>(rootPrefix, home, layout);
    sources.rootPrefix = std::move(rootPrefix);
    sources.home = std::move(home);
    sources.uid = uid;
    sources.runner = std::move(runner);
    return sources;
}

LaunchItemScanner::LaunchItemScanner(Sources sources) : sources_(std::move(sources)) {}

bool LaunchItemScanner::isValidLabel(std::string_view label) {
    return ServiceLabel::isValid(label);
}

std::optional<fs::path> LaunchItemScanner::folder(LaunchScope scope) const {
    switch (scope) {
    case LaunchScope::user:
        return sources_.home / "Library" / "LaunchAgents";
    case LaunchScope::allUsers:
        return sources_.rootPrefix / "Library" / "LaunchAgents";
    case LaunchScope::system:
        return sources_.rootPrefix / "Library" / "LaunchDaemons";
    case LaunchScope::loginItem:
        return std::nullopt;
    }
    return std::nullopt;
}

AppPresence LaunchItemScanner::presence(const std::string& bundleID) const {
    return sources_.apps ? sources_.apps->presence(bundleID) : AppPresence::notInstalled;
}

std::optional<LocatedApp> LaunchItemScanner::installedApp(const std::vector<std::string>& bundleIDs) const {
    for (const auto& bundleID : bundleIDs) {
        if (presence(bundleID) != AppPresence::installed)
            continue;
        if (auto app = sources_.apps ? sources_.apps->find(bundleID) : std::nullopt)
            return app;
        // Installed, but the locator cannot say where: known by its identifier.
        return LocatedApp{{}, bundleID};
    }
    return std::nullopt;
}

std::optional<LaunchItem> LaunchItemScanner::readPlist(LaunchScope scope, const fs::path& file,
                                                       const std::string& fileLabel) const {
    LaunchItem item;
    item.scope = scope;
    item.plistURL = file;

    const auto plist = readPropertyList(file);
    const plist_t dict = plist && plist_get_node_type(plist.get()) == PLIST_DICT ? plist.get() : nullptr;
    const auto label = plistString(dict, "Label");
    if (!label || label->empty()) {
        // Unreadable, or a file launchd itself would refuse: listed, but never judged or touched.
        item.label = Text::repairUTF8(fileLabel);
        item.id = itemID(scope, item.label);
        item.displayName = item.label;
        item.explanation = unreadableText;
        return item;
    }
    if (hasLabelPrefix(*label, appleLabelPrefix))
        return std::nullopt;

    item.label = Text::repairUTF8(*label);
    item.id = itemID(scope, item.label);
    if (auto arguments = plistStringArray(dict, "ProgramArguments"); arguments && !arguments->empty())
        item.programPath = std::move(arguments->front());
    else if (auto program = plistString(dict, "Program"))
        item.programPath = std::move(*program);
    if (auto bundleIDs = plistStringArray(dict, "AssociatedBundleIdentifiers"))
        for (auto& bundleID : *bundleIDs)
            item.associatedBundleIDs.push_back(Text::repairUTF8(bundleID));
    item.startKind = startKind(dict);

    const ProgramFacts facts = programFacts(sources_.rootPrefix, item.programPath);
    const auto under = [&](const std::string& logical) {
        return sources_.rootPrefix / fs::path(logical).relative_path();
    };

    std::optional<LocatedApp> owner;
    if (facts.enclosingApp && facts.enclosingAppExists) {
        const fs::path url = under(*facts.enclosingApp);
        owner = LocatedApp{url, appName(url)};
    } else {
        owner = installedApp(item.associatedBundleIDs);
    }
    if (owner && !owner->url.empty())
        item.appURL = owner->url;

    // A bundle program is named relative to the app that registered the service; it says where the
    // program would be, but no verdict rests on it.
    if (!item.programPath && item.appURL)
        if (auto bundleProgram = plistString(dict, "BundleProgram"); bundleProgram && !bundleProgram->empty())
            item.programPath =
                "/" + item.appURL->lexically_relative(sources_.rootPrefix).string() + "/" + *bundleProgram;

    DeclaredApps apps;
    for (const auto& bundleID : item.associatedBundleIDs) {
        const auto answer = presence(bundleID);
        apps.anyInstalled = apps.anyInstalled || answer == AppPresence::installed;
        apps.anyUnknown = apps.anyUnknown || answer == AppPresence::unknown;
    }
    judge(item, facts, owner, apps);
    return item;
}

std::vector<LaunchItem> LaunchItemScanner::readFolder(LaunchScope scope, StopToken stop) const {
    std::vector<LaunchItem> items;
    const auto where = folder(scope);
    if (!where)
        return items;
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(*where, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    std::ranges::sort(names);

    constexpr std::string_view suffix = ".plist";
    for (const auto& name : names) {
        if (stop.stop_requested())
            break;
        if (!endsWithIgnoringCase(name, suffix))
            continue;
        const fs::path file = *where / name;
        struct stat st {};
        if (::lstat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
            continue;
        const std::string fileLabel = name.substr(0, name.size() - suffix.size());
        if (hasLabelPrefix(fileLabel, appleLabelPrefix))
            continue;
        auto item = readPlist(scope, file, fileLabel);
        if (!item)
            continue;
        // An unreadable file is never judged, so launchd is not asked about it either.
        if (item->explanation != unreadableText && sources_.runner)
            if (const auto target = LaunchdService::target(scope, sources_.uid, item->label)) {
                const auto state = LaunchdService::query(*sources_.runner, *target, stop);
                item->isRunning = state && state->isRunning;
            }
        items.push_back(std::move(*item));
    }
    return items;
}

ServicesLoad LaunchItemScanner::load(StopToken stop) const {
    ServicesLoad load;
    for (const LaunchScope scope : {LaunchScope::user, LaunchScope::allUsers, LaunchScope::system}) {
        auto items = readFolder(scope, stop);
        std::ranges::move(items, std::back_inserter(load.items));
    }

    // Two files with one label in one folder would share an id; the later ones are told apart by
    // their file name, so that selecting one never selects the other.
    std::map<std::string, int> seen;
    for (auto& item : load.items)
        if (seen[item.id]++ > 0 && item.plistURL)
            item.id += " (" + Text::repairUTF8(item.plistURL->filename().string()) + ")";

    if (sources_.includeLoginItems && !stop.stop_requested()) {
        const LoginItemReader reader(sources_.runner, sources_.uid);
        if (auto loginItems = reader.read(stop)) {
            for (auto& item : *loginItems) {
                const auto app = installedApp(item.associatedBundleIDs);
                if (app && !app->url.empty())
                    item.appURL = app->url;
                item.hasNoKnownApp = !app;
                load.items.push_back(std::move(item));
            }
        } else {
            load.loginItemsFailed = true;
        }
    }

    // Stopping a label stops every service of that name, so an orphan that shares its label with a
    // service we keep must stay.
    std::map<std::string, int> kept;
    for (const auto& item : load.items)
        if (!item.isOrphaned)
            ++kept[Text::lowercased(item.label)];
    for (auto& item : load.items)
        if (item.isOrphaned && kept.contains(Text::lowercased(item.label)))
            item.sharesLabelWithKeptService = true;

    std::ranges::stable_sort(load.items, [](const LaunchItem& a, const LaunchItem& b) {
        if (a.scope != b.scope)
            return a.scope < b.scope;
        if (const int order = Text::finderCompare(a.displayName, b.displayName); order != 0)
            return order < 0;
        if (a.label != b.label)
            return a.label < b.label;
        return a.id < b.id;
    });
    for (const auto& item : load.items)
        if (auto reason = removalBlockReason(item))
            load.blockReasons.emplace(item.id, std::move(*reason));
    return load;
}

std::vector<LaunchItem> LaunchItemScanner::scan(StopToken stop) const {
    return load(std::move(stop)).items;
}

bool LaunchItemScanner::isRemovableAlone(const LaunchItem& item) const {
    if (!item.isOrphaned || item.isOwnAgent || item.scope == LaunchScope::loginItem || !item.plistURL)
        return false;
    if (hasLabelPrefix(item.label, ownLabelPrefix) || hasLabelPrefix(item.label, appleLabelPrefix))
        return false;
    // The label is what gets stopped and the file name is checked again before the file is deleted;
    // an odd one of either is never offered, so that removal is not refused half-way.
    if (!isValidLabel(item.label) || !isValidLabel(startFileLabel(*item.plistURL)))
        return false;
    const auto where = folder(item.scope);
    return where && endsWithIgnoringCase(item.plistURL->filename().string(), ".plist") &&
           lowercasedPieces(item.plistURL->parent_path()) == lowercasedPieces(*where);
}

bool LaunchItemScanner::isRemovable(const LaunchItem& item) const {
    return !item.sharesLabelWithKeptService && isRemovableAlone(item);
}

std::optional<std::string> LaunchItemScanner::removalBlockReason(const LaunchItem& item) const {
    const bool removable = isRemovableAlone(item);
    if (item.sharesLabelWithKeptService && removable)
        return std::string(sharedLabelReason);
    if (!item.sharesLabelWithKeptService && removable)
        return std::nullopt;
    if (item.isOwnAgent || hasLabelPrefix(item.label, ownLabelPrefix))
        return std::string(ownReason);
    if (item.scope == LaunchScope::loginItem)
        return std::string(loginItemReason);
    if (!item.isOrphaned)
        return std::string(notOrphanedReason);
    const std::string lower = Text::lowercased(item.label);
    if (std::ranges::any_of(ServiceLabel::protectedPrefixes, [&](std::string_view prefix) {
            return prefix != ownLabelPrefix && lower.starts_with(prefix);
        }))
        return std::string(systemReason);
    if (!isValidLabel(item.label) || (item.plistURL && !isValidLabel(startFileLabel(*item.plistURL))))
        return std::string(oddLabelReason);
    return std::string(misplacedReason);
}

} // namespace velmora
