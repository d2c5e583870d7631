#include "SystemData/SystemAreas.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;

struct Row {
    const char* id;
    const char* title;
    const char* verdict;
    std::vector<const char*> locations; // absolute system paths
    AreaKind kind = AreaKind::system;
};

const char* const homeTitle = "Dein Benutzerordner";
const char* const homeVerdict = "Deine eigenen Dateien, Einstellungen und die Daten deiner Apps. Was davon "
                                "gefahrlos weg kann, zeigen dir die übrigen Kategorien von Velmora.";

std::vector<Row> macRows() {
    return {
        {"systemdata.applications",
         "Programme",
         "Installierte Apps für alle Benutzer. Apps, die du nicht mehr brauchst, entfernst du samt ihren "
         "Resten im Bereich „Apps“.",
         {"/Applications"},
         AreaKind::applications},
        {"systemdata.vm",
         "Auslagerung und Ruhezustand",
         "Auslagerungsdateien für knappen Arbeitsspeicher und das Abbild für den Ruhezustand. Wird von macOS "
         "verwaltet; ein Neustart gibt den Auslagerungsspeicher wieder frei.",
         // The VM volume where it has its own mount point; the folder of older systems otherwise.
         {"/System/Volumes/VM", "/private/var/vm"}},
        {"systemdata.snapshots",
         "Lokale Schnappschüsse",
         "Lokale Time-Machine-Schnappschüsse. Ihre Größe lässt sich nicht messen. macOS löscht sie nach "
         "24 Stunden oder bei Platzmangel selbst; sofort entfernen lassen sie sich mit "
         "„tmutil deletelocalsnapshots /“.",
         {},
         AreaKind::unmeasurable},
        {"systemdata.libraryCaches",
         "Caches für alle Benutzer",
         "Zwischenspeicher, die Apps und Dienste für alle Benutzer anlegen. Sie werden bei Bedarf neu "
         "erstellt; Velmora kann sie mit Administratorrechten leeren.",
         {"/Library/Caches"}},
        {"systemdata.systemCaches",
         "Caches von macOS",
         "Zwischenspeicher von macOS selbst. Wird von macOS verwaltet und bei Platzmangel selbst geleert.",
         {"/System/Library/Caches"}},
        {"systemdata.varFolders",
         "Temporäre Systemordner",
         "Temporäre Dateien und Caches aller Benutzer und Systemdienste. Wird von macOS verwaltet; ein "
         "Neustart räumt einen Teil davon auf.",
         {"/private/var/folders"}},
        {"systemdata.logs",
         "Protokolle",
         "Protokolldateien von Apps und Systemdiensten. macOS rotiert die meisten selbst; Protokolle, die "
         "älter als 30 Tage sind, kann Velmora mit Administratorrechten entfernen.",
         {"/Library/Logs", "/private/var/log"}},
        {"systemdata.unifiedLog",
         "Systemprotokoll",
         "Das einheitliche Protokoll von macOS. macOS begrenzt seine Größe und verwirft alte Einträge "
         "selbst. "
         "Ganz leeren lässt es sich mit Administratorrechten – dann fehlen die Einträge für die "
         "Fehlersuche.",
         {"/private/var/db/diagnostics", "/private/var/db/uuidtext"}},
        {"systemdata.assets",
         "Geladene Systemkomponenten",
         "Von macOS nachgeladene Komponenten wie Stimmen, Schriften, Sprachdaten oder Simulator-Laufzeiten. "
         "Wird von macOS verwaltet und bei Platzmangel teilweise selbst entfernt; Simulator-Laufzeiten "
         "löschst du in Xcode.",
         {"/System/Library/AssetsV2"}},
        {"systemdata.updates",
         "Reste von Softwareupdates",
         "Heruntergeladene macOS-Updates. Nach der Installation braucht sie niemand mehr; macOS räumt sie "
         "meist selbst auf, Velmora zeigt dir den Ordner.",
         {"/Library/Updates"}},
        {"systemdata.applicationSupport",
         "Programmdaten für alle Benutzer",
         "Daten, die Apps für alle Benutzer ablegen, etwa Plug-ins, Vorlagen oder Lizenzen. Wird kleiner, "
         "wenn du die zugehörigen Apps entfernst.",
         {"/Library/Application Support"}},
        {"systemdata.developer",
         "Entwicklerwerkzeuge",
         "Kommandozeilenwerkzeuge, SDKs und Simulator-Laufzeiten von Xcode. Simulatoren entfernst du in "
         "Xcode; die Werkzeuge lädt macOS bei Bedarf neu.",
         {"/Library/Developer"}},
        {"systemdata.spotlight",
         "Spotlight-Index",
         "Der Suchindex von Spotlight. macOS baut ihn selbst auf und hält ihn aktuell; bei Bedarf lässt er "
         "sich in den Systemeinstellungen unter „Spotlight“ neu erstellen.",
         {"/.Spotlight-V100", "/System/Volumes/Data/.Spotlight-V100"}},
    };
}

