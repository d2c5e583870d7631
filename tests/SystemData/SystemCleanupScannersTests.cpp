#include "SystemData/Scanners/SystemCleanupScanners.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "Removal/AdminStepCheck.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/ScanContext.hpp"
#include "SystemData/Scanners/OldTempFilesScanner.hpp"

#include <gtest/gtest.h>

#include <map>

#include <sys/stat.h>
#include <unistd.h>

using namespace velmora;
using velmora::testing::occupiedBytes;
using velmora::testing::TempTree;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::system_clock;

// The scans run a month from now: what is made now is a month old then (its status-change time cannot
// be set back), and a file dated into that future is recent.
const Clock::time_point realNow = Clock::now();
const Clock::time_point scanTime = realNow + std::chrono::hours{24 * 30};
const Clock::time_point old = realNow - std::chrono::hours{24 * 10};
const Clock::time_point recent = scanTime - std::chrono::hours{24};

fs::path dated(const fs::path& path, Clock::time_point when) {
    const auto secs = std::chrono::duration_cast<std::chrono::seconds>(when.time_since_epoch()).count();
    const struct timespec times[2] = {{secs, 0}, {secs, 0}};
    EXPECT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
    return path;
}

using enum RemovalKind;
using enum Risk;

struct Expected {
    std::string id;
    RemovalKind kind;
    Risk risk;
    std::vector<std::string> names;
};

struct ShapedTree {
    TempTree tree;
    ScanContext context;
    std::shared_ptr<test::ScriptedCommandRunner> runner = std::make_shared<test::ScriptedCommandRunner>();

    ShapedTree(PlatformLayout layout, const std::string& home) {
        SafetyGuard::Setup setup;
        setup.layout = layout;
        setup.rootPrefix = tree.root();
        setup.home = home;
        if (layout == PlatformLayout::macOS) {
            setup.temp = "/private/var/folders/xy/abc/T";
            context.userTempDir = tree.folder(setup.temp);
        }
        context.home = tree.folder(home);
        context.safety = std::make_shared<const SafetyGuard>(setup);
        context.rootPrefix = tree.root();
        context.layout = layout;
        context.sizer = std::make_shared<SizeMeter>();
        context.runner = runner; // no command is scripted: none may run
        context.now = scanTime;
    }

    std::map<std::string, Finding> scan() const {
        std::map<std::string, Finding> found;
        for (const auto& scanner : SystemCleanupScanners::forLayout(context.layout)) {
            auto findings = scanner->scan(context, {});
            EXPECT_TRUE(findings.has_value()) << scanner->id();
            for (auto& finding : findings.value_or(std::vector<Finding>{}))
                found.emplace(finding.id.scannerID, std::move(finding));
        }
        EXPECT_TRUE(runner->calls().empty());
        return found;
    }

    // Each finding as expected, its size the sum of its items, and every admin step one that removal
    // will accept: what a scanner offers, the allow-list must take.
    void expect(const std::map<std::string, Finding>& found, const std::vector<Expected>& table) const {
        EXPECT_EQ(found.size(), table.size());
        const auto guard = context.safety;
        const AdminStepCheck check([guard](const fs::path& p) { return guard->check(p); }, context.layout,
                                   context.rootPrefix);
        for (const auto& row : table) {
            const auto it = found.find(row.id);
            ASSERT_NE(it, found.end()) << row.id;
            const Finding& finding = it->second;
            EXPECT_EQ(finding.category, Category::systemData) << row.id;
            EXPECT_EQ(finding.method.kind(), row.kind) << row.id;
            EXPECT_EQ(finding.risk, row.risk) << row.id;
            std::vector<std::string> names;
            std::int64_t total = 0;
            for (const auto& item : finding.items) {
                names.push_back(item.name);
                total += item.size.value_or(0);
            }
            EXPECT_EQ(names, row.names) << row.id;
            EXPECT_EQ(finding.size.value_or(total), total) << row.id;
            const auto* admin = std::get_if<RemovalMethod::Admin>(&finding.method.value);
            for (const auto& step : admin ? admin->steps : std::vector<AdminStep>{}) {
                EXPECT_EQ(check.check(step), std::nullopt) << row.id << " " << step.arguments.back();
            }
        }
    }
};

} // namespace

