#include "Doubles/FakeScanner.hpp"
#include "Scanning/Gate.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

using namespace velmora;
using namespace velmora::testing;
using namespace std::chrono_literals;

namespace {

ScanReport runEngine(std::vector<std::shared_ptr<Scanner>> scanners, std::chrono::nanoseconds timeout = 5s,
                     ScanContext context = {}) {
    return ScanEngine(std::move(scanners), timeout).run(context);
}

std::vector<std::string> ids(const ScanReport& report) {
    std::vector<std::string> out;
    for (const auto& f : report.findings)
        out.push_back(f.id.scannerID);
    return out;
}

} // namespace

TEST(ScanEngine, ScannerPastItsLimitFailsOnceAndIsNotWaitedFor) {
    auto finished = std::make_shared<std::atomic<bool>>(false);
    // This scanner ignores its stop token on purpose: the scan must still end at the limit.
    auto slow = std::make_shared<FakeScanner>(
        "languages.slow", ScannerPhase::specific, [finished](const ScanContext&, StopToken) {
            std::this_thread::sleep_for(1500ms);
            finished->store(true);
            return std::vector<Finding>{makeFinding("languages.slow", {"/x"})};
        });
    auto quick = FakeScanner::returning("languages.quick", {makeFinding("languages.quick", {"/q"})});
    const auto started = std::chrono::steady_clock::now();
    const auto report = runEngine({slow, quick}, 200ms);
    EXPECT_LT(std::chrono::steady_clock::now() - started, 1200ms);
    EXPECT_FALSE(finished->load());
    EXPECT_EQ(ids(report), std::vector<std::string>{"languages.quick"});
    ASSERT_EQ(report.failures.size(), 1u);
    EXPECT_EQ(report.failures[0], (ScanFailure{"languages.slow", "Zeitüberschreitung nach 1 s"}));
    // The limit is named in whole seconds, rounded up.
    EXPECT_EQ(ScanEngine::timeoutMessage(45s), "Zeitüberschreitung nach 45 s");
    EXPECT_EQ(ScanEngine::timeoutMessage(45001ms), "Zeitüberschreitung nach 46 s");
    EXPECT_EQ(ScanEngine::timeoutMessage(0s), "Zeitüberschreitung nach 1 s");
}

// Errors and exceptions become failures while the others deliver; empty findings are dropped
// unless they are hints or could not be measured.
TEST(ScanEngine, FailuresAndEmptyFindingsDoNotStopTheOthers) {
    auto empty = makeFinding("xcode.empty", {});
    empty.size = 0;
    auto hint = makeFinding("toolchains.hint", {}, 0, Risk::hintOnly);
    hint.size = 0;
    auto unmeasured = makeFinding("apps.unmeasured", {});
    unmeasured.size.reset();
    auto zeroWithItem = makeFinding("xcode.zeroItem", {"/z"}, 0);
    auto failing = std::make_shared<FakeScanner>(
        "brew.casks", ScannerPhase::specific, [](const ScanContext&, StopToken) {
            return std::expected<std::vector<Finding>, ScanError>(std::unexpected(ScanError{"brew: Exit 1"}));
        });
    auto throwing = std::make_shared<FakeScanner>(
        "sim.runtimes", ScannerPhase::specific,
        [](const ScanContext&, StopToken) -> std::expected<std::vector<Finding>, ScanError> {
            throw std::runtime_error("kaputt");
        });
    const auto report = runEngine(
        {failing, FakeScanner::returning("multi", {empty, hint, unmeasured, zeroWithItem}), throwing});
    EXPECT_EQ(ids(report),
              (std::vector<std::string>{"toolchains.hint", "apps.unmeasured", "xcode.zeroItem"}));
    EXPECT_EQ(report.failures,
              (std::vector<ScanFailure>{{"brew.casks", "brew: Exit 1"}, {"sim.runtimes", "kaputt"}}));
}

