#include "Doubles/FakeDiskSpace.hpp"
#include "Doubles/FakePrivilegedExecutor.hpp"
#include "Doubles/FakeRunningApps.hpp"
#include "Doubles/FakeTrash.hpp"
#include "Findings/ByteFormat.hpp"
#include "Removal/DeleteRemover.hpp"
#include "Removal/RemovalRunner.hpp"
#include "Removal/RemovalTestSupport.hpp"
#include "Removal/TrashRemover.hpp"
#include "Support/StopToken.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <tuple>

using namespace velmora;
using namespace velmora::removaltest;

namespace {

// A runner on a Linux-shaped home with the real removers, fakes for running apps and keep list, and an
// admin group that records the items it was handed and reports every item removed.
struct RunnerFixture {
    RunnerFixture() {
        services.trash = std::make_shared<TrashRemover>(home.trash, home.guard);
        services.delete_ = std::make_shared<DeleteRemover>(home.guard);
        services.runningApps = apps;
        services.readKeepList = [this] { return KeepList::Contents{kept, false}; };
        services.admin = [this](const std::vector<FindingSelection>& selections, bool dryRun, StopToken) {
            auto& call = adminCalls.emplace_back();
            std::vector<ItemResult> results;
            for (const auto& s : selections)
                for (const auto& item : s.items) {
                    call.push_back(item.id);
                    results.push_back(ItemResult{s.finding.id, item.id,
                                                 dryRun ? ItemOutcome::skipped("Trockenlauf")
                                                        : ItemOutcome::removed(item.size)});
                }
            return results;
        };
    }

    fs::path cacheFile(const std::string& name) const { return home.tree.file(home.cache / name, name); }

    // `onProgress` runs after each progress line is taken down.
    RemovalReport run(const std::vector<FindingSelection>& selections, RemovalOptions options = {},
                      StopToken stop = {}, const std::function<void()>& onProgress = {}) {
        progress.clear();
        return RemovalRunner(services).run(
            RemovalPlan::build(selections, options),
            [&](const std::string& text) {
                progress.push_back(text);
                if (onProgress)
                    onProgress();
            },
            stop);
    }

    Home home{PlatformLayout::linux};
    std::shared_ptr<FakeRunningApps> apps = std::make_shared<FakeRunningApps>();
    KeepList::IDs kept;
    std::vector<std::vector<std::string>> adminCalls; // the item ids of each call
    std::vector<std::string> progress;
    RemovalRunner::Services services;
};

Finding adminFinding(std::string scannerID, std::vector<AdminStep> steps, std::vector<FindingItem> items) {
    return findingOf(std::move(scannerID), RemovalMethod::admin(std::move(steps)), std::move(items));
}

} // namespace

