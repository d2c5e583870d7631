#include "Check/BackgroundCheck.hpp"
#include "Check/CheckScheduler.hpp"
#include "Check/LastCheckSummary.hpp"
#include "Doubles/FakeAgentService.hpp"
#include "Doubles/FakeDiskSpace.hpp"
#include "Doubles/FakeNotifier.hpp"
#include "Doubles/FakeScanner.hpp"
#include "Doubles/TempTree.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::testing;
using velmora::testing::TempTree;

namespace {

constexpr std::int64_t GB = 1'000'000'000;
const std::string weekly = "de.tobrenlux.velmora2.check.weekly.plist";
const std::string monthly = "de.tobrenlux.velmora2.check.monthly.plist";

// A check over one scanner whose size the test changes between runs, on a roomy disk.
struct CheckBench {
    TempTree tree;
    std::int64_t cacheSize = GB / 2;
    std::chrono::system_clock::time_point now = std::chrono::sys_days{std::chrono::year{2026} / 11 / 1};
    std::shared_ptr<FakeNotifier> notifier;
    CheckDependencies dependencies;

    explicit CheckBench(NotificationAuthorization authorization)
        : notifier(std::make_shared<FakeNotifier>(authorization)) {
        auto scanner = std::make_shared<FakeScanner>(
            "languages.npm", ScannerPhase::specific, [this](const ScanContext&, StopToken) {
                return std::vector<Finding>{makeFinding("languages.npm", {"/npm"}, cacheSize)};
            });
        // A kept finding and a hint never count, however big.
        auto archives =
            FakeScanner::returning("xcode.archives", {makeFinding("xcode.archives", {"/a"}, 50 * GB)});
        auto hint = FakeScanner::returning(
            "toolchains.docker", {makeFinding("toolchains.docker", {"/v"}, 80 * GB, Risk::hintOnly)});
        dependencies.engine = std::make_shared<const ScanEngine>(
            std::vector<std::shared_ptr<Scanner>>{scanner, archives, hint}, std::chrono::seconds{5});
        dependencies.keepList = std::make_shared<KeepList>(tree / "Velmora2/keep.json");
        (void)dependencies.keepList->add(FindingID{"xcode.archives", ""});
        dependencies.orphanedServices = [] {
            return std::optional<std::vector<std::string>>{{"com.z", "com.a"}};
        };
        dependencies.history = std::make_shared<CheckHistory>(tree / "Velmora2/history.json");
        dependencies.diskSpace = std::make_shared<FakeDiskSpace>(DiskSpace{400 * GB, 1000 * GB});
        dependencies.makeContext = [this] {
            ScanContext context;
            context.home = tree.root();
            context.now = now;
            return context;
        };
        dependencies.notifier = notifier;
    }
};

} // namespace

// The texts the command line prints are checked with its output; these only the window shows.
TEST(CheckScheduleTexts, OnlyTheExactStoredValueCountsAndTheWindowTextsAreTheUsersOnes) {
    for (auto schedule : allCheckSchedules)
        EXPECT_EQ(checkScheduleFromSetting(std::string(rawValue(schedule))), schedule);
    EXPECT_EQ(checkScheduleFromSetting(std::nullopt), CheckSchedule::off);
    EXPECT_EQ(checkScheduleFromSetting("Weekly"), CheckSchedule::off);
    EXPECT_EQ(scheduleForAgent("de.tobrenlux.velmora2.check.daily.plist"), std::nullopt);

    EXPECT_EQ(statusText(AgentStatus::requiresApproval),
              "Bitte in den Systemeinstellungen unter Anmeldeobjekte erlauben.");
    EXPECT_EQ(actionTitle(AgentStatus::requiresApproval), "In den Systemeinstellungen erlauben");
    EXPECT_EQ(statusText(AgentStatus::notFound),
              "Der Hintergrund-Check ist erst in der signierten App verfügbar.");
    EXPECT_EQ(statusText(NotificationAuthorization::notDetermined),
              "Mitteilungen sind noch nicht erlaubt – sie werden beim Einschalten des Checks erfragt.");
    EXPECT_EQ(actionTitle(NotificationAuthorization::denied), "Mitteilungs-Einstellungen öffnen");
    EXPECT_EQ(statusText(NotificationAuthorization::authorized), std::nullopt);
}