TEST(ScanEngine, LaterPhasesSeeWhatEarlierPhasesClaimedAndProgressCountsAllPhases) {
    std::vector<std::string> seenByCollector;
    auto specific =
        FakeScanner::returning("xcode.derivedData", {makeFinding("xcode.derivedData", {"/h/Library/b"})});
    auto photos = FakeScanner::returning(
        "personal.photos", {makeFinding("personal.photos", {"/h/P.photoslibrary"}, 7, Risk::hintOnly)});
    auto collector = std::make_shared<FakeScanner>(
        "appCaches.all", ScannerPhase::collector, [&](const ScanContext& context, StopToken) {
            for (const char* p : {"/h/Library/b", "/h/Library/b/deep/x", "/h/Library/bc", "/h/Library"})
                if (!context.claims->isClaimed(p))
                    seenByCollector.push_back(p);
            return std::vector<Finding>{makeFinding("appCaches.all", {"/h/Library/Caches/x"})};
        });
    auto big = std::make_shared<FakeScanner>(
        "personal.bigChunks", ScannerPhase::lateCollector, [&](const ScanContext& context, StopToken) {
            // The sweep sees the sizes of both earlier phases; its items become the report's chunks.
            const auto reported = PathClaims::reportedBytes("/h", *context.earlierFindings);
            return std::vector<Finding>{
                makeFinding("personal.bigChunks", {"/h/M"}, reported, Risk::hintOnly)};
        });
    // Registered first, but runs after the specific phase; progress counts the scanners of all phases.
    std::vector<double> progress;
    const auto report = ScanEngine({big, collector, specific, photos}, 5s).run({}, {}, [&](double p) {
        progress.push_back(p);
    });
    EXPECT_EQ(seenByCollector, (std::vector<std::string>{"/h/Library/bc", "/h/Library"}));
    EXPECT_EQ(ids(report), (std::vector<std::string>{"xcode.derivedData", "personal.photos", "appCaches.all",
                                                     "personal.bigChunks"}));
    EXPECT_EQ(progress.back(), 1.0);
    EXPECT_EQ(report.bigChunks, (std::vector<BigChunk>{{"/h/M", 2'007}}));
    EXPECT_EQ(report.photos, (PhotosInfo{"/h/P.photoslibrary", 7}));
}

TEST(ScanEngine, CancellingStopsRunningScannersAndSkipsLaterPhases) {
    std::atomic<bool> laterPhaseRan = false;
    auto waiting = std::make_shared<FakeScanner>("languages.wait", ScannerPhase::specific,
                                                 [](const ScanContext&, StopToken stop) {
                                                     while (!stop.stop_requested())
                                                         std::this_thread::sleep_for(5ms);
                                                     return std::vector<Finding>{};
                                                 });
    auto later = std::make_shared<FakeScanner>("languages.later", ScannerPhase::collector,
                                               [&](const ScanContext&, StopToken) {
                                                   laterPhaseRan = true;
                                                   return std::vector<Finding>{};
                                               });
    StopSource source;
    JoiningThread canceller([&] {
        std::this_thread::sleep_for(100ms);
        source.request_stop();
    });
    const auto started = std::chrono::steady_clock::now();
    const auto report = ScanEngine({waiting, later}, 30s).run(ScanContext{}, source.get_token());
    EXPECT_LT(std::chrono::steady_clock::now() - started, 5s);
    EXPECT_FALSE(laterPhaseRan.load());
    EXPECT_EQ(report.failures, (std::vector<ScanFailure>{{"languages.wait", "Abgebrochen"}}));
}

TEST(Gate, FirstOutcomeWinsAndStopsTheScanner) {
    int notified = 0;
    Gate gate([&] { ++notified; });
    const auto token = gate.scannerStopToken();
    EXPECT_FALSE(gate.isDone());
    EXPECT_FALSE(gate.result().has_value());
    EXPECT_TRUE(gate.settle(std::unexpected(ScanError{"Zeitüberschreitung nach 1 s"})));
    EXPECT_FALSE(gate.settle(std::vector<Finding>{makeFinding("late", {"/l"})}));
    EXPECT_TRUE(token.stop_requested());
    EXPECT_EQ(notified, 1);
    ASSERT_TRUE(gate.result());
    EXPECT_FALSE(gate.result()->has_value());
}

TEST(PathClaims, ClaimsCoverInsideButNotSiblingsAndCountReportedBytes) {
    PathClaims claims;
    // Inside, siblings and parents are the engine's test; here the spelling of the claimed paths.
    claims.claim({"/Users/anna/Library/Caches/b/", "/Users/anna/x/../y"});
    EXPECT_TRUE(claims.isClaimed("/Users/anna/Library/Caches/b"));
    EXPECT_TRUE(claims.isClaimed("/Users/anna/./y/z"));
    EXPECT_FALSE(claims.isClaimed("/Users/anna/x"));

    auto a = makeFinding("a.x", {"/h/Library/Caches/one", "/h/Library/Caches/two/deep", "/h/Other"}, 100);
    a.items[1].size.reset();
    a.items.push_back(FindingItem{"no-url", std::nullopt, "n", 5000, {}, {}, {}, {}});
    const auto b = makeFinding("b.x", {"/h/Library/Caches", "/h/Library/CachesX"}, 7);
    EXPECT_EQ(PathClaims::reportedBytes("/h/Library/Caches", {a, b}), 100 + 0 + 7);
    EXPECT_EQ(PathClaims::reportedBytes("/h", {a, b}), 100 + 0 + 100 + 7 + 7);
}
