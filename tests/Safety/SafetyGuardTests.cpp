#include "Safety/SafetyGuard.hpp"

#include "Safety/TempTree.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>

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

struct Case {
    std::string logical; // below the tree's root
    const char* reason;  // nullptr: allowed
};

std::string describe(const std::optional<std::string>& reason) {
    return reason ? *reason : "(erlaubt)";
}

void expectCases(const SafetyGuard& guard, const TempTree& tree, const std::vector<Case>& cases) {
    for (const auto& c : cases) {
        const auto expected = c.reason ? std::optional<std::string>(c.reason) : std::nullopt;
        EXPECT_EQ(describe(guard.check(tree(c.logical))), describe(expected)) << c.logical;
    }
}

// A Mac as the guard sees it: anna's home, her private cache and temporary folders, system places,
// and links in her caches that lead elsewhere.
class MacGuard : public ::testing::Test {
protected:
    void SetUp() override {
        for (const auto* folder : {"/Users/anna/Library/Caches/com.example.app",
                                   "/Users/anna/Library/Logs",
                                   "/Users/anna/Desktop",
                                   "/Users/anna/Pictures/Photos Library.photoslibrary",
                                   "/Users/anna/.ssh",
                                   "/Users/anna/.codex/log",
                                   "/Users/anna/.gemini/settings",
                                   "/Users/other",
                                   "/private/var/folders/ab/xyz/C/clang",
                                   "/private/var/folders/ab/xyz/C/com.apple.Safari",
                                   "/private/var/folders/ab/xyz/T",
                                   "/private/tmp",
                                   "/private/etc",
                                   "/Library/Caches/com.example",
                                   "/Library/LaunchDaemons/sub",
                                   "/Applications/Foo.app/Contents",
                                   "/Applications/Sub/Foo.app",
                                   "/opt/homebrew/Caskroom/x",
                                   "/opt/homebrew/Cellar/wget",
                                   "/usr/local/texlive/2023",
                                   "/System/Volumes/Data"})
            tree.folder(folder);
        tree.file("/Users/anna/Documents/secret.txt");
        tree.file("/Users/anna/Library/Keychains/login.keychain-db");
        tree.file("/Users/anna/Library/Caches/notes.txt");
        tree.file("/Users/anna/.ssh/id_ed25519");
        tree.file("/Users/anna/Pictures/Export/x.jpg");
        tree.file("/Library/LaunchDaemons/com.example.agent.plist");

        const std::string caches = "/Users/anna/Library/Caches/";
        tree.link(caches + "toDocumentsAbsolute", "/Users/anna/Documents");
        tree.link(caches + "toDocumentsRelative", "../../Documents");
        tree.link(caches + "toSsh", "/Users/anna/.ssh");
        tree.link(caches + "toKeychain", "../Keychains/login.keychain-db");
        tree.link(caches + "hop1", "hop2");
        tree.link(caches + "hop2", "/Users/anna/.ssh/id_ed25519");
        tree.link(caches + "toCellar", "/opt/homebrew/Cellar/wget");
        tree.link(caches + "toLogs", "../Logs");
        tree.link(caches + "toSystemCaches", "/Library/Caches/com.example");
        tree.link(caches + "toHome", "/Users/anna");
        tree.link(caches + "toPictures", "/Users/anna/Pictures");
        tree.link(caches + "toPhotos", "/Users/anna/Pictures/Photos Library.photoslibrary");
        tree.link(caches + "toRoot", "/");
        tree.link(caches + "up", "../../../../../../../../../..");
        tree.link(caches + "loopA", "loopB");
        tree.link(caches + "loopB", "loopA");
        tree.link(caches + "dangling", "/Users/anna/Documents/not-yet");

        setup.rootPrefix = tree.root();
        setup.home = "/Users/anna";
        setup.cache = "/var/folders/ab/xyz/C";
        setup.temp = "/var/folders/ab/xyz/T";
    }

    SafetyGuard guard() const { return SafetyGuard(setup); }

    TempTree tree;
    SafetyGuard::Setup setup;
};