TEST(SystemCleanupScanners, MacShapedTreeOffersOldUnusedThingsAndWhatTheGuardProtectsOnlyAsAHint) {
    ShapedTree mac(PlatformLayout::macOS, "/Users/anna");
    const auto& t = mac.tree;
    const fs::path temp = "private/var/folders/xy/abc/T";
    dated(t.file(temp / "old.txt"), old);
    dated(t.file(temp / "oldDir/a"), old);
    dated(t.file(temp / "oldDir/sub/b"), old);
    dated(t.file(temp / "mixedDir/a"), old);
    dated(t.file(temp / "mixedDir/b"), recent); // one recent file keeps the whole folder
    dated(t.file(temp / "fresh.txt"), recent);
    dated(t.file(temp / "Cellar/x"), old); // the guard leaves this to Homebrew
    dated(t.file(temp / "agent/state"), old);
    ASSERT_EQ(::mkfifo((t / temp / "agent/pipe").c_str(), 0600), 0); // a program may still use it
    t.file("Library/Caches/com.example.app/data");
    t.file("Library/Caches/Caskroom/x");
    t.folder("Library/Caches/empty");
    dated(t.file("Library/Logs/old.log"), old);
    dated(t.file("Library/Logs/Sub/old2.log"), old);
    dated(t.file("Library/Logs/new.log"), recent);
    t.file("private/var/db/diagnostics/Persist/0001.tracev3");
    t.file("Library/Updates/041-12345/update.pkg");

    mac.expect(mac.scan(), {
                               {"systemdata.oldTempFiles", trash, safe, {"old.txt", "oldDir"}},
                               {"systemdata.clearLibraryCaches", admin, review, {"com.example.app"}},
                               {"systemdata.oldSystemLogs", admin, safe, {"Sub/old2.log", "old.log"}},
                               {"systemdata.eraseUnifiedLog", admin, review, {"diagnostics und uuidtext"}},
                               {"systemdata.updateLeftovers", hint, hintOnly, {"041-12345"}},
                           });

    // Unpacked a day ago with old modification dates: the status-change time tells it is new.
    mac.context.now = realNow + std::chrono::hours{24};
    EXPECT_EQ(OldTempFilesScanner(::getuid()).scan(mac.context, {}), std::vector<Finding>{});
    // Without a guard nothing is removable.
    mac.context.now = scanTime;
    mac.context.safety = nullptr;
    const auto unguarded = mac.scan();
    for (const auto* id : {"systemdata.oldTempFiles", "systemdata.clearLibraryCaches"})
        EXPECT_EQ(unguarded.at(id).method.kind(), RemovalKind::hint) << id;
}

TEST(SystemCleanupScanners, LinuxShapedTreeUsesTheToolsThatExistAndLeavesTheSharedTmpToTheUser) {
    ShapedTree debian(PlatformLayout::linux, "/home/anna");
    const auto& t = debian.tree;
    for (const auto* tool : {"usr/bin/apt-get", "usr/bin/journalctl", "usr/bin/flatpak"})
        fs::permissions(t.file(tool, "#!/bin/sh\n"), fs::perms::owner_all);
    dated(t.file("tmp/old.txt"), old);
    dated(t.file("tmp/fresh.txt"), recent);
    const auto a = t.filledFile("var/cache/apt/archives/a_1.0_amd64.deb", 10000);
    const auto b = t.filledFile("var/cache/apt/archives/b_2.0_all.deb", 5000);
    t.file("var/cache/apt/archives/lock");
    t.file("var/cache/apt/archives/partial/c_1.0_amd64.deb");
    const auto archived = dated(t.filledFile("var/log/journal/m1/system@0001-0002.journal", 9000), old);
    dated(t.file("var/log/journal/m1/system.journal"), old); // the active file is never vacuumed
    dated(t.file("var/log/journal/m1/user-1000@0003-0004.journal~"), recent);
    dated(t.file("var/lib/systemd/coredump/core.bash.1000.b00t.42.1700000000000000.zst"), old);
    dated(t.file("var/lib/systemd/coredump/core.fresh.zst"), recent);
    dated(t.file("var/lib/systemd/coredump/other.zst"), old);
    t.folder("var/lib/flatpak/runtime/org.example.Platform");

    auto found = debian.scan();
    debian.expect(
        found,
        {
            {"systemdata.oldTempFiles", hint, hintOnly, {"old.txt"}},
            {"systemdata.aptCache", admin, safe, {"2 heruntergeladene Pakete"}},
            {"systemdata.journalVacuum", admin, safe, {"1 archivierte Journal-Datei"}},
            {"systemdata.oldCrashDumps", admin, safe, {"core.bash.1000.b00t.42.1700000000000000.zst"}},
            {"systemdata.unusedFlatpakRuntimes", admin, review, {"Laufzeiten der systemweiten Installation"}},
        });
    EXPECT_EQ(found.at("systemdata.aptCache").size, occupiedBytes(a) + occupiedBytes(b));
    EXPECT_EQ(found.at("systemdata.journalVacuum").size, occupiedBytes(archived));
    EXPECT_EQ(found.at("systemdata.unusedFlatpakRuntimes").size, std::nullopt);
    // Entries of other users in the shared /tmp are not the user's to clear.
    EXPECT_EQ(OldTempFilesScanner(::getuid() + 1).scan(debian.context, {}), std::vector<Finding>{});

    // Without the tools there is nothing to offer for them.
    fs::remove_all(t / "usr/bin");
    found = debian.scan();
    EXPECT_EQ(found.size(), 2U);
    EXPECT_TRUE(found.contains("systemdata.oldTempFiles") && found.contains("systemdata.oldCrashDumps"));
}