TEST(RemovalRunner, ARunningAppSkipsItsFindingWhileOtherFindingsGoOn) {
    RunnerFixture f;
    // macOS: by bundle id. Linux: by process name, the kernel's 15-byte cut included.
    const AppRef slack{"com.tinyspeck.slackmacgap", "Slack", "Slack"};
    const AppRef software{std::nullopt, "gnome-software-service", "Software"};
    const AppRef firefox{std::nullopt, "firefox", "Firefox"};
    auto slackCache = findingOf("appCaches.slack", RemovalMethod::trash(),
                                {itemAt(f.cacheFile("slack1")), itemAt(f.cacheFile("slack2"))});
    slackCache.blockingApps = {slack};
    auto softwareCache = findingOf("appCaches.software", RemovalMethod::deleteDirectly(),
                                   {itemAt(f.cacheFile("software")), itemAt(f.cacheFile("firefox"))});
    softwareCache.items[0].blockingApp = software;
    softwareCache.items[1].blockingApp = firefox;
    // Linux apps without regard to case: by process name, or by the desktop id a Flatpak runs under.
    auto linuxCaches = findingOf("appCaches.linux", RemovalMethod::deleteDirectly(),
                                 {itemAt(f.cacheFile("spotify")), itemAt(f.cacheFile("telegram"))});
    linuxCaches.items[0].blockingApp = AppRef{"com.spotify.client", "Spotify", "Spotify"};
    linuxCaches.items[1].blockingApp = AppRef{"org.telegram.desktop", "Telegram", "Telegram"};
    const auto sibling = findingOf("appCaches.other", RemovalMethod::trash(), {itemAt(f.cacheFile("other"))});
    auto daemon = adminFinding("services.slack", {}, {itemWithoutPath("daemon")});
    daemon.blockingApps = {slack};

    f.apps->setApps({RunningAppInfo{7, "com.tinyspeck.slackmacgap", "Slack"},
                     RunningAppInfo{10, "org.Telegram.Desktop", "bwrap"}});
    f.apps->setProcesses({RunningProcessInfo{8, "/usr/libexec/gnome-softw", "gnome-software-"},
                          RunningProcessInfo{9, "/usr/lib/firefox-esr/firefox-esr", "firefox-esr"},
                          RunningProcessInfo{11, "/usr/share/spotify/spotify", "spotify"}});

    const auto report =
        f.run({allOf(slackCache), allOf(softwareCache), allOf(linuxCaches), allOf(sibling), allOf(daemon)});

    // The reasons are pinned by the failures; what ran shows on disk.
    EXPECT_TRUE(f.adminCalls.empty());
    EXPECT_TRUE(present(f.home.cache / "slack1"));
    EXPECT_TRUE(present(f.home.cache / "software"));
    EXPECT_FALSE(present(f.home.cache / "firefox"));
    EXPECT_FALSE(present(f.home.cache / "other"));
    EXPECT_EQ(report.freedBytes, 1000);   // firefox, deleted
    EXPECT_EQ(report.trashedBytes, 1000); // other, in the Trash
    EXPECT_EQ(report.failures,
              (std::vector<std::string>{
                  "slack1: Slack läuft – vorher beenden", "slack2: Slack läuft – vorher beenden",
                  "software: Software läuft – vorher beenden", "spotify: Spotify läuft – vorher beenden",
                  "telegram: Telegram läuft – vorher beenden", "daemon: Slack läuft – vorher beenden"}));
}

// A dry run still asks the guard, so that it shows what a real run would refuse.
TEST(RemovalRunner, DryRunAsksTheGuardAndChangesNothingThenTheRunReportsInOrder) {
    RunnerFixture f;
    auto executor = std::make_shared<test::FakePrivilegedExecutor>(AdminRunResult::completed({0}));
    f.services.admin = RemovalRunner::adminRemoval(std::make_shared<AdminRemover>(
        executor, [](const fs::path&) { return std::optional<std::string>(); }, PlatformLayout::macOS,
        f.home.tree.root()));
    auto fakeTrash = std::make_shared<FakeTrash>();
    fakeTrash->failWith(TrashError::make(TrashError::Kind::otherVolume));
    f.services.trash = std::make_shared<TrashRemover>(fakeTrash, f.home.guard);
    const fs::path personal = f.home.tree.file(f.home.documents / "x", "x");
    const auto trash =
        findingOf("appCaches.a", RemovalMethod::trash(),
                  {itemWithoutPath("ohne Pfad"), itemAt(personal), itemAt(f.cacheFile("a"), 10)});
    const auto del = findingOf(
        "appCaches.b", RemovalMethod::deleteDirectly(),
        {itemAt(f.cacheFile("b"), 20), itemAt(f.cacheFile("c")), itemAt(f.cacheFile("d"), std::nullopt)});
    const auto admin =
        adminFinding("system.caches", {AdminStep{"/usr/bin/log", {"erase", "--all"}, {}, false}},
                     {itemWithoutPath("log", 30)});
    const auto before = snapshot(f.home.tree.root());
    // Files first (Trash, then direct deletion), administrator steps last.
    const std::vector<std::string> progress{"Entferne: ohne Pfad",
                                            "Entferne: x",
                                            "Entferne: a",
                                            "Entferne: b",
                                            "Entferne: c",
                                            "Entferne: d",
                                            "Admin-Schritte (eine Passwortabfrage)"};
    const std::string refused = "Gesperrt: Persönlicher Ordner – wird nie angefasst";

    auto report = f.run({allOf(admin), allOf(del), allOf(trash)}, {.dryRun = true});

    EXPECT_EQ(snapshot(f.home.tree.root()), before);
    EXPECT_TRUE(executor->scripts().empty());
    std::map<std::string, std::string> expected{{"ohne Pfad", "übersprungen: Kein Pfad"},
                                                {personal.string(), "fehlgeschlagen: " + refused},
                                                {"log", "übersprungen: Trockenlauf"}};
    for (const char* name : {"a", "b", "c", "d"})
        expected[(f.home.cache / name).string()] = "übersprungen: Trockenlauf";
    EXPECT_EQ(outcomesByItem(report.results), expected);
    EXPECT_EQ(report.freedBytes, 0);
    EXPECT_EQ(report.failures, (std::vector<std::string>{"ohne Pfad: Kein Pfad", "x: " + refused}));
    EXPECT_EQ(report.summary(), "2 Einträge konnten nicht entfernt werden.");
    EXPECT_EQ(f.progress, progress);

    report = f.run({allOf(admin), allOf(del), allOf(trash)});

    EXPECT_EQ(f.progress, progress);
    std::vector<std::string> order;
    for (const auto& r : report.results)
        order.push_back(fs::path(r.itemID).filename().string());
    EXPECT_EQ(order, (std::vector<std::string>{"ohne Pfad", "x", "a", "b", "c", "d", "log"}));
    // Unknown sizes count nothing; the failed Trash item counts nothing and is still there.
    EXPECT_EQ(report.freedBytes, 20 + 1000 + 30);
    EXPECT_TRUE(present(f.home.cache / "a"));
    EXPECT_EQ(report.failures.back(), std::string("a: ") + std::string(otherVolumeText));
    EXPECT_EQ(report.summary(), "3 Einträge konnten nicht entfernt werden.");
    EXPECT_EQ(RemovalReport::failureSummary(0), "0 Einträge konnten nicht entfernt werden.");
}