TEST_F(MacGuard, BuildsItsPartsFromResolvedLowerCasedFolders) {
    const auto g = guard();
    EXPECT_TRUE(g.isValid());
    EXPECT_EQ(g.homeParts(), (SafetyGuard::Components{"users", "anna"}));
    EXPECT_EQ(g.cacheParts(), (SafetyGuard::Components{"private", "var", "folders", "ab", "xyz", "c"}));
    EXPECT_EQ(g.tempParts(), (SafetyGuard::Components{"private", "var", "folders", "ab", "xyz", "t"}));
    EXPECT_TRUE(g.allowedCache().contains("com.apple.dt.instrumentscli"));

    // Folders of an unexpected shape are dropped, and the stand-ins never have the expected one.
    setup.cache = "/var/empty/velmora-no-cache-dir";
    setup.temp = "/var/folders/ab/xyz/T/deeper";
    EXPECT_FALSE(guard().cacheParts());
    EXPECT_FALSE(guard().tempParts());
}

TEST_F(MacGuard, HomeOfAnUnexpectedShapeDeniesEverything) {
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
}

TEST_F(MacGuard, HomeRules) {
    expectCases(guard(), tree,
                {
                    {"/Users/anna", personal},
                    {"/Users/anna/", personal},
                    {"/Users/anna/Library", personal},
                    {"/Users/anna/Library/Caches/com.example.app", allowed},
                    {"/Users/anna/Library/Caches/not/yet/there", allowed},
                    {"/Users/anna/Library/Caches/notes.txt/below/a/file", allowed},
                    {"/Users/anna/Library/Keychains/x", credentials},
                    {"/Users/anna/Library/Keychains", credentials},
                    {"/Users/anna/Documents", personal},
                    {"/Users/anna/Documents/secret.txt", personal},
                    {"/Users/anna/DOCUMENTS/x", personal},
                    {"/Users/ANNA/documents/x", personal},
                    {"/Users/anna/Desktop/x", personal},
                    {"/Users/anna/Pictures", personal},
                    {"/Users/anna/Pictures/Export/x.jpg", allowed},
                    {"/Users/anna/Pictures/Photos Library.photoslibrary/x", photos},
                    {"/Users/anna/Movies/Old.PhotosLibrary", photos},
                    {"/Users/anna/.ssh", credentials},
                    {"/Users/anna/.ssh/id_ed25519", credentials},
                    {"/Users/anna/.gnupg/x", credentials},
                    {"/Users/anna/.aws/credentials", credentials},
                    {"/Users/anna/.kube/config", credentials},
                    {"/Users/anna/.config/gh/hosts.yml", credentials},
                    {"/Users/anna/.docker/config.json", credentials},
                    {"/Users/anna/.docker/buildx/cache", allowed},
                    {"/Users/anna/Library/Caches/Homebrew/Cellar/x", homebrew},
                    {"/Users/anna/.npm/_cacache", allowed},
                    {"/Users/anna/Library/Caches/../../Documents/x", personal},
                    {"/Users/anna/./Library/./Caches/x", allowed},
                });
}

TEST_F(MacGuard, ToolFoldersKeepTheirCredentialFiles) {
    expectCases(guard(), tree,
                {
                    {"/Users/anna/.codex", credentials},
                    {"/Users/anna/.codex/log/x.log", allowed},
                    {"/Users/anna/.codex/sessions/2025/rollout.jsonl", allowed},
                    {"/Users/anna/.codex/auth.json", credentials},
                    {"/Users/anna/.codex/AUTH.JSON", credentials},
                    {"/Users/anna/.gemini/settings/config.yaml", credentials},
                    {"/Users/anna/.gemini/oauth_creds.json", credentials},
                    {"/Users/anna/.copilot/token-cache", credentials},
                    {"/Users/anna/.copilot/credentials", credentials},
                    {"/Users/anna/.codex/settings.toml", credentials},
                    {"/Users/anna/.codex/.env", credentials},
                    {"/Users/anna/.codex/.env.local", credentials},
                    {"/Users/anna/.codex/.envrc", allowed},
                    {"/Users/anna/.codex/keychain.db", credentials},
                    {"/Users/anna/.codex/log/auth.json", credentials},
                    {"/Users/anna/.codex/auth.json/x", credentials},
                    // Marks must not hide a name: combining acute (Mn), enclosing circle (Me) and a
                    // spacing mark (Mc) are all dropped for the second comparison.
                    {"/Users/anna/.codex/au\u0301th.json", credentials},
                    {"/Users/anna/.codex/to\u20DDken", credentials},
                    {"/Users/anna/.codex/con\u0903fig.yaml", credentials},
                    {"/Users/anna/.codex/\xFF\xFEtoken", allowed},
                    {"/Users/anna/.codex/token\xFF", credentials},
                    {"/Users/anna/projects/.codex/auth.json", allowed},
                });
}

