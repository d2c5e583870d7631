#include "Scanning/Scanners/AppCachesScanner.hpp"
#include "Scanning/Scanners/AppLeftoversScanner.hpp"
#include "Scanning/Scanners/UnusedAppsScanner.hpp"

#include "Doubles/FakeRunningApps.hpp"
#include "Doubles/ScanTree.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Support/IsoDate.hpp"

#include <gtest/gtest.h>

#include <set>

using namespace velmora;
namespace fs = std::filesystem;

namespace {

using namespace std::chrono_literals;

// A home whose tools live in /opt/homebrew/bin and /usr/bin, at a fixed moment.
struct AppTree : test::ScanTree {
    std::shared_ptr<FakeRunningApps> running = std::make_shared<FakeRunningApps>();

    explicit AppTree(PlatformLayout layout = PlatformLayout::macOS)
        : ScanTree(layout, {}, {"opt/homebrew/bin", "usr/bin"}) {
        context.userCacheDir = tree.folder(home / ".cache");
        context.runningApps = running;
        context.now = *parseIsoDate("2026-06-01T12:00:00Z");
    }
    fs::path bundle(const std::string& where, const std::string& id, const std::string& extra = "") {
        tree.file(
            where + "/Contents/Info.plist",
            "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" + id +
                "</string>" + extra + "</dict></plist>");
        return tree / where;
    }
    // The tree's mdls answers `date` for the bundle (no call scripted: mdls fails, i.e. unknown).
    void lastUsed(const fs::path& bundle, const std::string& date) {
        runner->expect(tree / "usr/bin/mdls", {"-raw", "-name", "kMDItemLastUsedDate", bundle.string()})
            .returns(0, date);
    }
};

// "key: item, item …" per finding, items by name: what a scanner offers at a glance.
std::vector<std::string> offered(const std::vector<Finding>& findings) {
    std::vector<std::string> lines;
    for (const auto& finding : findings) {
        std::string line = finding.id.key;
        line += ":";
        for (const auto& item : finding.items)
            line += " " + item.name;
        lines.push_back(line);
    }
    return lines;
}

} // namespace

TEST(AppScanners, UnusedMacAppsAreTheOldOnesWithAKnownDateThatAreNeitherRunningNorApple) {
    AppTree t;
    t.installed.insert(t.tree / "usr/bin/mdls");
    t.installed.insert(t.tree / "opt/homebrew/bin/brew");
    t.runner->expect(t.tree / "opt/homebrew/bin/brew", {"info", "--json=v2", "--cask", "--installed"})
        .returns(0, test::recording("apps/brew-info-json-v2-cask-installed.json"));
    const auto old = "2026-01-10 10:00:00 +0200", recent = "2026-05-20 08:00:00 +0000";
    t.lastUsed(t.bundle("Applications/Old.app", "com.example.Old",
                        "<key>CFBundleDisplayName</key><string>Alt</string>"),
               old);
    // Found inside a suite's folder, but no Trash removal may take it from there.
    t.lastUsed(t.bundle("Applications/Suite/Tools/Inner.app", "com.example.Inner"), old);
    t.lastUsed(t.bundle("Users/anna/Applications/Unity Hub.app", "com.unity3d.unityhub"), old);
    t.lastUsed(t.bundle("Users/anna/Applications/Old.app", "com.example.Old",
                        "<key>CFBundleDisplayName</key><string>Alt</string>"),
               old);
    t.lastUsed(t.bundle("Applications/Fresh.app", "com.example.Fresh"), recent);
    t.lastUsed(t.bundle("Applications/Never.app", "com.example.Never"), "(null)");
    t.bundle("Applications/Unindexed.app", "com.example.Unindexed"); // mdls fails
    t.lastUsed(t.bundle("Applications/Pages.app", "com.apple.iWork.Pages"), old);
    t.lastUsed(t.bundle("Applications/Busy.app", "com.example.Busy"), old);
    t.lastUsed(t.bundle("Applications/Helper.app", "com.example.Helper"), old);
    t.tree.file("Applications/Broken.app/Contents/Info.plist", "<plist><dict><key>"); // no id, no offer
    t.running->setApps({{1, "com.example.busy", "Busy"}});
    t.running->setProcesses({{2, "/Applications/Helper.app/Contents/MacOS/helperd", "helperd"}});

    const auto found = t.scan(UnusedAppsScanner());
    EXPECT_EQ(offered(found),
              (std::vector<std::string>{"com.example.Old: Alt",
                                        "com.example.Old@/Users/anna/Applications/Old.app: Alt",
                                        "com.unity3d.unityhub: Unity Hub"}));
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0].method, RemovalMethod::trash());
    EXPECT_EQ(found[0].items[0].date, parseIsoDate("2026-01-10T08:00:00Z"));
    EXPECT_EQ(found[0].blockingApps.at(0).bundleID, "com.example.Old");
    EXPECT_EQ(found[2].method,
              RemovalMethod::tool(ToolCommand{"brew", {"uninstall", "--cask", "unity-hub"}, 600s}));
    EXPECT_EQ(found[2].risk, Risk::review);

    // Dates that are not mdls's form fail the scan instead of guessing.
    t.runner->expect(t.tree / "usr/bin/mdls").returns(0, "gestern");
    t.bundle("Applications/Odd.app", "com.example.Odd");
    t.context.claims = std::make_shared<PathClaims>(); // a new scan reads the apps again
    EXPECT_FALSE(UnusedAppsScanner().scan(t.context, {}));
}

