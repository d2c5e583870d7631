#include "Scanning/Catalog.hpp"

#include "Scanning/PathScanner.hpp"
#include "Scanning/Scanners/AppCachesScanner.hpp"
#include "Scanning/Scanners/AppLeftoversScanner.hpp"
#include "Scanning/Scanners/BigChunksScanner.hpp"
#include "Scanning/Scanners/CondaScanner.hpp"
#include "Scanning/Scanners/ContainerPruneScanner.hpp"
#include "Scanning/Scanners/DeviceBackupsScanner.hpp"
#include "Scanning/Scanners/HomebrewScanner.hpp"
#include "Scanning/Scanners/JetBrainsScanner.hpp"
#include "Scanning/Scanners/LocalSnapshotsScanner.hpp"
#include "Scanning/Scanners/MessageAttachmentsScanner.hpp"
#include "Scanning/Scanners/OldInstallersScanner.hpp"
#include "Scanning/Scanners/OldKernelsScanner.hpp"
#include "Scanning/Scanners/OldLogsScanner.hpp"
#include "Scanning/Scanners/OllamaScanner.hpp"
#include "Scanning/Scanners/PhotosScanner.hpp"
#include "Scanning/Scanners/RustupScanner.hpp"
#include "Scanning/Scanners/SimulatorRuntimesScanner.hpp"
#include "Scanning/Scanners/SimulatorsScanner.hpp"
#include "Scanning/Scanners/SoftwareUpdatesScanner.hpp"
#include "Scanning/Scanners/TexLiveScanner.hpp"
#include "Scanning/Scanners/UnusedAppsScanner.hpp"
#include "Scanning/Scanners/VersionManagerScanner.hpp"
#include "Scanning/Scanners/XcodeVersionsScanner.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>