TEST_F(MacGuard, SystemRules) {
    expectCases(guard(), tree,
                {
                    {"/", system},
                    {"/opt/homebrew/Caskroom/x", homebrew},
                    {"/System/Volumes/Data/System/Library/AssetsV2/com_apple_MobileAsset_x", simctl},
                    {"/System/Volumes/Data/System/Library/AssetsV2", simctl},
                    {"/System/Volumes/Data/System/Library", system},
                    {"/var/folders/ab/xyz/C", system},
                    {"/var/folders/ab/xyz/C/clang/ModuleCache", allowed},
                    {"/private/var/folders/ab/xyz/C/CLANG", allowed},
                    {"/var/folders/ab/xyz/C/com.apple.dt.InstrumentsCLI", allowed},
                    {"/var/folders/ab/xyz/C/com.apple.Safari", system},
                    {"/var/folders/ab/xyz/T", system},
                    {"/var/folders/ab/xyz/T/anything", allowed},
                    {"/var/folders/ab/other/T/anything", system},
                    {"/Library/Caches", system},
                    {"/Library/Caches/com.example", allowed},
                    {"/Library/Logs/DiagnosticReports/x.ips", allowed},
                    {"/Library/LaunchDaemons/com.example.agent.plist", allowed},
                    {"/Library/LaunchAgents/com.example.agent.plist", allowed},
                    {"/Library/LaunchDaemons/sub/x.plist", system},
                    {"/Library/LaunchDaemons", system},
                    {"/Library/LaunchAgents/.plist", system},
                    {"/Library/LaunchAgents/x.plist.bak", system},
                    {"/usr/local/texlive", allowed},
                    {"/usr/local/texlive/2023", allowed},
                    {"/usr/local", system},
                    {"/Library/TeX/Root", allowed},
                    {"/Applications/TeX", allowed},
                    {"/opt/anaconda3", allowed},
                    {"/opt/miniconda3/pkgs", allowed},
                    {"/opt/homebrew", outside},
                    {"/Library/Developer/Xcode/DerivedData/x", allowed},
                    {"/Library/Developer", system},
                    {"/Applications/Foo.app", allowed},
                    {"/Applications/Foo.app/Contents/x", allowed},
                    {"/Applications/Sub/Foo.app", system},
                    {"/Applications/.app", system},
                    {"/Applications/A.app", allowed},
                    {"/Applications", system},
                    {"/usr/bin/true", system},
                    {"/Users/other/x", outside},
                    {"/Users", outside},
                    {"/Volumes/Backup/x", outside},
                });
}

TEST_F(MacGuard, VarTmpAndEtcCountAsBelowPrivate) {
    const auto g = guard();
    for (const std::string path : {"/tmp/x", "/etc/hosts", "/var/log/x", "/var/folders/ab/xyz/T/x"}) {
        EXPECT_EQ(g.check(tree(path)), g.check(tree("/private" + path))) << path;
        EXPECT_EQ(g.check(tree(path)), g.check(tree("/TMP/../" + path))) << path;
    }
    EXPECT_EQ(SafetyGuard::normalise("/Tmp/../var/./x//y", PlatformLayout::macOS),
              (SafetyGuard::Components{"private", "var", "x", "y"}));
    EXPECT_EQ(SafetyGuard::normalise("/../../tmp", PlatformLayout::linux), (SafetyGuard::Components{"tmp"}));
}