TEST(AppScanners, UnusedLinuxAppsAreFlatpaksWithAnOldDataFolderAndOldAppImages) {
    AppTree t(PlatformLayout::linux);
    t.installed.insert(t.tree / "usr/bin/flatpak");
    for (const auto& id : {"org.old.User", "org.never.Started"})
        t.tree.link("home/anna/.local/share/flatpak/app/" + std::string(id) + "/current", "x86_64/stable");
    t.tree.link("var/lib/flatpak/app/org.old.System/current", "x86_64/stable");
    t.tree.link("var/lib/flatpak/app/org.fresh.System/current", "x86_64/stable");
    t.tree.file("var/lib/flatpak/exports/share/applications/org.old.System.desktop",
                "[Desktop Entry]\nName=Alter Player\n");
    for (const auto& id : {"org.old.User", "org.old.System"}) {
        t.age(t.tree.file("home/anna/.var/app/" + std::string(id) + "/config/x"), std::chrono::days{120});
        t.age(t.home / ".var/app" / id / "config", std::chrono::days{120});
        t.age(t.home / ".var/app" / id, std::chrono::days{120});
    }
    t.tree.file("home/anna/.var/app/org.fresh.System/cache/new");
    t.age(t.tree.file("home/anna/Applications/Old-1.0.AppImage", "elf"), std::chrono::days{100});
    t.age(t.tree.file("home/anna/Applications/Running.AppImage", "elf"), std::chrono::days{100});
    t.tree.file("home/anna/Applications/Fresh.appimage", "elf");
    t.running->setProcesses({{3, t.home / "Applications/Running.AppImage", "Running.AppImage"}});

    const auto found = t.scan(UnusedAppsScanner());
    EXPECT_EQ(offered(found),
              (std::vector<std::string>{"org.old.User: org.old.User", "org.old.System: Alter Player",
                                        "Old-1.0.AppImage: Old-1.0"}));
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[1].method, RemovalMethod::tool(ToolCommand{
                                   "flatpak", {"uninstall", "--system", "-y", "org.old.System"}, 600s}));
    EXPECT_EQ(found[2].method, RemovalMethod::trash());
}

TEST(AppScanners, LeftoversAreEntriesOfIdentifiersNoAppOrProcessOwnsOutsideCatalogRows) {
    AppTree t;
    t.bundle("Applications/Kept.app", "com.example.Kept");
    t.bundle("System/Applications/Notes.app", "com.apple.Notes");
    const std::string lib = "Users/anna/Library/";
    for (const auto& entry :
         {"Caches/com.example.Gone/Cache.db", "Containers/com.example.Gone/Data/x",
          "Group Containers/XYZ9876543.com.other.Tool/x",
          "Saved Application State/com.example.Gone.savedState/w",
          "HTTPStorages/com.example.Gone.binarycookies", "Application Support/com.other.Tool/db",
          // an installed app, its extension, its team's group, Apple, a running daemon, loose names
          "Caches/com.example.Kept/x", "Containers/com.example.Kept.ShareExtension/x",
          "Group Containers/ABCDE12345.com.example.shared/x",
          "Group Containers/ABCDE12345.com.example.Gone/x", "Caches/com.apple.Safari/x",
          "Caches/org.daemon.Agent/x", "Application Support/Gone/x", "Preferences/gone.plist",
          "Group Containers/group.com.other.Tool/x",
          // catalog rows: the old-logs row takes Logs, the Docker row the VM inside the container
          "Logs/com.other.Tool/old.log", "Containers/com.docker.docker/Data/vms/disk.raw",
          "Containers/com.docker.docker/Data/settings.json", "Caches/org.carthage.CarthageKit/x"})
        t.tree.file(lib + entry);
    t.tree.file(lib + "Preferences/com.example.Gone.plist");
    t.tree.file(lib + "Caches/com.example.\xff\xfe/x");               // not an identifier
    t.tree.link(lib + "Caches/com.example.Loop", "com.example.Loop"); // a link is never an entry
    t.running->setProcesses({{4, "/usr/local/bin/agent", "org.daemon.Agent"}});

    const auto found = t.scan(AppLeftoversScanner());
    EXPECT_EQ(offered(found), (std::vector<std::string>{
                                  "com.docker.docker: Containers/com.docker.docker/Data/settings.json",
                                  "com.example.Gone: Caches/com.example.Gone Containers/com.example.Gone "
                                  "Preferences/com.example.Gone.plist "
                                  "Saved Application State/com.example.Gone.savedState "
                                  "HTTPStorages/com.example.Gone.binarycookies",
                                  "com.other.Tool: Application Support/com.other.Tool Group "
                                  "Containers/XYZ9876543.com.other.Tool"}));
    EXPECT_EQ(found.at(1).method, RemovalMethod::trash());
    EXPECT_EQ(found.at(1).risk, Risk::review);

    // An app whose Info.plist cannot be read may be any app: nothing is then proven gone.
    t.tree.file("Applications/Broken.app/Contents/Info.plist", "\x01\x02");
    t.context.claims = std::make_shared<PathClaims>(); // a new scan reads the apps again
    EXPECT_TRUE(t.scan(AppLeftoversScanner()).empty());
    // So may a folder of apps that cannot be listed.
    fs::remove_all(t.tree / "Applications/Broken.app");
    ::chmod(t.tree.folder("Applications/Locked").c_str(), 0);
    t.context.claims = std::make_shared<PathClaims>();
    std::size_t offeredThen = 99;
    if (!velmora::testing::runBoundByPermissions([&] { offeredThen = t.scan(AppLeftoversScanner()).size(); }))
        GTEST_SKIP() << "permissions do not bind here";
    EXPECT_EQ(offeredThen, 0u);
}

