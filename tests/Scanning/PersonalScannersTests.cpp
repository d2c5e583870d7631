#include "Scanning/Scanners/DeviceBackupsScanner.hpp"
#include "Scanning/Scanners/LocalSnapshotsScanner.hpp"
#include "Scanning/Scanners/MessageAttachmentsScanner.hpp"
#include "Scanning/Scanners/OldInstallersScanner.hpp"
#include "Scanning/Scanners/OldKernelsScanner.hpp"
#include "Scanning/Scanners/PhotosScanner.hpp"
#include "Scanning/Scanners/SoftwareUpdatesScanner.hpp"

#include "Doubles/ScanTree.hpp"
#include "Services/LaunchTreeSupport.hpp"

#include <gtest/gtest.h>

using namespace velmora;
namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

using PersonalTree = test::ScanTree;
using test::itemNames;
using test::recording;

constexpr auto old = 24h * 20;

} // namespace

TEST(PersonalScanners, OldInstallersAreTopLevelInstallersOfTheLayoutOlderThanTwoWeeks) {
    struct Case {
        PlatformLayout layout;
        std::vector<std::pair<std::string, std::chrono::hours>> files;
        std::vector<std::string> folders; // old, with a file inside
        std::vector<std::string> offered; // newest first: files were aged one hour apart in order
    };
    const std::vector<Case> cases{
        {PlatformLayout::macOS,
         {{"a.dmg", old},
          {"B.DMG", old + 1h},
          {"fresh.dmg", 24h * 13},
          {"c.xip", old + 2h},
          {".dmg", old},
          {"d.iso", old + 3h},
          {"e.deb", old},
          {"f.zip", old},
          {"g\xff.mpkg", old + 4h}},
         {"Bundle.pkg", "folder.dmg"},
         {"a.dmg", "B.DMG", "c.xip", "d.iso", "g\xff.mpkg", "Bundle.pkg"}},
        {PlatformLayout::linux,
         {{"a.deb", old},
          {"b.rpm", old + 1h},
          {"c.AppImage", old + 2h},
          {"d.run", old + 3h},
          {"e.flatpakref", old + 4h},
          {"f.dmg", old},
          {"new.iso", 24h}},
         {"Bundle.pkg"},
         {"a.deb", "b.rpm", "c.AppImage", "d.run", "e.flatpakref"}},
    };
    for (const auto& c : cases) {
        PersonalTree t(c.layout);
        for (const auto& [name, age] : c.files)
            t.age(t.tree.filledFile(t.home / "Downloads" / name, 5000), age);
        for (const auto& name : c.folders) {
            t.tree.filledFile(t.home / "Downloads" / name / "Contents/Archive.pax", 9000);
            t.age(t.home / "Downloads" / name, old + 10h);
        }
        t.tree.link(t.home / "Downloads/link.dmg", t.home / "Downloads/a.dmg");
        t.age(t.tree.filledFile(t.home / "Downloads/sub/deep.dmg", 10), old);
        const auto found = t.scan(OldInstallersScanner());
        EXPECT_EQ(itemNames(found), c.offered) << rawValue(c.layout);
        ASSERT_EQ(found.size(), 1u);
        if (c.layout == PlatformLayout::macOS) { // a bundle counts whole
            EXPECT_EQ(found[0].items.back().size, SizeMeter().size(t.home / "Downloads/Bundle.pkg"));
        }
    }
}

TEST(PersonalScanners, LinuxInstallersComeFromTheNamedDownloadFolderInsideTheHomeOnly) {
    PersonalTree t(PlatformLayout::linux);
    for (const auto* file :
         {"/home/anna/Herunterladen/tool.deb", "/home/anna/Downloads/other.deb", "/srv/share/x.deb"})
        t.age(t.tree.filledFile(file, 100), old);
    for (const auto& [named, offered] : std::vector<std::pair<std::string, std::vector<std::string>>>{
             {"$HOME/Herunterladen", {"tool.deb"}}, {"/srv/share", {}}}) { // the guard would refuse /srv
        t.tree.file(t.home / ".config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"" + named + "\"\n");
        EXPECT_EQ(itemNames(t.scan(OldInstallersScanner())), offered) << named;
    }
}

