#include "Safety/SafetyGuard.hpp"
#include "Safety/ServiceLabel.hpp"

#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using velmora::testing::TempTree;

namespace {

constexpr const char* allowed = nullptr;
constexpr const char* invalid = "Ungültige Sicherheitskonfiguration – es wird nichts angefasst";
constexpr const char* outside = "Liegt außerhalb der erlaubten Ordner";
constexpr const char* unresolvable = "Pfad lässt sich nicht sicher auflösen";
constexpr const char* symlinkOut = "Symlink zeigt aus dem erlaubten Ordner heraus";
constexpr const char* homebrew = "Nur über Homebrew entfernbar";
constexpr const char* simctl = "Nur über simctl entfernbar";
constexpr const char* system = "Geschützter Systemordner";
constexpr const char* personal = "Persönlicher Ordner – wird nie angefasst";
constexpr const char* credentials = "Zugangsdaten werden nie angefasst";
constexpr const char* photos = "Fotos-Mediathek wird nie angefasst";

std::string describe(const std::optional<std::string>& reason) {
    return reason ? *reason : "(erlaubt)";
}

// Logical paths grouped by the answer they must get; a leading "~" stands for `tilde`.
struct Expected {
    const char* reason; // nullptr: allowed
    std::vector<std::string> logicalPaths;
};

void expectAnswers(const SafetyGuard& guard, const TempTree& tree, const std::string& tilde,
                   const std::vector<Expected>& table) {
    for (const auto& [reason, paths] : table)
        for (auto logical : paths) {
            if (logical.starts_with("~"))
                logical = tilde + logical.substr(1);
            EXPECT_EQ(describe(guard.check(tree(logical))), reason ? reason : "(erlaubt)") << logical;
        }
}

// A Mac as the guard sees it: anna's home, her private cache and temporary folders, system places,
// and links in her caches that lead elsewhere.
class MacGuard : public ::testing::Test {
protected:
    void SetUp() override {
        for (const auto* folder :
             {"/Users/anna/Library/Caches/com.example.app", "/Users/anna/Library/Logs", "/Users/anna/Desktop",
              "/Users/anna/Pictures/Photos Library.photoslibrary", "/Users/anna/.ssh",
              "/Users/anna/.codex/log", "/Users/anna/.gemini/settings", "/Users/other"})
            tree.folder(folder);
        for (const auto* folder :
             {"/private/var/folders/ab/xyz/C/clang", "/private/var/folders/ab/xyz/C/com.apple.Safari",
              "/private/var/folders/ab/xyz/T", "/private/tmp", "/private/etc", "/Library/Caches/com.example",
              "/Library/LaunchDaemons/sub", "/Applications/Foo.app/Contents", "/Applications/Sub/Foo.app",
              "/opt/homebrew/Caskroom/x", "/opt/homebrew/Cellar/wget", "/usr/local/texlive/2023",
              "/System/Volumes/Data"})
            tree.folder(folder);
        for (const auto* file :
             {"/Users/anna/Documents/secret.txt", "/Users/anna/Library/Keychains/login.keychain-db",
              "/Users/anna/Library/Caches/notes.txt", "/Users/anna/.ssh/id_ed25519",
              "/Users/anna/Pictures/Export/x.jpg", "/Library/LaunchDaemons/com.example.agent.plist"})
            tree.file(file);
        // Links in anna's caches, written "name -> target".
        for (const std::string link :
             {"toDocumentsAbsolute -> /Users/anna/Documents", "toDocumentsRelative -> ../../Documents",
              "toSsh -> /Users/anna/.ssh", "toKeychain -> ../Keychains/login.keychain-db", "hop1 -> hop2",
              "hop2 -> /Users/anna/.ssh/id_ed25519", "toCellar -> /opt/homebrew/Cellar/wget",
              "toLogs -> ../Logs", "toSystemCaches -> /Library/Caches/com.example", "toHome -> /Users/anna",
              "toPictures -> /Users/anna/Pictures",
              "toPhotos -> /Users/anna/Pictures/Photos Library.photoslibrary", "toRoot -> /",
              "up -> ../../../../../../../../../..", "loopA -> loopB", "loopB -> loopA",
              "dangling -> /Users/anna/Documents/not-yet"}) {
            const auto arrow = link.find(" -> ");
            tree.link("/Users/anna/Library/Caches/" + link.substr(0, arrow), link.substr(arrow + 4));
        }

        setup.rootPrefix = tree.root();
        setup.home = "/Users/anna";
        setup.cache = "/var/folders/ab/xyz/C";
        setup.temp = "/var/folders/ab/xyz/T";
    }