std::vector<Row> linuxRows() {
    return {
        {"systemdata.programs",
         "Programme",
         "Installierte Programme und Bibliotheken des Systems. Wird kleiner, wenn du Pakete deinstallierst, "
         "die du nicht mehr brauchst (etwa mit „apt autoremove“).",
         {"/usr", "/opt"},
         AreaKind::applications},
        {"systemdata.packageCaches",
         "Paket-Caches",
         "Heruntergeladene Pakete und andere Zwischenspeicher des Systems. Den Cache der Paketverwaltung "
         "kann "
         "Velmora mit Administratorrechten leeren; Pakete werden bei Bedarf neu geladen.",
         {"/var/cache"}},
        {"systemdata.logs",
         "Protokolle",
         "Protokolldateien des Systems, das Journal eingeschlossen. Die meisten rotiert das System selbst; "
         "alte Einträge des Journals kann Velmora mit Administratorrechten entfernen.",
         {"/var/log"}},
        {"systemdata.containers",
         "Container und App-Laufzeiten",
         "Abbilder und Daten von Docker, Podman, Flatpak und Snap. Ungenutzte Abbilder entfernst du mit dem "
         "jeweiligen Werkzeug (etwa „docker system prune“); ungenutzte Flatpak-Laufzeiten kann Velmora "
         "entfernen.",
         {"/var/lib/docker", "/var/lib/containers", "/var/lib/flatpak", "/var/lib/snapd"}},
        {"systemdata.temporary",
         "Temporäre Dateien",
         "Temporäre Dateien von Programmen und Benutzern. Das System leert sie meist beim Neustart; deine "
         "eigenen alten Dateien darin kann Velmora entfernen.",
         {"/tmp", "/var/tmp"}},
        {"systemdata.swap",
         "Auslagerungsdateien",
         "Auslagerungsspeicher, den das System bei knappem Arbeitsspeicher nutzt. Seine Größe legt die "
         "Systemkonfiguration fest; verkleinern lässt er sich nur dort, mit Administratorrechten.",
         {}},
        {"systemdata.crashDumps",
         "Absturzabbilder",
         "Speicherabbilder abgestürzter Programme. Sie dienen nur der Fehlersuche; alte Abbilder kann "
         "Velmora mit Administratorrechten entfernen.",
         {"/var/lib/systemd/coredump", "/var/crash"}},
        {"systemdata.boot",
         "Startdateien",
         "Kernel und Startdateien des Systems. Alte Kernel entfernt die Paketverwaltung (etwa mit "
         "„apt autoremove“); von Hand solltest du hier nichts löschen.",
         {"/boot"}},
    };
}

const char* const otherUsersTitle = "Andere Benutzer";

struct Identity {
    dev_t device;
    ino_t inode;
    auto operator<=>(const Identity&) const = default;
};

// A folder or regular file as it is, links not followed; nothing for anything else.
std::optional<Identity> identityOf(const fs::path& path, bool folderOnly = false) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0)
        return std::nullopt;
    if (!S_ISDIR(st.st_mode) && (folderOnly || !S_ISREG(st.st_mode)))
        return std::nullopt;
    return Identity{st.st_dev, st.st_ino};
}

fs::path underRoot(const fs::path& rootPrefix, const fs::path& absolute) {
    return rootPrefix / absolute.relative_path();
}

// The home folders of the other accounts below /Users or /home (and root's on Linux). On macOS
// "Shared" holds files every account shares; it is no one's own, so it is counted here as well.
// Hidden entries are not accounts.
std::vector<fs::path> otherHomes(const SystemAreas::Setup& setup, const std::optional<Identity>& ownHome) {
    const bool mac = setup.layout == PlatformLayout::macOS;
    std::vector<fs::path> candidates;
    std::error_code error;
    const fs::path parent = underRoot(setup.rootPrefix, mac ? "/Users" : "/home");
    for (fs::directory_iterator it(parent, error), end; !error && it != end; it.increment(error))
        if (!it->path().filename().string().starts_with("."))
            candidates.push_back(it->path());
    std::ranges::sort(candidates);
    if (!mac)
        candidates.push_back(underRoot(setup.rootPrefix, "/root"));

    std::vector<fs::path> homes;
    for (const auto& candidate : candidates) {
        const auto identity = identityOf(candidate, true);
        if (identity && identity != ownHome && candidate != setup.home)
            homes.push_back(candidate);
    }
    return homes;
}