TEST(PersonalScanners, DeviceBackupsAreNamedAndDatedByTheirInfoPlistWhateverShapeItIsIn) {
    PersonalTree t;
    const auto backups = t.home / "Library/Application Support/MobileSync/Backup";
    t.tree.file(backups / "udid-xml/Info.plist",
                "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Device Name</key>"
                "<string>Annas iPhone</string><key>Last Backup Date</key><date>2024-03-01T10:00:00Z</date>"
                "</dict></plist>");
    t.tree.filledFile(backups / "udid-xml/00/blob", 7000);
    plist_t binary = plist_new_dict();
    plist_dict_set_item(binary, "Device Name", plist_new_string("iPad"));
    plist_dict_set_item(binary, "Last Backup Date", plist_new_date(747'000'000, 0)); // 2024-09-03
    t.tree.file(backups / "udid-bin/Info.plist", test::plistBytes(binary, true));
    t.tree.file(backups / "udid-broken/Info.plist", "<plist><dict><key>Device Name</key>");
    t.tree.folder(backups / "udid-none");
    t.tree.file(backups / "udid-control/Info.plist",
                "<plist><dict><key>Device Name</key><string>a&#10;b</string></dict></plist>");
    ::truncate(t.tree.file(backups / "udid-huge/Info.plist").c_str(), 64 << 20); // sparse, not read
    t.tree.file(backups / "stray-file", "x");

    const auto found = t.scan(DeviceBackupsScanner());
    EXPECT_EQ(itemNames(found), (std::vector<std::string>{"iPad", "Annas iPhone", "udid-broken",
                                                          "udid-control", "udid-huge", "udid-none"}));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].items[1].detail, "udid-xml");
    EXPECT_EQ(found[0].items[1].size, SizeMeter().size(backups / "udid-xml"));
    EXPECT_EQ(found[0].items[1].date, std::chrono::sys_days{2024y / 3 / 1} + 10h);
    EXPECT_FALSE(found[0].items[2].date);
}

TEST(PersonalScanners, FoldersBehindFullDiskAccessAreReportedAsSuchAndOthersByTheirSize) {
    PersonalTree t;
    const auto attachments = t.home / "Library/Messages/Attachments";
    const auto backups = t.home / "Library/Application Support/MobileSync/Backup";
    EXPECT_TRUE(t.scan(MessageAttachmentsScanner()).empty()); // no Messages at all
    t.tree.filledFile(attachments / "ab/01/IMG_0001.heic", 30000);
    t.tree.folder(backups / "udid");
    auto found = t.scan(MessageAttachmentsScanner());
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].size, SizeMeter().size(attachments));
    EXPECT_EQ(found[0].method.kind(), RemovalKind::hint);

    fs::permissions(attachments, fs::perms::none);
    fs::permissions(backups, fs::perms::none);
    fs::permissions(t.tree.folder(t.home / "Downloads"), fs::perms::none);
    t.context.hasFullDiskAccess = false;
    ASSERT_TRUE(velmora::testing::runBoundByPermissions([&] {
        for (const auto& scanner : std::vector<std::shared_ptr<Scanner>>{
                 std::make_shared<MessageAttachmentsScanner>(), std::make_shared<DeviceBackupsScanner>(),
                 std::make_shared<OldInstallersScanner>()}) {
            const auto lacking = t.scan(*scanner);
            ASSERT_EQ(lacking.size(), 1u);
            EXPECT_TRUE(lacking[0].needsFullDiskAccess);
            EXPECT_TRUE(!lacking[0].size && lacking[0].items.empty());
        }
    }));
}