    SafetyGuard guard() const { return SafetyGuard(setup); }

    TempTree tree;
    SafetyGuard::Setup setup;
};

TEST_F(MacGuard, HomeOfAnUnexpectedShapeDeniesEverythingOtherFoldersAreDropped) {
    tree.folder("/opt/home");
    tree.folder("/private/var/root");
    tree.folder("/private/var/folders/a/b");
    const std::vector<std::pair<std::string, bool>> homes = {
        {"/opt/home", false},          {"/Users", false},           {"/", false},
        {"relative/home", false},      {"/private/var/root", true}, {"/var/folders/a/b", true},
        {"/var/folders/a", false},     {"/var/root", true},         {"/Users/anna/../../opt/home", false},
        {"/Volumes/Users/anna", false}};
    for (const auto& [home, valid] : homes) {
        setup.home = home;
        const auto g = guard();
        EXPECT_EQ(g.isValid(), valid) << home;
        if (!valid) {
            EXPECT_EQ(describe(g.check(tree("/Users/anna/Library/Caches/com.example.app"))), invalid) << home;
        }
    }

    // A tree without even the first folder of the home cannot be resolved: not valid either.
    setup.rootPrefix = tree("/nowhere");
    setup.home = "/Users/anna";
    EXPECT_FALSE(guard().isValid());
    setup.rootPrefix = "relative/root";
    EXPECT_FALSE(guard().isValid());

    // How the resolved, lower-cased cache and temp folders are used shows in the rule tables; folders
    // of an unexpected shape are dropped, and the stand-ins never have the expected one.
    setup.rootPrefix = tree.root();
    EXPECT_TRUE(guard().cacheParts() && guard().tempParts());
    setup.cache = "/var/empty/velmora-no-cache-dir";
    setup.temp = "/var/folders/ab/xyz/T/deeper";
    EXPECT_FALSE(guard().cacheParts());
    EXPECT_FALSE(guard().tempParts());
}

TEST_F(MacGuard, HomeToolAndSystemRulesAndLinksThatCannotSmuggleProtectedTargetsIntoCaches) {
    expectAnswers(
        guard(), tree, "/Users/anna",
        {
            {personal,
             {"~", "~/", "~/Library", "~/Documents", "~/Documents/secret.txt", "~/DOCUMENTS/x",
              "/Users/ANNA/documents/x", "~/Desktop/x", "~/Pictures", "~/Library/Caches/../../Documents/x"}},
            {allowed,
             {"~/Library/Caches/com.example.app", "~/Library/Caches/not/yet/there",
              "~/Library/Caches/notes.txt/below/a/file", "~/Pictures/Export/x.jpg", "~/.docker/buildx/cache",
              "~/.npm/_cacache", "~/./Library/./Caches/x"}},
            {credentials,
             {"~/Library/Keychains/x", "~/Library/Keychains", "~/.ssh", "~/.ssh/id_ed25519", "~/.gnupg/x",
              "~/.aws/credentials", "~/.kube/config", "~/.config/gh/hosts.yml", "~/.docker/config.json"}},
            {photos, {"~/Pictures/Photos Library.photoslibrary/x", "~/Movies/Old.PhotosLibrary"}},
            {homebrew, {"~/Library/Caches/Homebrew/Cellar/x"}},
            // Tool folders keep their credential files.
            {allowed,
             {"~/.codex/log/x.log", "~/.codex/sessions/2025/rollout.jsonl", "~/.codex/.envrc",
              "~/.codex/\xFF\xFEtoken", "~/projects/.codex/auth.json"}},
            {credentials,
             {"~/.codex", "~/.codex/auth.json", "~/.codex/AUTH.JSON", "~/.gemini/settings/config.yaml",
              "~/.gemini/oauth_creds.json", "~/.copilot/token-cache", "~/.copilot/credentials",
              "~/.codex/settings.toml", "~/.codex/.env", "~/.codex/.env.local", "~/.codex/keychain.db",
              "~/.codex/log/auth.json", "~/.codex/auth.json/x", "~/.codex/token\xFF",
              // Marks must not hide a name: combining acute (Mn), enclosing circle (Me) and a
              // spacing mark (Mc) are all dropped for the second comparison.
              "~/.codex/au\u0301th.json", "~/.codex/to\u20DDken", "~/.codex/con\u0903fig.yaml"}},
            {system,
             {"/", "/System/Volumes/Data/System/Library", "/var/folders/ab/xyz/C",
              "/var/folders/ab/xyz/C/com.apple.Safari", "/var/folders/ab/xyz/T",
              "/var/folders/ab/other/T/anything", "/Library/Caches", "/Library/LaunchDaemons/sub/x.plist",
              "/Library/LaunchDaemons", "/Library/LaunchAgents/.plist", "/Library/LaunchAgents/x.plist.bak",
              "/usr/local", "/Library/Developer", "/Applications/Sub/Foo.app", "/Applications/.app",
              "/Applications", "/usr/bin/true"}},
            {allowed,
             {"/var/folders/ab/xyz/C/clang/ModuleCache", "/private/var/folders/ab/xyz/C/CLANG",
              "/var/folders/ab/xyz/C/com.apple.dt.InstrumentsCLI", "/var/folders/ab/xyz/T/anything",
              "/Library/Caches/com.example", "/Library/Logs/DiagnosticReports/x.ips",
              "/Library/LaunchDaemons/com.example.agent.plist",
              "/Library/LaunchAgents/com.example.agent.plist", "/usr/local/texlive",
              "/usr/local/texlive/2023", "/Library/TeX/Root", "/Applications/TeX", "/opt/anaconda3",
              "/opt/miniconda3/pkgs", "/Library/Developer/Xcode/DerivedData/x", "/Applications/Foo.app",
              "/Applications/Foo.app/Contents/x", "/Applications/A.app"}},
            {homebrew, {"/opt/homebrew/Caskroom/x"}},
            {simctl,
             {"/System/Volumes/Data/System/Library/AssetsV2/com_apple_MobileAsset_x",
              "/System/Volumes/Data/System/Library/AssetsV2"}},
            {outside, {"/opt/homebrew", "/Users/other/x", "/Users", "/Volumes/Backup/x"}},
        });

    // Links cannot smuggle protected targets into the caches.
    expectAnswers(
        guard(), tree, "/Users/anna/Library/Caches",
        {
            {symlinkOut,
             {"~/toDocumentsAbsolute", "~/toDocumentsAbsolute/secret.txt", "~/toDocumentsRelative",
              "~/toDocumentsRelative/new-file", "~/toHome", "~/toPictures", "~/toPhotos/x", "~/toRoot",
              // ".." after a link leaves the link's target, as the system would: lexically this is
              // Caches/Desktop, really it is the home's Desktop.
              "~/toDocumentsAbsolute/../Desktop"}},
            // These two reasons are kept when a link leads there.
            {credentials, {"~/toSsh", "~/toKeychain", "~/hop1"}},
            {homebrew, {"~/toCellar"}},
            // Links to other allowed places are fine, and a link may go when nothing is at its target.
            {allowed,
             {"~/toRoot/Library/Caches/com.example", "~/toLogs/x.log", "~/toSystemCaches", "~/dangling",
              "~/toDocumentsAbsolute/../Library/Caches/x"}},
            {unresolvable, {"~/loopA", "~/loopA/x"}},
        });
}

TEST_F(MacGuard, ResolutionStaysInsideTheRoot) {
    const auto g = guard();
    // Climbing above the root stops at the root, and absolute targets start there.
    EXPECT_EQ(g.resolve("/Users/anna/Library/Caches/up"), SafetyGuard::Components{});
    EXPECT_EQ(g.resolve("/Users/anna/Library/Caches/toDocumentsAbsolute/x"),
              (SafetyGuard::Components{"Users", "anna", "Documents", "x"}));
    EXPECT_EQ(describe(g.check(tree("/Users/anna/Library/Caches/up/Users/anna/Documents/secret.txt"))),
              symlinkOut);
    // Not even the first component exists: nothing to resolve through.
    EXPECT_FALSE(g.resolve("/nothing/here"));

    // Real paths outside the root never get in, neither directly nor by "..". With a NUL the system
    // would stop early and remove ~/Documents; a path lexically inside the root that does not
    // literally start with it cannot be trusted either.
    const auto caches = tree("/Users/anna/Library/Caches").string();
    const std::vector<std::pair<std::string, const char*>> realPaths = {
        {tree.root().string() + "/../outside", outside},
        {caches + "/../../../../../x", outside},
        {"/etc/passwd", outside},
        {"relative/path", outside},
        {"", outside},
        {tree("/Users/anna/Documents").string() + std::string(1, '\0') + "/../Library/Caches/x",
         unresolvable},
        {"/.." + caches + "/x", unresolvable}};
    for (const auto& [path, reason] : realPaths)
        EXPECT_EQ(describe(g.check(path)), reason) << path;
    EXPECT_EQ(g.verdict(tree("/Users/anna/Documents")), SafetyVerdict::denied(personal));
    EXPECT_EQ(g.verdict(tree("/Users/anna/Library/Caches/x")), SafetyVerdict::allowed());

    // /tmp, /etc and /var count as below /private, however they are spelled.
    for (const std::string path : {"/tmp/x", "/etc/hosts", "/var/log/x", "/var/folders/ab/xyz/T/x"}) {
        EXPECT_EQ(g.check(tree(path)), g.check(tree("/private" + path))) << path;
        EXPECT_EQ(g.check(tree(path)), g.check(tree("/TMP/../" + path))) << path;
    }
    EXPECT_EQ(SafetyGuard::normalise("/Tmp/../var/./x//y", PlatformLayout::macOS),
              (SafetyGuard::Components{"private", "var", "x", "y"}));
    EXPECT_EQ(SafetyGuard::normalise("/../../tmp", PlatformLayout::linux), (SafetyGuard::Components{"tmp"}));
}

// A Linux home: the same home rules, the localised user folders, and nothing outside the home.
class LinuxGuard : public ::testing::Test {
protected:
    void SetUp() override {
        for (const auto* folder : {"/home/anna/.cache/pip", "/home/anna/Dokumente", "/home/anna/Schreibtisch",
                                   "/home/anna/Bilder/Urlaub", "/home/anna/Nextcloud/Texte", "/home/bob",
                                   "/root", "/tmp", "/etc", "/usr/bin", "/opt/app", "/media/usb"})
            tree.folder(folder);
        tree.link("/home/anna/Briefe", "Nextcloud/Texte");
        tree.link("/home/anna/.cache/toSchreibtisch", "/home/anna/Schreibtisch");
        tree.link("/home/anna/.cache/toBriefe", "../Nextcloud/Texte");
        tree.link("/home/anna/.cache/toEtc", "/etc");
        tree.file("/home/anna/.config/user-dirs.dirs", "# written by xdg-user-dirs-update\n"
                                                       "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n"
                                                       "XDG_DOCUMENTS_DIR=\"$HOME/Briefe\"\n"
                                                       "XDG_DOWNLOAD_DIR=\"$HOME/Downloads\"\n"
                                                       "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n"
                                                       "XDG_VIDEOS_DIR=\"$HOME/\"\n");
    }

