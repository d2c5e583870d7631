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

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::FakeScanner;
using testing::makeFinding;

// Opened once by the test; a waiting worker also gives up when its operation is told to stop.
struct Switch {
    std::atomic<bool> on{false};
    void open() { on = true; }
    bool wait(StopToken stop = {}) const {
        for (int ms = 0; !on && !stop.stop_requested() && ms < 10'000; ++ms)
            std::this_thread::sleep_for(1ms);
        return on;
    }
};

// Removes every item it is handed and counts the calls.
struct RecordingRemover final : Remover {
    std::atomic<int> calls{0};
    std::vector<ItemResult> remove(const std::vector<RemovalStep>& steps, bool, StopToken) override {
        ++calls;
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
            return context;
        };
        deps.bigChunks = [this](const ScanReport&) {
            chunksReached.open();
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
        chunksGo.open();
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
        std::make_shared<FakeScanner>("xcode.b", ScannerPhase::specific, [&](const ScanContext&, StopToken) {
            slowGo.wait();
            return std::expected<std::vector<Finding>, ScanError>(std::vector<Finding>{});
        })};
    auto model = make();
    model->scan();
    model->scan(); // a second click while it runs starts nothing
    EXPECT_EQ(model->scanGeneration(), 1u);
    slowGo.open();
    ASSERT_TRUE(chunksReached.wait()); // without running what the scan posted
    auto late = executor->take();      // the first scan's progress, held back
    chunksGo.open();
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
    chunksGo.open();
    EXPECT_TRUE(executor->runUntil([&] { return !model->isScanning(); }));
}

TEST_F(AppModelTest, NothingElseStartsWhileAScanRunsAndDestroyingTheModelStopsTheScan) {
    // Shared: the engine need not wait for a scanner it told to stop.
    const auto entered = std::make_shared<Switch>(), stopped = std::make_shared<Switch>();
    scanners = {std::make_shared<FakeScanner>(
        "xcode.a", ScannerPhase::specific, [entered, stopped](const ScanContext&, StopToken stop) {
            entered->open();
            Switch{}.wait(stop);
            if (stop.stop_requested())
                stopped->open();
            return std::expected<std::vector<Finding>, ScanError>(std::vector<Finding>{});
        })};
    auto model = make();
    chunksGo.open();
    model->scan();
    entered->wait();
    model->emptyTrash();
    model->remove(RemovalPlan{});
    model->runCheck();
    EXPECT_FALSE(model->isRemoving() || model->isChecking());
    EXPECT_EQ(emptyCalls, 0);
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
    ASSERT_TRUE(deps.keepList->add({"xcode.kept", ""}));
    scanned(*model);
    EXPECT_EQ(model->selection(), (std::set<SelectionEntry>{{{"xcode.safe", ""}, ""}}));
    EXPECT_EQ(model->trashBytes(), 500);
    EXPECT_EQ(model->disk(), (DiskSpace{100, 1000}));

    model->deselectItem({"xcode.safe", ""}, "/a");
    model->selectItem({"xcode.review", ""}, "/c");
    model->select({"xcode.kept", ""});
    EXPECT_EQ(model->selection(),
              (std::set<SelectionEntry>{{{"xcode.review", ""}, "/c"}, {{"xcode.safe", ""}, "/b"}}));
    findings->erase(findings->begin() + 1); // "review" is gone at the next scan
    scanned(*model);
    EXPECT_EQ(model->selection(), (std::set<SelectionEntry>{{{"xcode.safe", ""}, ""}}));
}

TEST_F(AppModelTest, RemovalRunsTheSelectionOrRefusesWithoutRunningAnything) {
    scanners = {FakeScanner::returning("xcode.a", {makeFinding("xcode.a", {"/a", "/b"})}),
                FakeScanner::returning("services.orphaned", {makeFinding("services.orphaned", {"/s"})})};
    struct Case {
        bool forced;
        bool withService;
        std::optional<std::string_view> error;
    };
    for (const auto& c : {Case{true, false, AppModelText::dryRunPlanRefused},
                          Case{false, true, AppModelText::mixedServicesRefused}, Case{false, false, {}}}) {
        forced = c.forced;
        remover->calls = 0;
        auto model = make();
        scanned(*model);
        model->deselect({"services.orphaned", ""});
        if (c.withService)
            model->selectItem({"services.orphaned", ""}, "/s");
        model->deselectItem({"xcode.a", ""}, "/b");
        trash = 800;
        model->remove(RemovalPlan::build(model->selectedFindings(), {}));
        EXPECT_EQ(model->lastError(), c.error);
        if (c.error) {
            EXPECT_FALSE(model->isRemoving());
            EXPECT_EQ(remover->calls, 0);
            continue;
        }
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
        trash = 500;
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

TEST_F(AppModelTest, KeepingSavesOrSaysItCouldNotAndLeavesTheOldList) {
    scanners = {FakeScanner::returning("xcode.a", {makeFinding("xcode.a", {"/a"})})};
    for (const bool saves : {true, false}) {
        keepFile = saves ? tree.root() / "keep.json" : tree.file("blocker") / "keep.json";
        auto model = make();
        scanned(*model);
        model->keep({"xcode.a", ""});
        EXPECT_EQ(model->kept().size(), saves ? 1u : 0u);
        EXPECT_EQ(model->isSelected({"xcode.a", ""}), !saves);
        EXPECT_EQ(model->lastError(),
                  saves ? std::nullopt
                        : std::optional<std::string>("Konnte die Behalten-Liste nicht speichern."));
    }
}

TEST_F(AppModelTest, AScheduleChangeWaitsForTheOneBeingAppliedAndAFailureIsShown) {
    auto model = make();
    model->setCheckSchedule(CheckSchedule::weekly);
    model->setCheckSchedule(CheckSchedule::monthly);
    ASSERT_TRUE(executor->runUntil([&] { return !model->isApplyingSchedule(); }));
    EXPECT_EQ(agents->registered, std::set<std::string>{"de.tobrenlux.velmora2.check.monthly.plist"});
    EXPECT_EQ(model->agentStatus(), AgentStatus::enabled);
    EXPECT_EQ(model->defaults().stringValue(checkScheduleKey), "monthly");
    model->setDryRunSetting(true);
    {
        auto reopened = make();
        EXPECT_EQ(reopened->checkSchedule(), CheckSchedule::monthly);
        EXPECT_TRUE(reopened->dryRunSetting() && reopened->isDryRun() && !reopened->isDryRunForced());
        EXPECT_TRUE(executor->runUntil([&] { return reopened->agentStatus() == AgentStatus::enabled; }));
    }

    agents->refuseRegistering = true;
    model->setCheckSchedule(CheckSchedule::weekly);
    ASSERT_TRUE(executor->runUntil([&] { return !model->isApplyingSchedule(); }));
    EXPECT_EQ(model->checkScheduleError(), "Konnte den automatischen Check nicht anmelden.");
    EXPECT_EQ(model->agentStatus(), AgentStatus::notRegistered);

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
    const auto service = [](std::string label, bool orphaned) {
        LaunchItem item;
        item.id = "user/" + label;
        item.label = label;
        item.isOrphaned = orphaned;
        return item;
    };
    std::atomic<int> loads{0};
    Switch go;
    deps.loadServices = [&](const std::filesystem::path&, StopToken) {
        ++loads;
        return ServicesLoad{{service("com.a", true), service("com.b", false)}, false};
    };
    deps.removeServices = [&](const std::vector<LaunchItem>& items, bool, const auto& progress, StopToken) {
        go.wait();
        progress(std::string(AppModelText::removingServices));
        return std::vector<ServiceOutcome>{
            {{"services.orphaned", ""}, items.at(0).id, "user", "com.a", stale, ItemOutcome::skipped(stale)}};
    };
    auto model = make();
    model->servicesTabShown();
    ASSERT_TRUE(executor->runUntil([&] { return model->hasLoadedServices(); }));
    model->toggleService("user/com.b"); // not orphaned: not offered
    model->toggleService("user/com.a");
    model->removeSelectedServices();
    EXPECT_EQ(model->removalProgress(), AppModelText::recheckingServices);
    go.open();
    ASSERT_TRUE(executor->runUntil(
        [&] { return !model->isRemoving() && loads == 2 && !model->isLoadingServices(); }));
    EXPECT_TRUE(model->lastRemovalWasServices());
    EXPECT_EQ(model->lastRemoval()->failures, std::vector<std::string>{"com.a: " + stale});
    EXPECT_TRUE(model->selectedServices().empty());
}

TEST_F(AppModelTest, AnOvertakenSystemMeasurementIsDropped) {
    Switch firstGo;
    std::atomic<int> calls{0};
    deps.measureSystemData = [&](const ScanContext&, StopToken, const std::function<void(double)>& progress) {
        const int call = ++calls;
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
    firstGo.open();
    executor->runUntil([] { return false; }, 300ms);
    EXPECT_EQ(model->systemData()->containerSize, 2);
    EXPECT_EQ(model->systemDataProgress(), std::nullopt);
}

} // namespace
} // namespace velmora