TEST(PersonalScanners, PhotosProbeAndFindingNameTheSameLibrary) {
    struct Case {
        PlatformLayout layout;
        std::vector<fs::path> folders; // relative to the home, each with a photo
        std::string userDirs;
        std::optional<fs::path> library;
    };
    const std::vector<Case> cases{
        {PlatformLayout::macOS,
         {"Pictures/Alt.photoslibrary", "Pictures/Photos Library.photoslibrary"},
         "",
         "Pictures/Photos Library.photoslibrary"},
        {PlatformLayout::macOS,
         {"Pictures/Zweite.photoslibrary", "Pictures/Export"},
         "",
         "Pictures/Zweite.photoslibrary"},
        {PlatformLayout::macOS, {"Pictures/Export"}, "", std::nullopt},
        {PlatformLayout::linux, {"Bilder", "Pictures"}, "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n", "Bilder"},
        {PlatformLayout::linux, {"Pictures"}, "XDG_PICTURES_DIR=\"$HOME/\"\n", std::nullopt},
    };
    for (const auto& c : cases) {
        PersonalTree t(c.layout);
        for (const auto& folder : c.folders)
            t.tree.filledFile(t.home / folder / "p.jpg", 4000);
        t.tree.file(t.home / ".config/user-dirs.dirs", c.userDirs);
        const auto info = photosInfo(t.context);
        const auto found = t.scan(PhotosScanner());
        ASSERT_EQ(info.has_value(), c.library.has_value());
        ASSERT_EQ(found.size(), c.library ? 1u : 0u);
        if (!c.library)
            continue;
        EXPECT_EQ(info->library, t.home / *c.library);
        EXPECT_EQ(info->bytes, SizeMeter().size(t.home / *c.library));
        EXPECT_EQ(found[0].items.at(0).url, info->library);
        EXPECT_EQ(found[0].method,
                  RemovalMethod::hint(HintAction{HintAction::RevealInFinder{info->library}}));
    }
}

TEST(PersonalScanners, LocalSnapshotsFromTheRecordingAreDeletedByTheirDateOnly) {
    PersonalTree t;
    EXPECT_TRUE(t.scan(LocalSnapshotsScanner()).empty()); // no tmutil
    t.installed.insert("/usr/bin/tmutil");
    const auto listing = recording("systemdata/tmutil-listlocalsnapshots-volumegroup-2021.txt");
    t.runner->expect("/usr/bin/tmutil", {"listlocalsnapshots", "/"})
        .returns(0, listing + "com.apple.os.update-ABC\ncom.apple.TimeMachine.2021-13-01-000000.local\n")
        .once();
    const auto found = t.scan(LocalSnapshotsScanner());
    ASSERT_EQ(found.size(), 1u);
    ASSERT_EQ(found[0].items.size(), 6u);
    EXPECT_FALSE(found[0].size);
    const auto& steps = std::get<RemovalMethod::Admin>(found[0].method.value).steps;
    ASSERT_EQ(steps.size(), 4u);
    EXPECT_EQ(steps[0], (AdminStep{"/usr/bin/tmutil",
                                   {"deletelocalsnapshots", "2021-07-23-151043"},
                                   "com.apple.TimeMachine.2021-07-23-151043.local",
                                   false}));
    char local[32];
    const auto moment = std::chrono::system_clock::to_time_t(*found[0].items[0].date);
    std::strftime(local, sizeof local, "%F %T", std::localtime(&moment));
    EXPECT_STREQ(local, "2021-07-23 15:10:43");                     // Time Machine names them in local time
    EXPECT_FALSE(found[0].items[4].date || found[0].items[5].date); // update snapshot, month 13

    t.runner->expect("/usr/bin/tmutil").returns(0, "com.apple.os.update-ABC\n").once();
    EXPECT_EQ(t.scan(LocalSnapshotsScanner()).at(0).risk, Risk::hintOnly);
    t.runner->expect("/usr/bin/tmutil").returns(0, "Snapshots for disk /:\nerror: could not list\n").once();
    EXPECT_EQ(t.error(LocalSnapshotsScanner()),
              "Die Ausgabe von „tmutil listlocalsnapshots /“ ist nicht lesbar.");
    t.runner->expect("/usr/bin/tmutil").returns(1, "", "failed").once();
    EXPECT_EQ(t.error(LocalSnapshotsScanner()), "tmutil meldet einen Fehler (Exit 1).");
}

