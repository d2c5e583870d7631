#include "Doubles/FakeScanner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "Scanning/Catalog.hpp"
#include "Scanning/PathExplainer.hpp"
#include "Scanning/PathScanner.hpp"

#include <gtest/gtest.h>

#include <atomic>

using namespace velmora;
using namespace velmora::testing;

namespace {

namespace fs = std::filesystem;

// A Mac-shaped home with DerivedData, a deleted app's leftovers and personal files; the engine holds
// the DerivedData rule's scanner and a stand-in for every other scanner that counts its runs.
struct Explaining {
    TempTree tree;
    fs::path home = tree / "Users/anna";
    std::shared_ptr<std::atomic<int>> otherRuns = std::make_shared<std::atomic<int>>(0);
    std::shared_ptr<KeepList> keep = std::make_shared<KeepList>(tree / "keep.json");
    bool otherFails = false;

    Explaining() {
        tree.filledFile("Users/anna/Library/Developer/Xcode/DerivedData/App-abc/Build/x.o", 40'000);
        tree.link("Users/anna/Library/Developer/Xcode/DerivedData/Linked", "/Users/anna/Documents");
        tree.file("Users/anna/Library/Application Support/Gone/data.bin");
        tree.file("Users/anna/Documents/Brief.txt");
    }

    std::vector<PathExplanation> explain(const std::vector<fs::path>& paths) {
        const auto leftovers = home / "Library/Application Support/Gone";
        auto other = std::make_shared<FakeScanner>(
            "apps.leftovers", ScannerPhase::specific,
            [runs = otherRuns, fails = otherFails,
             leftovers](const ScanContext&, StopToken) -> std::expected<std::vector<Finding>, ScanError> {
                ++*runs;
                if (fails)
                    return std::unexpected(ScanError{"Zeitüberschreitung nach 45 s"});
                return std::vector<Finding>{makeFinding("apps.leftovers", {leftovers})};
            });
        const std::vector<std::shared_ptr<Scanner>> scanners = {
            std::make_shared<PathScanner>(Catalog::rule("xcode.derivedData")), other};
        SafetyGuard::Setup setup;
        setup.rootPrefix = tree.root();
        setup.home = "/Users/anna";
        PathExplainer explainer({std::make_shared<const ScanEngine>(scanners, std::chrono::seconds(20)),
                                 Catalog::rules(PlatformLayout::macOS),
                                 [this] {
                                     ScanContext context;
                                     context.rootPrefix = tree.root();
                                     context.home = home;
                                     context.layout = PlatformLayout::macOS;
                                     context.sizer = std::make_shared<SizeMeter>();
                                     return context;
                                 },
                                 std::make_shared<const SafetyGuard>(setup), keep});
        return explainer.explain(paths);
    }
};

} // namespace

TEST(PathExplainer, NamesTheNearestClaimedItemItsSourceTheGuardAndTheKeepMark) {
    Explaining e;
    ASSERT_TRUE(e.keep->add(FindingID{"xcode.derivedData", ""}));
    struct Case {
        std::string path;
        std::string finding; // empty: nothing claims it
        std::string item;    // the claimed item, relative to the home
        std::optional<std::string> pattern;
        PathPresence presence;
        std::optional<std::string> denied;
    };
    const std::string derived = "Library/Developer/Xcode/DerivedData/";
    const std::vector<Case> cases = {
        {derived + "App-abc",
         "xcode.derivedData",
         derived + "App-abc",
         derived + "*",
         PathPresence::present,
         {}},
        {derived + "App-abc/Build/./x.o/",
         "xcode.derivedData",
         derived + "App-abc",
         derived + "*",
         PathPresence::present,
         {}},
        {derived + "App-abc/Build/gone",
         "xcode.derivedData",
         derived + "App-abc",
         derived + "*",
         PathPresence::missing,
         {}},
        // A link is explained as itself: the rule never reports links, nor does anything else.
        {derived + "Linked",
         "",
         "",
         {},
         PathPresence::symbolicLink,
         "Symlink zeigt aus dem erlaubten Ordner heraus"},
        {"Library/Application Support/Gone/data.bin",
         "apps.leftovers",
         "Library/Application Support/Gone",
         {},
         PathPresence::present,
         {}},
        {"Documents/Brief.txt",
         "",
         "",
         {},
         PathPresence::present,
         "Persönlicher Ordner – wird nie angefasst"},
    };
    std::vector<fs::path> paths;
    for (const auto& c : cases)
        paths.push_back(e.home / c.path);
    const auto explanations = e.explain(paths);
    ASSERT_EQ(explanations.size(), cases.size());
    for (std::size_t index = 0; index < cases.size(); ++index) {
        const auto& c = cases[index];
        const auto& x = explanations[index];
        SCOPED_TRACE(c.path);
        EXPECT_EQ(x.presence, c.presence);
        EXPECT_EQ(x.guard.reason(), c.denied);
        ASSERT_EQ(x.claim.has_value(), !c.finding.empty());
        EXPECT_TRUE(x.claim || x.isSurelyUnclaimed());
        if (!x.claim)
            continue;
        EXPECT_EQ(x.claim->findingID.scannerID, c.finding);
        EXPECT_EQ(x.claim->item.url, e.home / c.item);
        EXPECT_EQ(x.claim->fromRule, c.pattern.has_value());
        EXPECT_EQ(x.claim->pattern, c.pattern);
        EXPECT_EQ(x.claim->kept, c.finding == "xcode.derivedData");
        EXPECT_GE(x.size().value_or(0), c.finding == "xcode.derivedData" ? 40'000 : 1000);
    }
    // One scan with every scanner answered all the paths no rule claimed.
    EXPECT_EQ(*e.otherRuns, 1);
}

TEST(PathExplainer, ARuleCoveredPathRunsOnlyItsRuleAndAFailedScannerMakesNoFindingUncertain) {
    Explaining e;
    e.otherFails = true;
    auto explanations = e.explain({e.home / "Library/Developer/Xcode/DerivedData/App-abc/Build"});
    EXPECT_EQ(explanations.at(0).claim->findingID.scannerID, "xcode.derivedData");
    EXPECT_EQ(*e.otherRuns, 0);

    explanations = e.explain({e.home / "Documents/Brief.txt", "relative/path"});
    EXPECT_EQ(*e.otherRuns, 1);
    EXPECT_FALSE(explanations.at(0).claim);
    EXPECT_FALSE(explanations[0].isSurelyUnclaimed());
    EXPECT_EQ(explanations[0].failures.at(0).scannerID, "apps.leftovers");
    EXPECT_FALSE(explanations.at(1).examined);
}