TEST(CheckScheduler, LeavesAtMostTheAgentOfTheChosenScheduleRegistered) {
    auto service = std::make_shared<FakeAgentService>();
    CheckScheduler scheduler(service);
    ASSERT_TRUE(scheduler.apply(CheckSchedule::weekly));
    ASSERT_TRUE(scheduler.apply(CheckSchedule::monthly));
    EXPECT_EQ(service->registered, std::set<std::string>{monthly});
    EXPECT_EQ(std::pair(scheduler.status(CheckSchedule::monthly), scheduler.status(CheckSchedule::weekly)),
              std::pair(AgentStatus::enabled, AgentStatus::notRegistered));

    service->calls.clear();
    ASSERT_TRUE(scheduler.apply(CheckSchedule::off));
    EXPECT_EQ(scheduler.status(CheckSchedule::off), AgentStatus::notRegistered); // known without asking
    EXPECT_EQ(service->calls, (std::vector<std::string>{"unregister " + weekly, "unregister " + monthly}));

    // A refused registration still takes the other schedule's agent away and reports the failure.
    service->registered = {weekly};
    service->refuseRegistering = true;
    const auto applied = scheduler.apply(CheckSchedule::monthly);
    ASSERT_FALSE(applied);
    EXPECT_EQ(applied.error().kind, AgentServiceError::Kind::command);
    EXPECT_TRUE(service->registered.empty());
}

TEST(BackgroundCheck, PostsOnlyWhenAStoredSnapshotCallsForItAndNeverTouchesTheFindings) {
    CheckBench bench(NotificationAuthorization::authorized);
    bench.tree.file("npm/_cacache/index", "cache");
    const auto before = snapshot(bench.tree / "npm");
    // Written under a clock a year ahead: never the previous check.
    CheckSnapshot future;
    future.date = bench.now + std::chrono::days{365};
    future.sizes = {{"languages.npm", 9 * GB}};
    ASSERT_TRUE(bench.dependencies.history->append(future));
    auto outcome = BackgroundCheck::run(bench.dependencies);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->snapshot.sizes, (std::map<std::string, std::int64_t>{{"languages.npm", GB / 2}}));
    EXPECT_EQ(outcome->snapshot.orphanedServiceLabels, (std::vector<std::string>{"com.a", "com.z"}));
    EXPECT_TRUE(outcome->notificationsAllowed);
    EXPECT_EQ(outcome->notification, std::nullopt); // half a GB on a roomy disk is not worth a word
    EXPECT_TRUE(bench.notifier->posted.empty());

    bench.cacheSize = 7 * GB;
    bench.now += std::chrono::days{7};
    outcome = BackgroundCheck::run(bench.dependencies);
    ASSERT_TRUE(outcome && outcome->posted);
    EXPECT_EQ(outcome->snapshot.alerts.at(0),
              (CheckAlert{CheckAlert::Growth{"languages.npm", "languages.npm", GB / 2, 7 * GB}}));
    EXPECT_EQ(bench.notifier->posted, std::vector<CheckNotification>{*outcome->notification});
    EXPECT_EQ(snapshot(bench.tree / "npm"), before);

    // A notifier that fails does not cost the snapshot.
    bench.notifier->failPosting = true;
    bench.now += std::chrono::days{7};
    outcome = BackgroundCheck::run(bench.dependencies);
    ASSERT_TRUE(outcome);
    EXPECT_FALSE(outcome->posted);
    EXPECT_EQ(bench.dependencies.history->all().size(), 4u);

    // Denied notifications: the text is still made, but nothing posted.
    const auto denied = std::make_shared<FakeNotifier>(NotificationAuthorization::denied);
    bench.dependencies.notifier = denied;
    bench.now += std::chrono::days{7};
    outcome = BackgroundCheck::run(bench.dependencies);
    ASSERT_TRUE(outcome);
    EXPECT_FALSE(outcome->notificationsAllowed || outcome->posted);
    EXPECT_EQ(outcome->notification->body, "7 GB aufräumbar");
    EXPECT_TRUE(denied->posted.empty());
}

TEST(LastCheckSummary, SaysHowLongAgoAndWhatTheCheckFound) {
    using namespace std::chrono;
    const sys_seconds now = sys_days{year{2026} / 11 / 22} + hours{12};
    CheckSnapshot snapshot;
    snapshot.cleanableTotal = 420 * 1'000'000;
    snapshot.date = now - days{3};
    EXPECT_EQ(lastCheckSummary(snapshot, now), "Letzter Check vor 3 Tagen: 420 MB aufräumbar");
    snapshot.date = now - hours{25};
    snapshot.alerts = {CheckAlert{CheckAlert::LowSpace{12 * GB, 500 * GB}},
                       CheckAlert{CheckAlert::Cleanable{4 * GB}}};
    EXPECT_EQ(lastCheckSummary(snapshot, now), "Letzter Check gestern: Nur noch 12 GB frei");
    // A clock that went back, or a check this very second, reads as one second ago.
    snapshot.date = now + minutes{5};
    EXPECT_EQ(lastCheckSummary(snapshot, now), "Letzter Check vor 1 Sekunde: Nur noch 12 GB frei");
    snapshot.date = now - days{16};
    EXPECT_EQ(lastCheckSummary(snapshot, now).substr(0, 30), "Letzter Check vor 2 Wochen: Nu");
}