TEST(RemovalRunner, AfterAStopEveryItemNotYetStartedIsCancelled) {
    RunnerFixture f;
    const auto first = findingOf("appCaches.a", RemovalMethod::trash(),
                                 {itemAt(f.cacheFile("a")), itemAt(f.cacheFile("b"))});
    const auto second = findingOf("appCaches.c", RemovalMethod::deleteDirectly(), {itemAt(f.cacheFile("c"))});
    const auto admin = adminFinding("system.caches", {}, {itemWithoutPath("log")});
    StopSource stop; // requested while the first item is about to go
    const auto report = f.run({allOf(first), allOf(second), allOf(admin)}, {}, stop.get_token(),
                              [&] { stop.request_stop(); });

    EXPECT_EQ(f.progress, std::vector<std::string>{"Entferne: a"});
    const auto outcomes = outcomesByItem(report.results);
    // The item in hand when the stop came is handed to the remover, which does not start it either.
    for (const auto& item : {(f.home.cache / "a").string(), (f.home.cache / "b").string(),
                             (f.home.cache / "c").string(), std::string("log")})
        EXPECT_EQ(outcomes.at(item), "abgebrochen") << item;
    EXPECT_TRUE(f.adminCalls.empty());
    for (const auto* name : {"a", "b", "c"})
        EXPECT_TRUE(present(f.home.cache / name)) << name;
    EXPECT_EQ(report.failures.size(), 4u);
    EXPECT_EQ(report.failures[0], "a: Abgebrochen");

    // A stop that comes while the admin items are checked (here: asking which apps run) still keeps
    // the password prompt away.
    struct StopWhenAsked final : RunningAppsSource {
        StopSource* source;
        std::vector<RunningAppInfo> runningApplications() const override {
            source->request_stop();
            return {};
        }
        std::vector<RunningProcessInfo> runningProcesses() const override { return {}; }
        bool terminateApplications(std::string_view) override { return false; }
    };
    StopSource late;
    auto asking = std::make_shared<StopWhenAsked>();
    asking->source = &late;
    f.services.runningApps = asking;
    auto blocked = admin;
    blocked.blockingApps = {AppRef{"com.example.app", "app", "App"}};
    const auto lateReport = f.run({allOf(blocked)}, {}, late.get_token());
    EXPECT_EQ(outcomesByItem(lateReport.results).at("log"), "abgebrochen");
    EXPECT_TRUE(f.adminCalls.empty());
}