TEST(AppScanners, LinuxLeftoversAreDataOfRemovedFlatpaksAndSnapsWithoutTheCatalogsCache) {
    AppTree t(PlatformLayout::linux);
    t.tree.file("home/anna/.var/app/org.gone.App/cache/blob");
    t.tree.file("home/anna/.var/app/org.gone.App/data/db");
    t.tree.file("home/anna/.var/app/org.kept.App/data/db");
    t.tree.folder("var/lib/flatpak/app/org.kept.App");
    t.tree.file("home/anna/snap/gone-snap/common/x");
    t.tree.file("home/anna/snap/kept/common/x");
    t.tree.folder("snap/kept");
    const auto found = t.scan(AppLeftoversScanner());
    EXPECT_EQ(offered(found),
              (std::vector<std::string>{"org.gone.App: org.gone.App/data", "gone-snap: gone-snap"}));
}

TEST(AppScanners, AppCachesTakeWhatIsBigAndUnclaimedOnceAcrossPhases) {
    AppTree t;
    constexpr std::size_t big = 11'000'000;
    t.bundle("Applications/Big.app", "com.example.Big", "<key>CFBundleName</key><string>Big Player</string>");
    const std::string caches = "Users/anna/Library/Caches/";
    for (const auto& name : {"com.example.Big", "com.apple.appstore", "com.apple.Safari",
                             "com.example.Partly", "com.anthropic.claudefordesktop", "com.example.Gone"})
        t.tree.filledFile(caches + name + "/blob", big);
    t.tree.filledFile(caches + "com.example.Small/blob", 1'000'000);
    t.context.claims->claim({t.tree / caches / "com.example.Partly/sub"});
    t.bundle("Applications/Gone-Owner.app", "com.example.Gone"); // installed: so its cache is an app cache

    const auto found = t.scan(AppCachesScanner());
    ASSERT_EQ(offered(found), (std::vector<std::string>{"com.apple.appstore: com.apple.appstore",
                                                        "com.example.Big: com.example.Big",
                                                        "com.example.Gone: com.example.Gone"}));
    EXPECT_EQ(found[0].title, "App Store – Cache");
    EXPECT_EQ(found[1].title, "Big Player – Cache");
    EXPECT_EQ(found[1].blockingApps.at(0).bundleID, "com.example.Big");
    EXPECT_EQ(found[1].risk, Risk::safe);

    // Once the app is gone its cache is a leftover, taken in the first phase and not again by the collector.
    fs::remove_all(t.tree / "Applications/Gone-Owner.app");
    t.context.claims = std::make_shared<PathClaims>();
    const auto report =
        ScanEngine({std::make_shared<AppLeftoversScanner>(), std::make_shared<AppCachesScanner>()}, 30s)
            .run(t.context);
    std::int64_t total = 0;
    std::multiset<std::string> places;
    for (const auto& finding : report.findings)
        for (const auto& item : finding.items)
            places.insert(item.url->filename().string()), total += *item.size;
    EXPECT_EQ(places.count("com.example.Gone"), 1u);
    EXPECT_LE(total, SizeMeter().size(t.home));
}

TEST(AppScanners, LinuxAppCachesAreNamedByTheirDesktopEntry) {
    AppTree t(PlatformLayout::linux);
    t.tree.file("usr/share/applications/vlc.desktop", "[Desktop Entry]\nName=VLC media player\n");
    t.tree.filledFile("home/anna/.cache/vlc/art", 11'000'000);
    t.tree.filledFile("home/anna/.cache/pip/http/blob", 11'000'000); // the pip row's
    const auto found = t.scan(AppCachesScanner());
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].title, "VLC media player – Cache");
}