    SafetyGuard guard(const std::string& home = "/home/anna") const {
        return SafetyGuard::live(PlatformLayout::linux, tree.root(), home);
    }

    TempTree tree;
};

TEST_F(LinuxGuard, HomeRulesWithLocalisedFoldersOtherHomesAndMissingUserDirs) {
    const auto g = guard();
    ASSERT_TRUE(g.isValid());
    expectAnswers(
        g, tree, "/home/anna",
        {
            // The documents folder is a link: both its name and its target are protected.
            {personal,
             {"~", "~/Documents/x", "~/Desktop", "~/Schreibtisch/x", "~/SCHREIBTISCH", "~/Briefe/x",
              "~/Nextcloud/Texte/x", "~/Nextcloud/Texte", "~/Bilder", "~/Pictures"}},
            {allowed,
             {"~/.cache/pip/wheels", "~/.local/share/Trash/files/x", "~/.codex/log/x.log", "~/Nextcloud",
              "~/Bilder/Urlaub/x.jpg", "~/Videos/x.mp4", "~/Dokumente/x"}},
            {credentials, {"~/.ssh/id_rsa", "~/.config/user-dirs.dirs", "~/.codex/auth.json"}},
            {photos, {"~/Bilder/Alt.photoslibrary/x"}},
            {homebrew, {"/home/linuxbrew/.linuxbrew/Cellar/x"}},
            {symlinkOut, {"~/.cache/toSchreibtisch/x", "~/.cache/toBriefe", "~/.cache/toEtc/passwd"}},
            // Everything outside the home is denied; the macOS system places mean nothing here.
            {system, {"/", "/tmp/x", "/etc/passwd", "/usr/bin/true", "/opt/app", "/var/cache/apt"}},
            {outside,
             {"/private/tmp/x", "/home", "/home/bob/x", "/media/usb/x", "/root/x", "/Library/Caches/x",
              "/Applications/Foo.app"}},
        });

    expectAnswers(guard("/root"), tree, "/root", {{personal, {"~"}}, {allowed, {"~/.cache/x"}}});
    for (const auto* home : {"/opt/app", "/home", "/Users/anna", "/"})
        EXPECT_FALSE(guard(home).isValid()) << home;

    // Without a readable user-dirs file only the English folders are protected.
    std::filesystem::remove(tree("/home/anna/.config/user-dirs.dirs"));
    tree.folder("/home/anna/.config/user-dirs.dirs"); // a folder where the file should be
    expectAnswers(guard(), tree, "/home/anna",
                  {{personal, {"~/Documents/x", "~/Pictures"}}, {allowed, {"~/Schreibtisch/x", "~/Bilder"}}});
}

TEST(XdgUserDirs, ParsesTheFileAndSkipsWhatItCannotRead) {
    const auto dirs = XdgUserDirs::parse("  # comment\n"
                                         "XDG_DESKTOP_DIR=\"$HOME/Arbeits fläche\"   # trailing comment\n"
                                         "XDG_DOCUMENTS_DIR=\"/srv/docs/\\\"quoted\\\"\"\n"
                                         "XDG_PICTURES_DIR=\"${HOME}/Bilder\"\n"
                                         "XDG_PICTURES_DIR=\"relative/ignored\"\n"
                                         "XDG_DOWNLOAD_DIR=\"$HOME/Downloads\"\n",
                                         "/home/anna");
    EXPECT_EQ(dirs.desktop, std::filesystem::path("/home/anna/Arbeits fläche"));
    EXPECT_EQ(dirs.documents, std::filesystem::path("/srv/docs/\"quoted\""));
    EXPECT_EQ(dirs.pictures, std::filesystem::path("/home/anna/Bilder"));
    EXPECT_EQ(dirs.download, std::filesystem::path("/home/anna/Downloads"));

    for (const auto* malformed : {"XDG_DOCUMENTS_DIR=$HOME/Docs", "XDG_DOCUMENTS_DIR=\"$HOME/Docs",
                                  "XDG_DOCUMENTS_DIR=\"$HOME/Docs\" junk",
                                  "XDG_DOCUMENTS_DIR=\"$HOMEWORK/x\"", "XDG_DOCUMENTS_DIR=\"~/Docs\"",
                                  "XDG_DOCUMENTS_DIR", "=\"/x\"", "\xFF\xFE\x00", "XDG_DOCUMENTS_DIR=\"\\"})
        EXPECT_EQ(XdgUserDirs::parse(malformed, "/home/anna"), XdgUserDirs{}) << malformed;
}

} // namespace