TEST(RemovalRunner, AdminItemsThatChangedOrAreKeptStayTogetherWithTheItemsTheirStepsServe) {
    RunnerFixture f;
    const auto [p1, p2, p3, p4] =
        std::array{f.cacheFile("d1.plist"), f.cacheFile("d2.plist"), f.cacheFile("w1"), f.cacheFile("w2")};
    const auto rm = [](const fs::path& p, std::optional<std::string> id) {
        return AdminStep{"/bin/rm", {"-f", p.string()}, std::move(id), false};
    };
    // One step per item: only the changed item stays.
    const auto perItem = adminFinding("services.daemons", {rm(p1, p1.string()), rm(p2, p2.string())},
                                      {itemAt(p1), itemAt(p2)});
    // Three steps for two items serve the finding as a whole: one changed item keeps both.
    const auto whole =
        adminFinding("system.whole", {rm(p3, {}), rm(p4, {}), rm(p3, {})}, {itemAt(p3), itemAt(p4)});
    const auto keptOne = adminFinding("system.kept", {}, {itemWithoutPath("snapshot")});
    f.kept.insert(keptOne.id);
    const auto plan = RemovalPlan::build({allOf(perItem), allOf(whole), allOf(keptOne)}, {});

    fs::remove(p1);
    f.home.tree.file(p1, "planted");
    fs::remove(p4);
    const auto report = RemovalRunner(f.services).run(plan);

    ASSERT_EQ(f.adminCalls.size(), 1u);
    EXPECT_EQ(f.adminCalls[0], std::vector<std::string>{p2.string()});
    const auto outcomes = outcomesByItem(report.results);
    EXPECT_EQ(outcomes.at(p1.string()), "übersprungen: Hat sich seit dem Scan verändert – nicht angefasst");
    EXPECT_EQ(outcomes.at(p2.string()), "entfernt");
    EXPECT_EQ(outcomes.at(p3.string()), "übersprungen: Existiert nicht mehr");
    EXPECT_EQ(outcomes.at(p4.string()), "übersprungen: Existiert nicht mehr");
    EXPECT_EQ(outcomes.at("snapshot"), "übersprungen: Steht auf der Behalten-Liste – nicht angefasst");
}

class RemovalAccounting : public ::testing::TestWithParam<PlatformLayout> {};
INSTANTIATE_TEST_SUITE_P(Layouts, RemovalAccounting,
                         ::testing::Values(PlatformLayout::macOS, PlatformLayout::linux), layoutName);