TEST(PersonalScanners, SoftwareUpdatesFromTheRecordingsAndTheirFailures) {
    PersonalTree t;
    EXPECT_TRUE(t.scan(SoftwareUpdatesScanner()).empty()); // no softwareupdate
    const auto tool = *t.installed.insert("/usr/sbin/softwareupdate").first;
    t.runner->expect(tool, {"--list"})
        .returns(0, recording("personal/softwareupdate-list-one-13.txt"))
        .once();
    const auto found = t.scan(SoftwareUpdatesScanner());
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].items.at(0).id, "macOS Ventura 13.3.1-22E261");
    EXPECT_EQ(found[0].items[0].name, "macOS Ventura 13.3.1");
    EXPECT_EQ(found[0].items[0].detail, "Version 13.3.1 · Download 889,5 MB · Neustart nötig");

    // The tool may say "nothing pending" on standard error alone.
    t.runner->expect(tool).returns(0, "", recording("personal/softwareupdate-list-none-13.txt")).once();
    EXPECT_TRUE(t.scan(SoftwareUpdatesScanner()).empty());
    t.runner->expect(tool).returns(3, "", "error").once();
    EXPECT_EQ(t.error(SoftwareUpdatesScanner()), "softwareupdate: Exit 3");
    for (const auto* garbage :
         {"", "\x01\x02 binary", "Software Update Tool\n\tTitle: orphan, Version: 1\n"}) {
        t.runner->expect(tool).returns(0, garbage).once();
        EXPECT_EQ(t.error(SoftwareUpdatesScanner()),
                  "Die Ausgabe von „softwareupdate --list“ ist nicht lesbar.");
    }
    const auto titled = SoftwareUpdatesScanner::updates(
        "Finding available software\n* Label: X-1\n\tTitle: A, B, Version: 1, Size: 2MiB,\n* Label: Y\n");
    EXPECT_EQ(titled,
              (std::vector<SoftwareUpdatesScanner::Update>{{"X-1", "A, B", "1", 2 << 20, false},
                                                           {"Y", "Y", std::nullopt, std::nullopt, false}}));
}

TEST(PersonalScanners, OldKernelsAreAllButTheRunningAndTheNewest) {
    PersonalTree t(PlatformLayout::linux);
    for (const auto* release : {"5.10.0-9-amd64", "5.10.0-10-amd64", "6.1.0-1-amd64", "6.1.0-2-amd64"}) {
        t.tree.filledFile(fs::path("/lib/modules") / release / "kernel/x.ko", 3000);
        t.tree.filledFile(fs::path("/boot/vmlinuz-") += release, 2000);
        t.tree.filledFile(fs::path("/boot/initrd.img-") += release, 1000);
    }
    t.tree.filledFile("/boot/vmlinuz-0-rescue-abc", 5000);
    EXPECT_TRUE(t.scan(OldKernelsScanner()).empty()); // which one runs is unknown
    t.tree.file("/proc/sys/kernel/osrelease", "5.10.0-10-amd64\n");
    const auto found = t.scan(OldKernelsScanner());
    EXPECT_EQ(itemNames(found), (std::vector<std::string>{"6.1.0-1-amd64", "5.10.0-9-amd64"}));
    ASSERT_EQ(found.size(), 1u);
    const SizeMeter meter;
    EXPECT_EQ(found[0].items[1].size, meter.size(t.tree / "lib/modules/5.10.0-9-amd64") +
                                          meter.size(t.tree / "boot/vmlinuz-5.10.0-9-amd64") +
                                          meter.size(t.tree / "boot/initrd.img-5.10.0-9-amd64"));
}
