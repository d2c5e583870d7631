#include "App/AppModel.hpp"
#include "App/ForcedDryRun.hpp"
#include "Doubles/FakeAgentService.hpp"
#include "Doubles/FakeDiskSpace.hpp"
#include "Doubles/FakeNotifier.hpp"
#include "Doubles/FakeScanner.hpp"
#include "Doubles/ManualExecutor.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/JsonSettingsStore.hpp"
#include "Removal/Remover.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <tuple>

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::FakeScanner;
using testing::makeFinding;

// Opened once by the test; a waiting worker also gives up when its operation is told to stop.
struct Switch {
    std::atomic<bool> on{false};
    bool wait(StopToken stop = {}) const {
        for (int ms = 0; !on && !stop.stop_requested() && ms < 10'000; ++ms)
            std::this_thread::sleep_for(1ms);
        return on;
    }
};

struct RecordingRemover final : Remover {
    std::vector<ItemResult> remove(const std::vector<RemovalStep>& steps, bool, StopToken) override {
        std::vector<ItemResult> results;
        for (const auto& step : steps)
            for (const auto& planned : step.items)
                results.push_back({step.finding->id, planned.item.id, ItemOutcome::removed(1)});
        return results;
    }
};

struct AppModelTest : ::testing::Test {
    testing::TempTree tree;
    std::shared_ptr<testing::ManualExecutor> executor = std::make_shared<testing::ManualExecutor>();
    std::shared_ptr<RecordingRemover> remover = std::make_shared<RecordingRemover>();
    std::shared_ptr<testing::FakeAgentService> agents = std::make_shared<testing::FakeAgentService>();
    std::vector<std::shared_ptr<Scanner>> scanners;
    std::atomic<std::int64_t> trash{500};
    std::atomic<int> emptyCalls{0};
    std::expected<std::int64_t, EmptyTrashError> emptyResult = 300;
    Switch chunksGo{};
    Switch chunksReached{};
    bool forced = false;
    std::atomic<int> contexts{0};
    std::filesystem::path keepFile = tree.root() / "keep.json";
    AppDependencies deps;