SystemArea makeArea(const char* id, const char* title, const char* verdict, AreaKind kind,
                    const std::vector<fs::path>& candidates, std::set<Identity>& seen) {
    SystemArea area{id, title, verdict, {}, kind};
    for (const auto& candidate : candidates) {
        // The same folder reached through two paths (a firmlink, a bind mount) is measured once.
        if (const auto identity = identityOf(candidate); identity && seen.insert(*identity).second)
            area.locations.push_back(candidate);
    }
    return area;
}

struct AssetRule {
    std::string_view fragment;
    std::string_view name;
};

// First match wins, so the narrower fragments come before the broader ones.
constexpr std::array assetRules{
    AssetRule{"SimulatorRuntime", "Simulator-Laufzeiten"},
    AssetRule{"MacSoftwareUpdate", "macOS-Softwareupdates"},
    AssetRule{"SoftwareUpdate", "Softwareupdates"},
    AssetRule{"VoiceTrigger", "Erkennung von „Hey Siri“"},
    AssetRule{"VoiceServices", "Stimmen"},
    AssetRule{"TTS", "Stimmen"},
    AssetRule{"Vocalizer", "Stimmen"},
    AssetRule{"MacinTalk", "Stimmen"},
    AssetRule{"Font", "Schriften"},
    AssetRule{"UAF_FM", "Modelle für Apple Intelligence"},
    AssetRule{"GenerativeModels", "Modelle für Apple Intelligence"},
    AssetRule{"Siri", "Siri"},
    AssetRule{"EmbeddedSpeech", "Diktat und Spracherkennung"},
    AssetRule{"SpeechEndpoint", "Diktat und Spracherkennung"},
    AssetRule{"Dictation", "Diktat und Spracherkennung"},
    AssetRule{"SpeechRecognition", "Diktat und Spracherkennung"},
    AssetRule{"LinguisticData", "Sprachdaten für Autokorrektur und Vorschläge"},
    AssetRule{"DictionaryServices", "Wörterbücher"},
    AssetRule{"Translation", "Übersetzung"},
    AssetRule{"UAF_", "Apple Intelligence und Siri"},
    AssetRule{"TimeZoneUpdate", "Zeitzonendaten"},
    AssetRule{"Rosetta", "Rosetta"},
};

} // namespace

std::vector<SystemArea> SystemAreas::forMachine(const Setup& setup) {
    const bool mac = setup.layout == PlatformLayout::macOS;
    std::set<Identity> seen;
    const auto ownHome = identityOf(setup.home, true);
    std::vector<SystemArea> areas;
    // The home comes first and claims its folder, so that it never turns up among the others.
    SystemArea home =
        makeArea("systemdata.home", homeTitle, homeVerdict, AreaKind::userHome, {setup.home}, seen);
    areas.push_back(std::move(home));

    for (const Row& row : mac ? macRows() : linuxRows()) {
        std::vector<fs::path> candidates;
        for (const char* location : row.locations)
            candidates.push_back(underRoot(setup.rootPrefix, location));
        if (std::string_view(row.id) == "systemdata.swap")
            candidates = setup.swapFiles;
        SystemArea area = makeArea(row.id, row.title, row.verdict, row.kind, candidates, seen);
        if (row.kind == AreaKind::unmeasurable || !area.locations.empty())
            areas.push_back(std::move(area));
    }

    SystemArea others = makeArea(
        "systemdata.otherUsers", otherUsersTitle,
        mac ? "Die Benutzerordner der anderen Konten auf diesem Mac und der Ordner „Geteilt“. Aufräumen "
              "können darin nur die jeweiligen Benutzer selbst."
            : "Die Benutzerordner der anderen Konten auf diesem Rechner, der des Administrators "
              "eingeschlossen. Aufräumen können darin nur die jeweiligen Benutzer selbst.",
        AreaKind::system, otherHomes(setup, ownHome), seen);
    if (!others.locations.empty())
        areas.push_back(std::move(others));
    return areas;
}

std::string SystemAreas::assetName(std::string_view folderName) {
    for (const AssetRule& rule : assetRules)
        if (folderName.find(rule.fragment) != std::string_view::npos)
            return std::string(rule.name);
    return std::string(folderName);
}

std::vector<AssetFolder> SystemAreas::assetsBreakdown(const fs::path& assetsV2, const SizeMeasurer& sizer,
                                                      StopToken stop) {
    std::vector<AssetFolder> folders;
    std::error_code error;
    for (fs::directory_iterator it(assetsV2, error), end; !error && it != end; it.increment(error)) {
        if (stop.stop_requested())
            break;
        if (!identityOf(it->path(), true))
            continue;
        const auto measured = sizer.measureBounded(it->path(), stop, true);
        folders.push_back(AssetFolder{assetName(it->path().filename().string()), it->path(), measured.bytes,
                                      measured.complete});
    }
    std::ranges::sort(folders, [](const AssetFolder& a, const AssetFolder& b) {
        return a.size != b.size ? a.size > b.size : a.folder < b.folder;
    });
    return folders;
}

} // namespace velmora