TEST(ServiceLabel, PlainThirdPartyLabelsUpToTheLimitPassBadShapesAndProtectedPrefixesInAnyCaseDoNot) {
    // Near misses of protected prefixes are someone else's services.
    for (const std::string& label : std::vector<std::string>{
             "org.example.daemon", "A", "0x.Helper_2-b", std::string(201, 'a'), "com.apple",
             "com.applesauce.updater", "de.tobrenlux.velmora", "org.cupsd.x"})
        EXPECT_TRUE(ServiceLabel::isValid(label)) << label;
    for (const std::string& label :
         std::vector<std::string>{"", std::string(202, 'a'), std::string("a\0b", 3), "-x", ".x", "_x", "a b",
                                  "a/b", "../x", "a;b", "a$b", "x\n", "ä.helper", "helper.ä", "a\tb"})
        EXPECT_FALSE(ServiceLabel::isValid(label)) << label;
    for (const std::string label :
         {"com.apple.foo", "Com.Apple.x", "COM.APPLE.X", "de.tobrenlux.velmora2.check",
          "De.Tobrenlux.Velmora2.check.weekly", "com.openssh.sshd", "com.vix.cron", "com.vix.crond",
          "org.cups.cupsd", "org.apache.httpd", "org.apache.httpd2", "org.net-snmp.snmpd",
          "org.openldap.slapd", "org.ntp.ntpd"})
        EXPECT_FALSE(ServiceLabel::isValid(label)) << label;
}