// A mixed run: one item to the Trash, one deleted, one refused by the guard, one without a path.
TEST_P(RemovalAccounting, TrashCountsApartEveryItemIsAccountedForAndTheRunIsRecorded) {
    const Home h(GetParam());
    const auto journal = std::make_shared<RemovalJournal>(h.tree / "data/removals.json");
    const auto now = std::chrono::system_clock::time_point(std::chrono::seconds(1'800'000'000));
    RemovalRunner::Services services;
    services.trash = std::make_shared<TrashRemover>(h.trash, h.guard);
    services.delete_ = std::make_shared<DeleteRemover>(h.guard);
    const auto disk = std::make_shared<FakeDiskSpace>(DiskSpace{5'000'000'000, 9'000'000'000});
    const RemovalRunner runner(services, {disk, h.home, journal, [now] { return now; }});
    const auto cached = h.tree.file(h.cache / "old.bin", "old");
    h.tree.file(h.cache / "build/x.o", "x");
    const auto identity = FileIdentity::of(cached);
    const auto plan = [&](bool dryRun) {
        return RemovalPlan::build(
            {allOf(findingOf("appCaches.a", RemovalMethod::trash(),
                             {itemAt(cached, 300), itemAt(h.tree.file(h.documents / "mine.txt", "m"), 50)})),
             allOf(findingOf("appCaches.b", RemovalMethod::deleteDirectly(),
                             {itemAt(h.cache / "build", 4000), itemWithoutPath("ohne Pfad", 7)}))},
            {.dryRun = dryRun});
    };

    auto report = runner.run(plan(true));
    EXPECT_EQ(report.reconciliation().front(), "4 ausgewählt: 0 entfernt, 3 übersprungen, 1 fehlgeschlagen");
    EXPECT_TRUE(journal->runs().empty());

    report = runner.run(plan(false));
    EXPECT_TRUE(report.freedBytes == 4000 && report.trashedBytes == 300) << report.freedBytes;
    const auto lines = report.reconciliation();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "4 ausgewählt: 2 entfernt, 1 übersprungen, 1 fehlgeschlagen");
    EXPECT_TRUE(lines[1].starts_with("mine.txt: Gesperrt: ")) << lines[1];
    EXPECT_EQ(lines[2], "ohne Pfad: Kein Pfad");
    EXPECT_EQ(report.trashedText(), "Im Papierkorb: " + ByteFormat::fileSize(300) +
                                        " – frei wird der Platz erst, wenn du den Papierkorb leerst "
                                        "(velmora trash --empty).");
    EXPECT_EQ(report.freeBefore, 5'000'000'000);

    // Where the Trash item went, as the object it was.
    const auto& removed = std::get<ItemOutcome::Removed>(report.results[0].outcome.value);
    ASSERT_TRUE(removed.trash && identity);
    EXPECT_EQ(removed.trash->entry, h.trashFiles() / "old.bin");
    EXPECT_EQ(removed.trash->identity, *identity);
    const bool onLinux = GetParam() == PlatformLayout::linux;
    EXPECT_EQ(removed.trash->info,
              onLinux ? std::optional(h.trashFolder / "info/old.bin.trashinfo") : std::nullopt);
    EXPECT_TRUE(!onLinux || present(*removed.trash->info));

    const auto runs = journal->runs();
    ASSERT_TRUE(runs.size() == 1 && report.runID);
    EXPECT_EQ(runs[0], report.journalRun(*report.runID, now));
    EXPECT_EQ(runs[0].counts, (JournalCounts{4, 2, 1, 1, 0}));

    // A journal that cannot be written is a warning; the removal happens all the same.
    h.tree.file("blocked", "a file where the folder should be");
    const RemovalRunner blocked(services,
                                {nullptr, {}, std::make_shared<RemovalJournal>(h.tree / "blocked/x"), {}});
    const auto again = h.tree.file(h.cache / "again", "again");
    report = blocked.run(
        RemovalPlan::build({allOf(findingOf("appCaches.c", RemovalMethod::trash(), {itemAt(again)}))}, {}));
    EXPECT_FALSE(present(again) || report.runID);
    EXPECT_EQ(report.journalWarning, "Konnte das Protokoll der Entfernungen nicht speichern.");
}

TEST(RemovalReport, FreeSpaceNoteOnlyWhenMeasuredAndFreedDifferALot) {
    constexpr std::int64_t GB = 1'000'000'000;
    // Freed, free after (10 GB before), dry run, a word the sentence holds (null: no sentence).
    for (const auto& [freed, after, dryRun, word] :
         std::vector<std::tuple<std::int64_t, std::int64_t, bool, const char*>>{
             {5 * GB, 10 * GB, false, "gewachsen"},     // a snapshot keeps the blocks
             {0, 8 * GB, false, "geschrumpft"},         // another program wrote 2 GB
             {0, 10 * GB - 50'000'000, false, nullptr}, // ordinary writing: less than 100 MB
             {10 * GB, 19 * GB, false, nullptr},        // 1 GB off on 10 GB: within a fifth
             {5 * GB, 10 * GB, true, nullptr},          // a dry run measures nothing
         }) {
        RemovalReport report;
        std::tie(report.freedBytes, report.freeBefore, report.freeAfter, report.dryRun) =
            std::tuple(freed, 10 * GB, after, dryRun);
        const auto note = report.freeSpaceNote();
        EXPECT_EQ(note.has_value(), word != nullptr) << freed << " " << after;
        EXPECT_THAT(note.value_or(""), ::testing::HasSubstr(word ? word : "")) << freed << " " << after;
    }
}