TEST_F(MacGuard, LinksCannotSmuggleProtectedTargetsIntoCaches) {
    const std::string caches = "/Users/anna/Library/Caches/";
    expectCases(guard(), tree,
                {
                    {caches + "toDocumentsAbsolute", symlinkOut},
                    {caches + "toDocumentsAbsolute/secret.txt", symlinkOut},
                    {caches + "toDocumentsRelative", symlinkOut},
                    {caches + "toDocumentsRelative/new-file", symlinkOut},
                    {caches + "toHome", symlinkOut},
                    {caches + "toPictures", symlinkOut},
                    {caches + "toPhotos/x", symlinkOut},
                    {caches + "toRoot", symlinkOut},
                    {caches + "toRoot/Library/Caches/com.example", allowed},
                    // These two reasons are kept when a link leads there.
                    {caches + "toSsh", credentials},
                    {caches + "toKeychain", credentials},
                    {caches + "hop1", credentials},
                    {caches + "toCellar", homebrew},
                    // Links to other allowed places are fine.
                    {caches + "toLogs/x.log", allowed},
                    {caches + "toSystemCaches", allowed},
                    // The link itself may go when nothing is at its target.
                    {caches + "dangling", allowed},
                    {caches + "loopA", unresolvable},
                    {caches + "loopA/x", unresolvable},
                    // ".." after a link leaves the link's target, as the system would: lexically this is
                    // ~/Library/Caches/Desktop, really it is ~/Desktop.
                    {caches + "toDocumentsAbsolute/../Desktop", symlinkOut},
                    {caches + "toDocumentsAbsolute/../Library/Caches/x", allowed},
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

    // Real paths outside the root never get in, neither directly nor by "..".
    expectCases(g, tree,
                {
                    {"/../outside", outside},
                    {"/Users/anna/Library/Caches/../../../../../x", outside},
                });
    EXPECT_EQ(describe(g.check("/etc/passwd")), outside);
    EXPECT_EQ(describe(g.check("relative/path")), outside);
    // The system would stop at the NUL and remove ~/Documents.
    const auto withNul =
        tree("/Users/anna/Documents").string() + std::string(1, '\0') + "/../Library/Caches/x";
    EXPECT_EQ(describe(g.check(withNul)), unresolvable);
    EXPECT_EQ(describe(g.check("")), outside);
    // Lexically inside the root, but the path as given does not literally start with the root.
    EXPECT_EQ(describe(g.check("/.." + tree("/Users/anna/Library/Caches/x").string())), unresolvable);
    EXPECT_EQ(describe(g.checkLogical("/Users/anna/Library/Caches/com.example.app")), "(erlaubt)");
    EXPECT_EQ(describe(g.checkLogical("/Users/anna/Documents")), personal);
    EXPECT_EQ(g.verdict(tree("/Users/anna/Documents")), SafetyVerdict::denied(personal));
    EXPECT_EQ(g.verdict(tree("/Users/anna/Library/Caches/x")), SafetyVerdict::allowed());
}

TEST(SafetyGuardResolve, MatchesRealpathWithRootSlash) {
    TempTree tree;
    tree.file("/a/b/file");
    tree.folder("/c/d");
    tree.link("/a/relative", "b");
    tree.link("/a/b/up", "../../c/d");
    tree.link("/a/absolute", tree("/c").string());
    tree.link("/a/chain", "relative/up");
    tree.link("/a/loop", "loop");
    SafetyGuard::Setup setup;
    setup.layout = PlatformLayout::linux;
    setup.home = "/home/nobody";
    const SafetyGuard guard(setup);

    for (const auto* logical :
         {"/a/relative/file", "/a/b/up", "/a/absolute/d", "/a/chain/../d", "/a/relative/../relative/file",
          "/a/absolute/d/../../a/b/file", "/a/./b//file"}) {
        const auto path = tree(logical).string();
        char buffer[PATH_MAX];
        ASSERT_NE(::realpath(path.c_str(), buffer), nullptr) << path;
        EXPECT_EQ(guard.resolve(path), SafetyGuard::normalise(buffer, PlatformLayout::linux)) << logical;
    }
    // Where realpath fails on the whole path, the deepest existing ancestor carries the rest.
    EXPECT_EQ(guard.resolve(tree("/a/relative/missing/x").string()),
              SafetyGuard::normalise(tree("/a/b/missing/x").string(), PlatformLayout::linux));
    EXPECT_EQ(guard.resolve(tree("/a/b/file/x").string()),
              SafetyGuard::normalise(tree("/a/b/file/x").string(), PlatformLayout::linux));
    EXPECT_FALSE(guard.resolve(tree("/a/loop").string()));
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

TEST_F(LinuxGuard, HomeRulesWithLocalisedFolders) {
    const auto g = guard();
    ASSERT_TRUE(g.isValid());
    expectCases(g, tree,
                {
                    {"/home/anna", personal},
                    {"/home/anna/.cache/pip/wheels", allowed},
                    {"/home/anna/.local/share/Trash/files/x", allowed},
                    {"/home/anna/.ssh/id_rsa", credentials},
                    {"/home/anna/.config/user-dirs.dirs", credentials},
                    {"/home/anna/.codex/auth.json", credentials},
                    {"/home/anna/.codex/log/x.log", allowed},
                    {"/home/anna/Documents/x", personal},
                    {"/home/anna/Desktop", personal},
                    {"/home/anna/Schreibtisch/x", personal},
                    {"/home/anna/SCHREIBTISCH", personal},
                    // The documents folder is a link: both its name and its target are protected.
                    {"/home/anna/Briefe/x", personal},
                    {"/home/anna/Nextcloud/Texte/x", personal},
                    {"/home/anna/Nextcloud/Texte", personal},
                    {"/home/anna/Nextcloud", allowed},
                    {"/home/anna/Bilder", personal},
                    {"/home/anna/Bilder/Urlaub/x.jpg", allowed},
                    {"/home/anna/Pictures", personal},
                    {"/home/anna/Videos/x.mp4", allowed},
                    {"/home/anna/Bilder/Alt.photoslibrary/x", photos},
                    {"/home/linuxbrew/.linuxbrew/Cellar/x", homebrew},
                    {"/home/anna/.cache/toSchreibtisch/x", symlinkOut},
                    {"/home/anna/Dokumente/x", allowed},
                    {"/home/anna/.cache/toBriefe", symlinkOut},
                    {"/home/anna/.cache/toEtc/passwd", symlinkOut},
                });
}

TEST_F(LinuxGuard, EverythingOutsideTheHomeIsDenied) {
    expectCases(guard(), tree,
                {
                    {"/", system},
                    {"/tmp/x", system},
                    {"/etc/passwd", system},
                    {"/usr/bin/true", system},
                    {"/opt/app", system},
                    {"/var/cache/apt", system},
                    {"/private/tmp/x", outside},
                    {"/home", outside},
                    {"/home/bob/x", outside},
                    {"/media/usb/x", outside},
                    {"/root/x", outside},
                    // The macOS system places mean nothing here.
                    {"/Library/Caches/x", outside},
                    {"/Applications/Foo.app", outside},
                });
}

TEST_F(LinuxGuard, ValidHomesAndMissingUserDirs) {
    EXPECT_TRUE(guard("/root").isValid());
    EXPECT_EQ(describe(guard("/root").check(tree("/root"))), personal);
    EXPECT_EQ(describe(guard("/root").check(tree("/root/.cache/x"))), "(erlaubt)");
    for (const auto* home : {"/opt/app", "/home", "/Users/anna", "/"})
        EXPECT_FALSE(guard(home).isValid()) << home;

    // Without a readable user-dirs file only the English folders are protected.
    std::filesystem::remove(tree("/home/anna/.config/user-dirs.dirs"));
    tree.folder("/home/anna/.config/user-dirs.dirs"); // a folder where the file should be
    const auto g = guard();
    ASSERT_TRUE(g.isValid());
    expectCases(g, tree,
                {
                    {"/home/anna/Documents/x", personal},
                    {"/home/anna/Schreibtisch/x", allowed},
                    {"/home/anna/Bilder", allowed},
                    {"/home/anna/Pictures", personal},
                });
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

    for (const auto* malformed : {"XDG_DOCUMENTS_DIR=$HOME/Docs", "XDG_DOCUMENTS_DIR=\"$HOME/Docs",
                                  "XDG_DOCUMENTS_DIR=\"$HOME/Docs\" junk",
                                  "XDG_DOCUMENTS_DIR=\"$HOMEWORK/x\"", "XDG_DOCUMENTS_DIR=\"~/Docs\"",
                                  "XDG_DOCUMENTS_DIR", "=\"/x\"", "\xFF\xFE\x00", "XDG_DOCUMENTS_DIR=\"\\"})
        EXPECT_EQ(XdgUserDirs::parse(malformed, "/home/anna"), XdgUserDirs{}) << malformed;
}

} // namespace