namespace velmora {

namespace {

using namespace std::chrono_literals;

PathRule row(std::string id, std::string title, Risk risk, RemovalMethod method,
             std::vector<std::string> patterns, std::string summary, PathBase base = PathBase::home) {
    PathRule rule;
    rule.category = categoryForScannerID(id).value_or(Category::system);
    rule.id = std::move(id);
    rule.title = std::move(title);
    rule.summary = std::move(summary);
    rule.base = base;
    rule.patterns = std::move(patterns);
    rule.risk = risk;
    rule.method = std::move(method);
    return rule;
}

AppRef app(std::string bundleID, std::string name) {
    return AppRef{std::move(bundleID), name, name};
}

const RemovalMethod trash = RemovalMethod::trash();
const RemovalMethod del = RemovalMethod::deleteDirectly();
// The hint rows show where the data lies; the scanner fills in the place it found.
const RemovalMethod reveal = RemovalMethod::hint(HintAction{HintAction::RevealInFinder{}});

std::string packageSummary(const std::string& tool) {
    return "Heruntergeladene Pakete von " + tool +
           ". Werden bei der nächsten Installation bei Bedarf neu geladen.";
}

std::string pythonSummary(const std::string& tool) {
    return "Heruntergeladene Python-Pakete von " + tool +
           ". Werden bei der nächsten Installation bei Bedarf neu geladen.";
}

std::vector<PathRule> macRules() {
    const AppRef claude = app("com.anthropic.claudefordesktop", "Claude");
    const AppRef xcode = app("com.apple.dt.Xcode", "Xcode");
    std::vector<PathRule> rules;

    auto oldLogs = row("system.oldLogs", "Alte Protokolle", Risk::safe, trash, {"Library/Logs"},
                       "Protokolldateien von Apps und System, die älter als 30 Tage sind. Sie dienen nur der "
                       "Fehlersuche und werden praktisch nie mehr gebraucht.");
    oldLogs.minAgeDays = 30;
    oldLogs.grouping = Grouping::perMatch;
    rules.push_back(oldLogs);

    rules.push_back(
        row("system.iosUpdates", "iPhone- und iPad-Softwareupdates", Risk::safe, trash,
            {"Library/iTunes/iPhone Software Updates", "Library/iTunes/iPad Software Updates"},
            "Heruntergeladene Updates für iPhone oder iPad (.ipsw). Nach der Installation braucht sie "
            "niemand mehr – bei Bedarf lädt der Mac sie neu."));

    auto claudeCache =
        row("ai.claudeCache", "Claude Desktop – Cache", Risk::safe, trash,
            {"Library/Application Support/Claude/Cache", "Library/Application Support/Claude/Code Cache",
             "Library/Application Support/Claude/GPUCache",
             "Library/Application Support/Claude/DawnGraphiteCache",
             "Library/Application Support/Claude/DawnWebGPUCache",
             "Library/Caches/com.anthropic.claudefordesktop*"},
            "Zwischenspeicher der Claude-App (Webinhalte, Grafik-Shader). Deine Unterhaltungen bleiben "
            "erhalten; Claude legt den Cache beim nächsten Start neu an.");
    claudeCache.blockingApps = {claude};
    rules.push_back(claudeCache);

    auto cowork =
        row("ai.coworkVM", "Claude Cowork – virtuelle Maschine", Risk::review, del,
            {"Library/Application Support/Claude/vm_bundles"},
            "Virtuelle Maschine für Cowork. Wird bei der nächsten Nutzung erneut heruntergeladen (~12 GB). "
            "Lohnt sich, wenn du Cowork selten nutzt.");
    cowork.blockingApps = {claude};
    rules.push_back(cowork);

    std::vector<std::string> cliPatterns;
    for (const char* tool : {".codex", ".gemini", ".copilot"})
        for (const char* sub : {"log", "logs", "tmp", "cache", ".cache"})
            cliPatterns.push_back(std::string(tool) + "/" + sub);
    rules.push_back(row("ai.cliCaches", "Codex-, Gemini- und Copilot-Caches", Risk::safe, trash, cliPatterns,
                        "Protokolle und temporäre Dateien der KI-Kommandozeilen-Werkzeuge. Anmeldedaten, "
                        "Einstellungen und Sitzungen werden nicht angefasst."));

    auto lmStudio = row(
        "ai.lmStudio", "LM Studio – Modelle", Risk::review, del, {".lmstudio/models/*/*", ".cache/lm-studio"},
        "Heruntergeladene Sprachmodelle von LM Studio und deren Cache. Prüfe, welche Modelle du noch "
        "nutzt – gelöschte musst du erneut herunterladen.");
    lmStudio.blockingApps = {app("ai.elementlabs.lmstudio", "LM Studio")};
    lmStudio.grouping = Grouping::perMatch;
    rules.push_back(lmStudio);

    auto huggingFace =
        row("ai.huggingFace", "Hugging Face", Risk::review, del,
            {".cache/huggingface/hub/models--*", ".cache/huggingface/hub/datasets--*"},
            "Ein heruntergeladenes Modell oder Datenset aus dem Hugging-Face-Cache. Wird es noch "
            "gebraucht, lädt das jeweilige Programm es beim nächsten Mal erneut herunter.");
    huggingFace.grouping = Grouping::perMatch;
    huggingFace.matchName = MatchName::huggingFace;
    rules.push_back(huggingFace);

    auto telegram =
        row("appCaches.telegram", "Telegram – Medien-Cache", Risk::review, trash,
            {"Library/Group Containers/*.ru.keepcoder.Telegram/*/*/postbox/media"},
            "Bilder, Videos und Dateien, die Telegram aus Chats zwischengespeichert hat. Sie liegen weiter "
            "in der Cloud und werden beim Öffnen erneut geladen.");
    telegram.blockingApps = {app("ru.keepcoder.Telegram", "Telegram")};
    rules.push_back(telegram);

    auto spotify =
        row("appCaches.spotify", "Spotify – Offline-Cache", Risk::safe, trash,
            {"Library/Application Support/Spotify/PersistentCache"},
            "Zwischengespeicherte Musik von Spotify. Offline gespeicherte Titel musst du danach eventuell "
            "erneut herunterladen.");
    spotify.blockingApps = {app("com.spotify.client", "Spotify")};
    rules.push_back(spotify);

    rules.push_back(
        row("appCaches.adobe", "Adobe – Mediencache", Risk::safe, trash,
            {"Library/Application Support/Adobe/Common/Media Cache Files",
             "Library/Application Support/Adobe/Common/Media Cache"},
            "Vorschau- und Audiodateien, die Premiere, After Effects & Co. beim Bearbeiten anlegen. Die "
            "Programme erzeugen sie bei Bedarf neu."));

    auto mail =
        row("personal.mailDownloads", "Mail – Kopien geöffneter Anhänge", Risk::safe, trash,
            {"Library/Containers/com.apple.mail/Data/Library/Mail Downloads"},
            "Kopien von Anhängen, die du in Mail geöffnet hast. Die Originale bleiben in deinen E-Mails "
            "erhalten.");
    mail.blockingApps = {app("com.apple.mail", "Mail")};
    mail.needsFullDiskAccess = true;
    rules.push_back(mail);

    auto instruments =
        row("xcode.instruments", "Instruments-Caches", Risk::safe, del,
            {"com.apple.dt.Instruments", "com.apple.dt.InstrumentsCLI"},
            "Zwischenspeicher von Instruments (Symbole, Aufzeichnungsdaten). Wird beim nächsten "
            "Profiling automatisch neu erstellt.",
            PathBase::userCache);
    instruments.blockingApps = {xcode, app("com.apple.dt.Instruments", "Instruments")};
    rules.push_back(instruments);

    auto clang =
        row("xcode.clang", "Clang-Modul-Cache", Risk::safe, del, {"clang/ModuleCache", "org.llvm.clang*"},
            "Vorübersetzte Module des Compilers. Werden beim nächsten Build automatisch neu erstellt – der "
            "erste Build dauert dann etwas länger.",
            PathBase::userCache);
    clang.blockingApps = {xcode};
    rules.push_back(clang);

    auto derived =
        row("xcode.derivedData", "DerivedData", Risk::safe, del, {"Library/Developer/Xcode/DerivedData/*"},
            "Zwischenspeicher von Xcode. Wird beim nächsten Build automatisch neu erstellt.");
    derived.blockingApps = {xcode};
    derived.grouping = Grouping::perMatch;
    rules.push_back(derived);

    auto previews = row(
        "xcode.previews", "SwiftUI-Previews", Risk::safe, del, {"Library/Developer/Xcode/UserData/Previews"},
        "Daten der SwiftUI-Vorschau in Xcode. Werden beim nächsten Öffnen einer Vorschau neu angelegt.");
    previews.blockingApps = {xcode};
    rules.push_back(previews);

    auto archives =
        row("xcode.archives", "Xcode-Archive", Risk::review, trash, {"Library/Developer/Xcode/Archives/*/*"},
            "Mit Xcode erstellte App-Archive, neueste zuerst. Brauchst du eines noch zum Hochladen oder für "
            "Absturzberichte (dSYMs), wähle es ab.");
    archives.grouping = Grouping::perMatch;
    archives.matchName = MatchName::withoutExtension;
    archives.itemDate = ItemDate::xcodeArchive;
    rules.push_back(archives);

    auto deviceLogs =
        row("xcode.deviceLogs", "Geräte-Protokolle", Risk::safe, trash,
            {"Library/Developer/Xcode/iOS Device Logs", "Library/Developer/Xcode/Products"},
            "Protokolle und Build-Produkte angeschlossener Geräte. Xcode legt sie bei Bedarf neu an.");
    deviceLogs.blockingApps = {xcode};
    rules.push_back(deviceLogs);

    auto docs =
        row("xcode.documentationCache", "Dokumentations-Cache", Risk::safe, del,
            {"Library/Developer/Xcode/DocumentationCache", "Library/Developer/Xcode/DocumentationIndex"},
            "Zwischengespeicherte Entwickler-Dokumentation. Xcode lädt sie bei Bedarf erneut.");
    docs.blockingApps = {xcode};
    rules.push_back(docs);

    rules.push_back(
        row("xcode.libraryDeveloper", "/Library/Developer", Risk::hintOnly, reveal,
            {"/Library/Developer/CommandLineTools", "/Library/Developer/CoreSimulator/Volumes"},
            "Systemweite Entwickler-Daten (Command Line Tools, Simulator-Laufzeiten). Nur zur Übersicht – "
            "Simulator-Laufzeiten entfernst du sicher über den Fund „Simulator-Runtimes“.",
            PathBase::absolute));

    auto simCaches =
        row("simulators.caches", "CoreSimulator-Caches", Risk::safe, del,
            {"Library/Developer/CoreSimulator/Caches"},
            "Zwischenspeicher der Simulatoren. Werden beim nächsten Start eines Simulators automatisch neu "
            "erstellt.");
    simCaches.blockingApps = {app("com.apple.iphonesimulator", "Simulator")};
    rules.push_back(simCaches);

    rules.push_back(row("simulators.logs", "Simulator-Protokolle", Risk::safe, trash,
                        {"Library/Logs/CoreSimulator"},
                        "Protokolldateien der Simulatoren. Sie dienen nur der Fehlersuche."));

    rules.push_back(
        row("languages.npm", "npm-Cache", Risk::safe,
            RemovalMethod::tool(ToolCommand{"npm", {"cache", "clean", "--force"}, 120s}, Fallback::delete_),
            {".npm/_cacache"}, packageSummary("npm")));
    rules.push_back(row("languages.yarn", "Yarn-Cache", Risk::safe, del, {"Library/Caches/Yarn"},
                        packageSummary("Yarn")));
    // Without pnpm the store stays a hint: only pnpm knows which packages projects still link to.
    rules.push_back(
        row("languages.pnpm", "pnpm-Store", Risk::safe,
            RemovalMethod::tool(ToolCommand{"pnpm", {"store", "prune"}, 300s}), {"Library/pnpm/store"},
            "Der Paketspeicher von pnpm. Aufgeräumt wird mit pnpm selbst – dabei bleiben Pakete erhalten, "
            "die deine Projekte noch nutzen. Ist pnpm nicht installiert, bleibt es beim Hinweis."));
    rules.push_back(
        row("languages.bun", "Bun-Cache", Risk::safe, del, {".bun/install/cache"}, packageSummary("Bun")));
    rules.push_back(
        row("languages.pip", "pip-Cache", Risk::safe, del, {"Library/Caches/pip"}, pythonSummary("pip")));
    rules.push_back(row("languages.uv", "uv-Cache", Risk::safe, del, {".cache/uv"}, pythonSummary("uv")));
    rules.push_back(row("languages.poetry", "Poetry-Cache", Risk::safe, del, {"Library/Caches/pypoetry"},
                        pythonSummary("Poetry")));
    rules.push_back(
        row("languages.gradle", "Gradle", Risk::review, trash,
            {".gradle/caches", ".gradle/wrapper/dists", ".gradle/daemon"},
            "Caches, heruntergeladene Gradle-Versionen und Daemon-Daten. Der nächste Build lädt alles "
            "Nötige neu – das kann dauern und braucht Internet."));
    auto avd = row("languages.androidAvd", "Android-Emulator", Risk::review, trash, {".android/avd/*.avd"},
                   "Ein virtuelles Android-Gerät samt Daten. Prüfe, ob du es noch zum Testen brauchst.");
    avd.grouping = Grouping::perMatch;
    avd.matchName = MatchName::withoutExtension;
    rules.push_back(avd);
    rules.push_back(
        row("languages.androidSdk", "Android-SDK", Risk::review, trash, {"Library/Android/sdk"},
            "Das Android-SDK mit Plattformen und Werkzeugen. Nur entfernen, wenn du keine Android-Apps mehr "
            "entwickelst. Per Homebrew installiert? Dann besser über den Homebrew-Fund."));
    rules.push_back(
        row("languages.maven", "Maven-Repository", Risk::review, trash, {".m2/repository"},
            "Heruntergeladene Java-Bibliotheken von Maven. Der nächste Build lädt sie neu – das kann "
            "dauern und braucht Internet."));
    rules.push_back(
        row("languages.flutter", "Flutter/Dart", Risk::review, trash,
            {".pub-cache", ".dart-tool", ".dartServer", ".flutter"},
            "Paket-Cache und Werkzeugdaten von Flutter und Dart. Werden bei Bedarf neu geladen. Ein per "
            "Homebrew installiertes Flutter-SDK findest du beim Homebrew-Fund."));
    rules.push_back(
        row("languages.swiftpm", "SwiftPM-Cache", Risk::safe, del,
            {"Library/Caches/org.swift.swiftpm", ".swiftpm/cache"},
            "Heruntergeladene Swift-Pakete. Werden beim nächsten Auflösen der Abhängigkeiten neu geladen."));
    rules.push_back(row("languages.cocoapods", "CocoaPods-Cache", Risk::safe, del,
                        {"Library/Caches/CocoaPods"},
                        "Heruntergeladene Pods. Werden beim nächsten „pod install“ bei Bedarf neu geladen."));
    rules.push_back(row(
        "languages.carthage", "Carthage-Cache", Risk::safe, del, {"Library/Caches/org.carthage.CarthageKit"},
        "Heruntergeladene Carthage-Abhängigkeiten. Werden beim nächsten Build bei Bedarf neu geladen."));
    rules.push_back(row(
        "languages.cargo", "Rust – Cargo-Caches", Risk::safe, del, {".cargo/registry/cache", ".cargo/git/db"},
        "Heruntergeladene Crates und Git-Abhängigkeiten von Cargo. Werden beim nächsten Build bei "
        "Bedarf neu geladen."));
    // The module cache is write-protected by go itself, so only go can clear it: no file-level fallback.
    rules.push_back(row("languages.goModules", "Go-Modul-Cache", Risk::safe,
                        RemovalMethod::tool(ToolCommand{"go", {"clean", "-modcache"}, 300s}), {"go/pkg/mod"},
                        "Heruntergeladene Go-Module. Werden beim nächsten Build bei Bedarf neu geladen."));
    rules.push_back(
        row("languages.goBuild", "Go-Build-Cache", Risk::safe,
            RemovalMethod::tool(ToolCommand{"go", {"clean", "-cache"}, 120s}, Fallback::delete_),
            {"Library/Caches/go-build"},
            "Zwischenergebnisse des Go-Compilers. Werden beim nächsten Build automatisch neu erstellt."));
    auto ruby = row(
        "languages.ruby", "Ruby-Gems", Risk::review, trash, {".gem/*"},
        "Installierte Gems. Prüfe, ob deine Projekte sie noch brauchen. Deine RubyGems-Zugangsdaten bleiben "
        "unangetastet. Über rbenv installierte Ruby-Versionen findest du als eigene Funde.");
    ruby.excludeNames = {"credentials"};
    rules.push_back(ruby);
    rules.push_back(row("languages.testBrowsers", "Browser für Tests", Risk::safe, del,
                        {"Library/Caches/ms-playwright", ".cache/puppeteer", "Library/Caches/Cypress",
                         "Library/Caches/electron"},
                        "Browser, die Playwright, Puppeteer, Cypress oder Electron für automatisierte Tests "
                        "heruntergeladen haben. Werden beim nächsten Testlauf neu geladen."));

    rules.push_back(
        row("toolchains.arduinoStaging", "Arduino – Download-Reste", Risk::safe, trash,
            {"Library/Arduino15/staging"},
            "Zwischengespeicherte Downloads aus dem Board- und Bibliotheksverwalter der Arduino IDE. Werden "
            "nach der Installation nicht mehr gebraucht."));
    rules.push_back(
        row("toolchains.arduinoPackages", "Arduino-Boardpaket", Risk::hintOnly, reveal,
            {"Library/Arduino15/packages/*"},
            "Installierte Board-Unterstützung der Arduino IDE. Nicht mehr benötigte Pakete entfernst du am "
            "besten im Board-Verwalter der Arduino IDE."));
    rules.push_back(
        row("toolchains.docker", "Docker – virtuelle Maschine", Risk::hintOnly, reveal,
            {"Library/Containers/com.docker.docker/Data/vms"},
            "Die virtuelle Festplatte von Docker Desktop mit allen Images und Containern. Aufräumen mit "
            "„docker system prune -a“ im Terminal oder in Docker Desktop unter „Troubleshoot“."));
    rules.push_back(row(
        "toolchains.utm", "UTM-VM", Risk::hintOnly, reveal,
        {"Library/Containers/com.utmapp.UTM/Data/Documents/*.utm"},
        "Eine virtuelle Maschine von UTM. Nicht mehr benötigte VMs entfernst du am besten direkt in UTM."));
    rules.push_back(
        row("toolchains.parallels", "Parallels-VM", Risk::hintOnly, reveal, {"Parallels/*.pvm"},
            "Eine virtuelle Maschine von Parallels Desktop. Nicht mehr benötigte VMs entfernst du am besten "
            "im Kontrollcenter von Parallels."));
    rules.push_back(
        row("toolchains.orbstack", "OrbStack-Daten", Risk::hintOnly, reveal,
            {".orbstack", "Library/Group Containers/*.dev.orbstack"},
            "Daten von OrbStack mit Containern, Images und Linux-Maschinen. Aufräumen mit „docker system "
            "prune -a“ oder direkt in OrbStack."));
    return rules;
}

// Where the rows that exist on Linux keep their data there (XDG folders instead of ~/Library).
// Rows without an entry have no Linux counterpart and are left out of the Linux catalog.
const std::map<std::string, std::vector<std::string>, std::less<>>& linuxPatterns() {
    static const std::map<std::string, std::vector<std::string>, std::less<>> patterns = {
        {"ai.cliCaches", {}}, // same places as on macOS
        {"ai.lmStudio", {}},
        {"ai.huggingFace", {}},
        {"appCaches.spotify", {".cache/spotify/Data"}},
        {"languages.npm", {}},
        {"languages.yarn", {".cache/yarn", ".yarn/berry/cache"}},
        {"languages.pnpm", {"store"}},
        {"languages.bun", {}},
        {"languages.pip", {".cache/pip"}},
        {"languages.uv", {}},
        {"languages.poetry", {".cache/pypoetry"}},
        {"languages.gradle", {}},
        {"languages.androidAvd", {}},
        {"languages.androidSdk", {"Android/Sdk"}},
        {"languages.maven", {}},
        {"languages.flutter", {}},
        {"languages.swiftpm", {".cache/org.swift.swiftpm", ".swiftpm/cache"}},
        {"languages.cargo", {}},
        {"languages.goModules", {}},
        {"languages.goBuild", {".cache/go-build"}},
        {"languages.ruby", {}},
        {"languages.testBrowsers",
         {".cache/ms-playwright", ".cache/puppeteer", ".cache/Cypress", ".cache/electron"}},
        {"toolchains.arduinoStaging", {".arduino15/staging"}},
        {"toolchains.arduinoPackages", {".arduino15/packages/*"}},
        {"toolchains.docker", {".docker/desktop/vms"}},
    };
    return patterns;
}

// Texts that point at macOS-only findings say what to do on Linux instead.
const std::map<std::string, std::string, std::less<>>& linuxSummaries() {
    static const std::map<std::string, std::string, std::less<>> summaries = {
        {"languages.androidSdk",
         "Das Android-SDK mit Plattformen und Werkzeugen. Nur entfernen, wenn du keine Android-Apps mehr "
         "entwickelst. Über die Paketverwaltung oder Snap installiert? Dann entferne es besser dort."},
        {"languages.flutter",
         "Paket-Cache und Werkzeugdaten von Flutter und Dart. Werden bei Bedarf neu geladen. Ein per Snap "
         "oder Paketverwaltung installiertes Flutter-SDK entfernst du dort."},
    };
    return summaries;
}

// Rows that only exist on Linux.
std::vector<PathRule> linuxOnlyRules() {
    std::vector<PathRule> rules;

    auto thumbnails = row("system.thumbnails", "Vorschaubilder", Risk::safe, del, {".cache/thumbnails"},
                          "Vorschaubilder, die Dateimanager und Bildbetrachter für deine Dateien angelegt "
                          "haben. Sie werden beim nächsten Anzeigen eines Ordners neu erstellt.");
    rules.push_back(thumbnails);

    auto flatpak = row("appCaches.flatpak", "Flatpak-Apps – Caches", Risk::safe, del, {".var/app/*/cache"},
                       "Zwischenspeicher der per Flatpak installierten Apps, je App ein Eintrag. Deine "
                       "Daten und Einstellungen bleiben erhalten; die App legt den Cache neu an.");
    flatpak.grouping = Grouping::perMatch;
    flatpak.matchName = MatchName::parentComponent;
    rules.push_back(flatpak);

    auto telegram =
        row("appCaches.telegram", "Telegram – Medien-Cache", Risk::review, trash,
            {".local/share/TelegramDesktop/tdata/user_data",
             ".var/app/org.telegram.desktop/data/TelegramDesktop/tdata/user_data",
             "snap/telegram-desktop/current/.local/share/TelegramDesktop/tdata/user_data"},
            "Bilder, Videos und Dateien, die Telegram aus Chats zwischengespeichert hat. Sie liegen weiter "
            "in der Cloud und werden beim Öffnen erneut geladen.");
    telegram.blockingApps = {AppRef{"org.telegram.desktop", "telegram-desktop", "Telegram"}};
    rules.push_back(telegram);

    auto vscode = row("appCaches.vscode", "Visual Studio Code – Caches", Risk::safe, del, {},
                      "Zwischenspeicher von VS Code (Webinhalte, übersetzter Code, heruntergeladene "
                      "Erweiterungspakete). Einstellungen und Erweiterungen bleiben erhalten.");
    for (const char* editor : {"Code", "Code - OSS", "VSCodium"})
        for (const char* cache : {"Cache", "CachedData", "CachedExtensionVSIXs"})
            vscode.patterns.push_back(std::string(".config/") + editor + "/" + cache);
    vscode.blockingApps = {AppRef{"code", "code", "Visual Studio Code"},
                           AppRef{"code-oss", "code-oss", "Code - OSS"},
                           AppRef{"codium", "codium", "VSCodium"}};
    rules.push_back(vscode);

    auto jetbrains =
        row("appCaches.jetbrains", "JetBrains-IDEs – Caches", Risk::safe, del, {".cache/JetBrains/*"},
            "Indizes und Zwischenspeicher der JetBrains-IDEs, je IDE-Version ein Eintrag. Die IDE baut sie "
            "beim nächsten Öffnen eines Projekts neu auf – das dauert eine Weile.");
    jetbrains.grouping = Grouping::perMatch;
    for (const char* ide : {"idea", "pycharm", "clion", "goland", "webstorm", "phpstorm", "rider",
                            "rustrover", "rubymine", "datagrip"})
        jetbrains.blockingApps.push_back(AppRef{std::nullopt, ide, ide});
    rules.push_back(jetbrains);

    rules.push_back(row("languages.ccache", "ccache", Risk::safe, del, {".cache/ccache", ".ccache"},
                        "Zwischenergebnisse von C- und C++-Builds, die ccache aufbewahrt. Der nächste Build "
                        "übersetzt wieder alles und füllt den Cache neu."));
    rules.push_back(row("languages.sccache", "sccache", Risk::safe, del, {".cache/sccache"},
                        "Zwischenergebnisse von Rust- und C++-Builds, die sccache aufbewahrt. Der nächste "
                        "Build übersetzt wieder alles und füllt den Cache neu."));
    rules.push_back(row("languages.clangModules", "Clang-Modul-Cache", Risk::safe, del,
                        {".cache/clang/ModuleCache"},
                        "Vorübersetzte Module des Compilers. Werden beim nächsten Build automatisch neu "
                        "erstellt – der erste Build dauert dann etwas länger."));
    rules.push_back(
        row("languages.bazel", "Bazel", Risk::review, del, {".cache/bazel"},
            "Build-Ausgaben, heruntergeladene Abhängigkeiten und Werkzeuge von Bazel. Der nächste "
            "Build lädt und baut alles neu – das kann dauern und braucht Internet."));
    rules.push_back(row("languages.nuget", "NuGet-Pakete", Risk::review, del,
                        {".nuget/packages", ".local/share/NuGet/http-cache", ".local/share/NuGet/v3-cache",
                         ".local/share/NuGet/plugins-cache"},
                        "Heruntergeladene .NET-Pakete von NuGet. Der nächste Build lädt sie neu – das kann "
                        "dauern und braucht Internet."));
    rules.push_back(
        row("languages.jvmCaches", "Ivy, Coursier und sbt", Risk::review, del,
            {".ivy2/cache", ".cache/coursier", ".sbt/boot"},
            "Heruntergeladene Java- und Scala-Bibliotheken von Ivy, Coursier und sbt. Der nächste "
            "Build lädt sie neu – das kann dauern und braucht Internet."));
    rules.push_back(
        row("languages.deno", "Deno-Cache", Risk::safe, del, {".cache/deno"}, packageSummary("Deno")));
    rules.push_back(row("languages.nodeGyp", "node-gyp-Header", Risk::safe, del,
                        {".cache/node-gyp", ".node-gyp"},
                        "Node.js-Header, die node-gyp zum Übersetzen nativer Module geladen hat. Werden beim "
                        "nächsten Build bei Bedarf neu geladen."));

    auto torch =
        row("ai.torch", "PyTorch-Modelle", Risk::review, del, {".cache/torch/hub"},
            "Vortrainierte Modelle, die PyTorch heruntergeladen hat. Wird eines noch gebraucht, lädt "
            "das Programm es beim nächsten Mal erneut herunter.");
    rules.push_back(torch);

    auto datasets = row("ai.huggingFaceDatasets", "Hugging Face – Datensets", Risk::review, del,
                        {".cache/huggingface/datasets/*"},
                        "Ein heruntergeladenes oder aufbereitetes Datenset der Hugging-Face-Bibliothek "
                        "„datasets“. Wird es noch gebraucht, lädt das Programm es erneut herunter.");
    datasets.grouping = Grouping::perMatch;
    rules.push_back(datasets);
    return rules;
}

std::vector<PathRule> linuxRules() {
    std::vector<PathRule> rules;
    for (auto rule : macRules()) {
        const auto it = linuxPatterns().find(rule.id);
        if (it == linuxPatterns().end())
            continue;
        if (!it->second.empty())
            rule.patterns = it->second;
        if (const auto summary = linuxSummaries().find(rule.id); summary != linuxSummaries().end())
            rule.summary = summary->second;
        rule.needsFullDiskAccess = false;
        rules.push_back(std::move(rule));
    }
    std::ranges::move(linuxOnlyRules(), std::back_inserter(rules));
    // pnpm's own folder moves with $PNPM_HOME and $XDG_DATA_HOME.
    for (auto& rule : rules)
        if (rule.id == "languages.pnpm")
            rule.base = PathBase::pnpmHome;
    // What lies below ~/.cache lies wherever $XDG_CACHE_HOME points.
    constexpr std::string_view cache = ".cache/";
    for (auto& rule : rules) {
        if (rule.base != PathBase::home)
            continue;
        std::vector<std::string> homePatterns;
        for (auto& pattern : rule.patterns) {
            if (pattern.starts_with(cache))
                rule.userCachePatterns.push_back(pattern.substr(cache.size()));
            else
                homePatterns.push_back(std::move(pattern));
        }
        rule.patterns = std::move(homePatterns);
    }
    return rules;
}

} // namespace

const std::vector<PathRule>& Catalog::rules(PlatformLayout layout) {
    static const std::vector<PathRule> mac = macRules();
    static const std::vector<PathRule> linuxList = linuxRules();
    return layout == PlatformLayout::macOS ? mac : linuxList;
}

const PathRule& Catalog::rule(std::string_view id, PlatformLayout layout) {
    for (const auto& rule : rules(layout))
        if (rule.id == id)
            return rule;
    std::fprintf(stderr, "Unbekannte PathRule-ID: %.*s\n", static_cast<int>(id.size()), id.data());
    std::abort();
}

std::vector<std::shared_ptr<Scanner>> Catalog::scanners(PlatformLayout layout) {
    std::vector<std::shared_ptr<Scanner>> scanners;
    for (const auto& rule : rules(layout)) {
        if (rule.id == "system.oldLogs")
            scanners.push_back(std::make_shared<OldLogsScanner>(rule));
        else
            scanners.push_back(std::make_shared<PathScanner>(rule));
    }
    const std::vector<std::shared_ptr<Scanner>> devTools = {
        std::make_shared<HomebrewScanner>(), std::make_shared<CondaScanner>(),
        std::make_shared<OllamaScanner>(),   std::make_shared<RustupScanner>(),
        std::make_shared<TexLiveScanner>(),
    };
    scanners.insert(scanners.end(), devTools.begin(), devTools.end());
    scanners.push_back(std::make_shared<XcodeVersionsScanner>());
    scanners.push_back(std::make_shared<SimulatorsScanner>());
    scanners.push_back(std::make_shared<SimulatorRuntimesScanner>());
    // Apps the user no longer opens, what deleted ones left, and every app's cache (a collector).
    scanners.push_back(std::make_shared<UnusedAppsScanner>());
    scanners.push_back(std::make_shared<AppLeftoversScanner>());
    scanners.push_back(std::make_shared<AppCachesScanner>());
    // Personal data, the system's own backups and pending updates.
    scanners.push_back(std::make_shared<OldInstallersScanner>());
    scanners.push_back(std::make_shared<PhotosScanner>());
    if (layout == PlatformLayout::macOS) {
        scanners.push_back(std::make_shared<DeviceBackupsScanner>());
        scanners.push_back(std::make_shared<MessageAttachmentsScanner>());
        scanners.push_back(std::make_shared<LocalSnapshotsScanner>());
        scanners.push_back(std::make_shared<SoftwareUpdatesScanner>());
    } else {
        scanners.push_back(std::make_shared<OldKernelsScanner>());
    }
    // Language versions, old IDE versions and container leftovers.
    using Manager = VersionManagerScanner::Manager;
    for (const auto manager : {Manager::nvm, Manager::pyenv, Manager::rbenv})
        scanners.push_back(std::make_shared<VersionManagerScanner>(manager));
    scanners.push_back(std::make_shared<JetBrainsScanner>());
    for (const auto engine : {ContainerPruneScanner::Engine::docker, ContainerPruneScanner::Engine::podman})
        scanners.push_back(std::make_shared<ContainerPruneScanner>(engine));
    // Storage: what no rule explains, after everything else.
    scanners.push_back(std::make_shared<BigChunksScanner>());
    return scanners;
}

} // namespace velmora