    std::unique_ptr<AppModel> make() {
        deps.engine = std::make_shared<ScanEngine>(scanners, 10s);
        deps.keepList = std::make_shared<KeepList>(keepFile);
        deps.runner =
            std::make_shared<RemovalRunner>(RemovalRunner::Services{remover, remover, remover, {}, {}, {}});
        deps.diskSpace = std::make_shared<FakeDiskSpace>(DiskSpace{100, 1000});
        deps.makeContext = [this] {
            ScanContext context;
            context.home = tree.root();
            context.now = std::chrono::system_clock::time_point(std::chrono::seconds(++contexts)); // numbered
            return context;
        };
        deps.bigChunks = [this](const ScanReport&) {
            chunksReached.on = true;
            chunksGo.wait();
            return std::vector<BigChunk>{};
        };
        deps.trash = [this] { return std::optional<std::int64_t>(trash.load()); };
        deps.emptyTrash = [this](bool, StopToken) {
            ++emptyCalls;
            return emptyResult;
        };
        deps.dryRun = [this] { return forced; };
        deps.history = std::make_shared<CheckHistory>(tree.root() / "history.json");
        deps.agentService = agents;
        deps.notifier = std::make_shared<testing::FakeNotifier>(NotificationAuthorization::authorized);
        auto model =
            std::make_unique<AppModel>(deps, std::make_shared<JsonSettingsStore>(tree.root() / "s.json"),
                                       executor, AppModel::Options{tree.root(), {}});
        EXPECT_TRUE(executor->runUntil(
            [&] { return model->notificationStatus() == NotificationAuthorization::authorized; }));
        return model;
    }
    void scanned(AppModel& model) {
        chunksGo.on = true;
        model.scan();
        ASSERT_TRUE(executor->runUntil([&] { return !model.isScanning(); }));
    }
};

TEST(ForcedDryRun, OnlyTheArgumentOrExactlyOneInTheEnvironmentForceIt) {
    const std::vector<std::pair<std::optional<std::string_view>, bool>> environment = {
        {"1", true}, {"0", false}, {"yes", false}, {"true", false}, {"", false}, {" 1", false}, {{}, false}};
    for (const auto& [value, expected] : environment)
        EXPECT_EQ(isDryRunForced({"velmora"}, value), expected) << value.value_or("(unset)");
    EXPECT_TRUE(isDryRunForced({"--check", "--dry-run", "x"}, std::nullopt));
    EXPECT_FALSE(isDryRunForced({"--dry-run=1", "-dry-run"}, "0"));
}

TEST_F(AppModelTest, ProgressOfAnEarlierScanIsDroppedAndNeverMovesBackwards) {
    Switch slowGo;
    scanners = {
        FakeScanner::returning("xcode.a", {}),
        std::make_shared<FakeScanner>("xcode.b", ScannerPhase::collector, [&](const ScanContext&, StopToken) {
            slowGo.wait();
            return std::expected<std::vector<Finding>, ScanError>(std::vector<Finding>{});
        })};
    auto model = make();
    model->scan();
    model->scan(); // a second click while it runs starts nothing
    EXPECT_EQ(model->scanGeneration(), 1u);
    slowGo.on = true;
    ASSERT_TRUE(chunksReached.wait()); // without running what the scan posted
    auto late = executor->take();      // the first scan's progress, held back
    chunksGo.on = true;
    ASSERT_TRUE(executor->runUntil([&] { return !model->isScanning(); }));

    chunksReached.on = false;
    chunksGo.on = false;
    model->scan();
    ASSERT_TRUE(chunksReached.wait()); // without running what the scan posted
    auto mine = executor->take();
    for (auto& work : late) // arrives while the second scan runs
        work();
    EXPECT_EQ(model->scanProgress(), 0);
    std::ranges::reverse(mine); // the second scan's own values, the larger one first
    for (auto& work : mine)
        work();
    EXPECT_EQ(model->scanProgress(), 1.0);
    chunksGo.on = true;
    EXPECT_TRUE(executor->runUntil([&] { return !model->isScanning(); }));
}

TEST_F(AppModelTest, NothingElseStartsWhileAScanRunsAndDestroyingTheModelStopsTheScan) {
    // Shared: the engine need not wait for a scanner it told to stop.
    const auto entered = std::make_shared<Switch>(), stopped = std::make_shared<Switch>();
    scanners = {std::make_shared<FakeScanner>(
        "xcode.a", ScannerPhase::specific, [entered, stopped](const ScanContext&, StopToken stop) {
            entered->on = true;
            Switch{}.wait(stop);
            if (stop.stop_requested())
                stopped->on = true;
            return std::expected<std::vector<Finding>, ScanError>(std::vector<Finding>{});
        })};
    auto model = make();
    chunksGo.on = true;
    model->scan();
    entered->wait();
    model->emptyTrash();
    model->remove(RemovalPlan{});
    model->runCheck();
    EXPECT_TRUE(!model->isRemoving() && !model->isChecking() && emptyCalls == 0);
    model.reset();
    EXPECT_TRUE(stopped->wait());
    executor->runAll(); // must not touch the dead model (ASan)
}

TEST_F(AppModelTest, ScanPreselectsSafeFindingsThatAreNeitherKeptNorHintsAndPrunesGoneOnes) {
    auto hint = makeFinding("xcode.hint", {"/h"});
    hint.method = RemovalMethod::hint(HintAction{HintAction::RevealInFinder{"/h"}});
    auto findings = std::make_shared<std::vector<Finding>>(std::vector{
        makeFinding("xcode.safe", {"/a", "/b"}), makeFinding("xcode.review", {"/c"}, 1, Risk::review),
        makeFinding("xcode.kept", {"/d"}), hint});
    scanners = {std::make_shared<FakeScanner>(
        "xcode", ScannerPhase::specific, [findings](const ScanContext&, StopToken) { return *findings; })};
    auto model = make();
    model->keep({"xcode.kept", ""});
    scanned(*model);
    EXPECT_EQ(model->selection(), (std::set<SelectionEntry>{{{"xcode.safe", ""}, ""}}));

    model->deselectItem({"xcode.safe", ""}, "/a");
    model->selectItem({"xcode.review", ""}, "/c");
    model->select({"xcode.kept", ""});
    EXPECT_EQ(model->selection(),
              (std::set<SelectionEntry>{{{"xcode.review", ""}, "/c"}, {{"xcode.safe", ""}, "/b"}}));
    findings->erase(findings->begin() + 1); // "review" is gone at the next scan
    scanned(*model);
    EXPECT_EQ(model->selection(), (std::set<SelectionEntry>{{{"xcode.safe", ""}, ""}}));

    std::filesystem::remove(keepFile);
    tree.file("keep.json/blocker"); // the list cannot be replaced any more
    model->keep({"xcode.safe", ""});
    EXPECT_EQ(model->lastError(), "Konnte die Behalten-Liste nicht speichern.");
    EXPECT_EQ(model->kept().size(), 1u);
    EXPECT_TRUE(model->isSelected({"xcode.safe", ""}));
}

TEST_F(AppModelTest, RemovalRunsTheSelectionOrRefusesWithoutRunningAnything) {
    scanners = {FakeScanner::returning("xcode.a", {makeFinding("xcode.a", {"/a", "/b"})}),
                FakeScanner::returning("services.orphaned", {makeFinding("services.orphaned", {"/s"})})};
    using Case = std::tuple<bool, bool, std::optional<std::string_view>>; // forced dry run, with a service
    for (const auto& [forcedNow, withService, error] :
         {Case{true, false, AppModelText::dryRunPlanRefused},
          Case{false, true, AppModelText::mixedServicesRefused}, Case{false, false, {}}}) {
        forced = forcedNow;
        auto model = make();
        scanned(*model);
        model->deselect({"services.orphaned", ""});
        if (withService)
            model->selectItem({"services.orphaned", ""}, "/s");
        model->deselectItem({"xcode.a", ""}, "/b");
        trash = 800;
        model->remove(RemovalPlan::build(model->selectedFindings(), {}));
        EXPECT_EQ(model->lastError(), error);
        EXPECT_EQ(model->isRemoving(), !error); // a refusal starts nothing
        if (error)
            continue;
        EXPECT_EQ(model->removalProgress(), AppModelText::preparing);
        EXPECT_EQ(model->removalLabels(), std::vector<std::string>{"xcode.a"});
        ASSERT_TRUE(executor->runUntil([&] { return !model->isRemoving() && model->trashBytes() == 800; }));
        ASSERT_EQ(model->lastRemoval()->results.size(), 1u);
        EXPECT_TRUE(model->lastRemoval()->results[0].outcome.isRemoved());
        EXPECT_TRUE(model->selection().empty()); // "/a" went
    }
}

TEST_F(AppModelTest, EmptyingTheTrashReportsFreedBytesOrTheErrorText) {
    const std::string cut = std::string(200, 'x') + "…";
    const std::string prefix = "Papierkorb konnte nicht geleert werden: ";
    const auto error = [](EmptyTrashError::Kind kind, std::string text) {
        return std::expected<std::int64_t, EmptyTrashError>(std::unexpected(EmptyTrashError{kind, text}));
    };
    using enum EmptyTrashError::Kind;
    const std::vector<std::pair<std::expected<std::int64_t, EmptyTrashError>, std::optional<std::string>>>
        cases = {{300, std::nullopt},
                 {error(automationDenied, ""),
                  prefix + "Velmora 2 braucht die Erlaubnis, den Finder zu steuern. Du erteilst sie unter "
                           "Systemeinstellungen → Datenschutz & Sicherheit → Automation."},
                 {error(failed, "Exit 1"), prefix + "Exit 1"},
                 {error(failed, cut), prefix + cut},
                 {error(failed, ""), "Papierkorb konnte nicht geleert werden."}};
    for (const auto& [result, error] : cases) {
        emptyResult = result;
        auto model = make();
        scanned(*model);
        trash = 200;
        model->emptyTrash();
        model->emptyTrash();
        EXPECT_EQ(model->removalProgress(), AppModelText::emptyingTrash);
        ASSERT_TRUE(executor->runUntil([&] { return !model->isRemoving(); }));
        EXPECT_EQ(model->lastError(), error);
        EXPECT_EQ(model->removalProgress(), std::nullopt);
        if (!error) {
            ASSERT_TRUE(executor->runUntil([&] { return model->trashBytes() == 200; }));
            EXPECT_EQ(model->lastRemoval()->freedBytes, 300);
        }
    }
    EXPECT_EQ(emptyCalls, 5); // the second click of each round did nothing
}

TEST_F(AppModelTest, AScheduleChangeWaitsForTheOneBeingAppliedAndAFailureIsShown) {
    auto model = make();
    model->setCheckSchedule(CheckSchedule::weekly);
    model->setCheckSchedule(CheckSchedule::off); // overtaken while weekly is applied: never applied
    model->setCheckSchedule(CheckSchedule::monthly);
    ASSERT_TRUE(executor->runUntil([&] { return !model->isApplyingSchedule(); }));
    EXPECT_EQ(agents->registered, std::set<std::string>{"de.tobrenlux.velmora2.check.monthly.plist"});
    EXPECT_EQ(std::ranges::count(agents->calls, "unregister de.tobrenlux.velmora2.check.monthly.plist"), 1);
    EXPECT_EQ(model->agentStatus(), AgentStatus::enabled);
    EXPECT_EQ(model->defaults().stringValue(checkScheduleKey), "monthly");
    model->setDryRunSetting(true);
    {
        auto reopened = make();
        EXPECT_TRUE(reopened->checkSchedule() == CheckSchedule::monthly && reopened->dryRunSetting() &&
                    reopened->isDryRun() && !reopened->isDryRunForced());
        EXPECT_TRUE(executor->runUntil([&] { return reopened->agentStatus() == AgentStatus::enabled; }));
    }

    agents->refuseRegistering = true;
    model->setCheckSchedule(CheckSchedule::weekly);
    ASSERT_TRUE(executor->runUntil([&] { return !model->isApplyingSchedule(); }));
    EXPECT_EQ(model->checkScheduleError(), "Konnte den automatischen Check nicht anmelden.");

    agents->calls.clear();
    model->setCheckSchedule(CheckSchedule::off);
    ASSERT_TRUE(executor->runUntil([&] { return !model->isApplyingSchedule(); }));
    EXPECT_EQ(model->checkScheduleError(), std::nullopt);
    EXPECT_EQ(model->agentStatus(), AgentStatus::notRegistered);
    EXPECT_TRUE(
        std::ranges::none_of(agents->calls, [](const std::string& c) { return c.starts_with("status"); }));
}

TEST_F(AppModelTest, ServiceRemovalRechecksReportsEachOutcomeAndReloadsTheList) {
    const std::string stale = "Inzwischen nicht mehr verwaist – nichts entfernt.";
    LaunchItem orphan;
    orphan.id = "user/com.a";
    orphan.label = "com.a";
    orphan.isOrphaned = true;
    std::atomic<int> loads{0};
    deps.loadServices = [&](const std::filesystem::path&, StopToken) {
        ++loads;
        return ServicesLoad{{orphan}, false};
    };
    deps.removeServices = [&](const std::vector<LaunchItem>& items, bool, const auto& progress, StopToken) {
        progress(std::string(AppModelText::removingServices));
        return std::vector<ServiceOutcome>{
            {{"services.orphaned", ""}, items.at(0).id, "user", "com.a", stale, ItemOutcome::skipped(stale)}};
    };
    auto model = make();
    model->servicesTabShown();
    ASSERT_TRUE(executor->runUntil([&] { return model->hasLoadedServices(); }));
    model->toggleService("user/com.a");
    model->removeSelectedServices();
    EXPECT_EQ(model->removalProgress(), AppModelText::recheckingServices);
    ASSERT_TRUE(executor->runUntil(
        [&] { return !model->isRemoving() && loads == 2 && !model->isLoadingServices(); }));
    EXPECT_TRUE(model->lastRemovalWasServices());
    EXPECT_EQ(model->lastRemoval()->failures, std::vector<std::string>{"com.a: " + stale});
    EXPECT_TRUE(model->selectedServices().empty());
}

TEST_F(AppModelTest, AnOvertakenSystemMeasurementIsDropped) {
    Switch firstGo;
    deps.measureSystemData = [&](const ScanContext& context, StopToken,
                                 const std::function<void(double)>& progress) {
        const auto call = context.now.time_since_epoch() / 1s; // in the order they were asked for
        if (call == 1)
            firstGo.wait();
        progress(call == 1 ? 0.9 : 0.4);
        SystemDataReport report;
        report.containerSize = call;
        return report;
    };
    auto model = make();
    model->systemDataTabShown();
    model->measureSystemData();
    ASSERT_TRUE(executor->runUntil([&] { return !model->isMeasuringSystemData(); }));
    firstGo.on = true;
    executor->runUntil([] { return false; }, 300ms);
    EXPECT_EQ(model->systemData()->containerSize, 2);
    EXPECT_EQ(model->systemDataProgress(), std::nullopt);
}

} // namespace
} // namespace velmora
