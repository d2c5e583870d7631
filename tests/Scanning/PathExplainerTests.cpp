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
        using Outcome = std::expected<std::vector<Finding>, ScanError>;
        const auto found = makeFinding("apps.leftovers", {home / "Library/Application Support/Gone"});
        auto other = std::make_shared<FakeScanner>(
            "apps.leftovers", ScannerPhase::specific,
            [runs = otherRuns, fails = otherFails, found](auto&&...) {
                ++*runs;
                return fails ? Outcome(std::unexpected(ScanError{"Fehler"})) : Outcome(std::vector{found});
            });
        const std::vector<std::shared_ptr<Scanner>> scanners = {
            std::make_shared<PathScanner>(Catalog::rule("xcode.derivedData")), other};
        SafetyGuard::Setup setup;
        setup.rootPrefix = tree.root();
        setup.home = "/Users/anna";
        const auto context = [this] {
            ScanContext context;
            context.rootPrefix = tree.root();
            context.home = home;
            context.sizer = std::make_shared<SizeMeter>();
            return context;
        };
        return PathExplainer({std::make_shared<const ScanEngine>(scanners, std::chrono::seconds(20)),
                              Catalog::rules(PlatformLayout::macOS), context,
                              std::make_shared<const SafetyGuard>(setup), keep})
            .explain(paths);
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
        PathPresence presence;
        std::string denied;                   // empty: allowed
        std::vector<std::string> inside = {}; // unclaimed: the findings claiming items below it
    };
    const std::string dd = "Library/Developer/Xcode/DerivedData/", gone = "Library/Application Support/Gone";
    const std::vector<Case> cases = {
        {dd + "App-abc", "xcode.derivedData", dd + "App-abc", PathPresence::present, ""},
        {dd + "App-abc/Build/./x.o/", "xcode.derivedData", dd + "App-abc", PathPresence::present, ""},
        {dd + "App-abc/Build/gone", "xcode.derivedData", dd + "App-abc", PathPresence::missing, ""},
        // A link is explained as itself: the rule never reports links, nor does anything else.
        {dd + "Linked", "", "", PathPresence::symbolicLink, "Symlink zeigt aus dem erlaubten Ordner heraus"},
        {gone + "/data.bin", "apps.leftovers", gone, PathPresence::present, ""},
        {"Documents/Brief.txt", "", "", PathPresence::present, "Persönlicher Ordner – wird nie angefasst"},
        // A folder above findings is not suggested itself; what lies in it is named, largest first.
        {"Library",
         "",
         "",
         PathPresence::present,
         "Persönlicher Ordner – wird nie angefasst",
         {"xcode.derivedData", "apps.leftovers"}},
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
        EXPECT_EQ(x.guard.reason().value_or(""), c.denied);
        ASSERT_EQ(x.claim.has_value(), !c.finding.empty());
        EXPECT_TRUE(x.claim || x.isSurelyUnclaimed());
        std::vector<std::string> inside;
        for (const auto& part : x.inside)
            inside.push_back(part.findingID.scannerID);
        EXPECT_EQ(inside, c.inside);
        if (!x.claim)
            continue;
        const bool rule = c.finding == "xcode.derivedData";
        EXPECT_EQ(x.claim->findingID.scannerID, c.finding);
        EXPECT_EQ(x.claim->item.url, e.home / c.item);
        EXPECT_EQ(x.claim->fromRule, rule);
        EXPECT_EQ(x.claim->pattern, rule ? std::optional((e.home / dd).string() + "*") : std::nullopt);
        EXPECT_EQ(x.claim->kept, rule);
        EXPECT_GE(x.size().value_or(0), rule ? 40'000 : 1000);
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
    EXPECT_FALSE(explanations[0].isSurelyUnclaimed());
    EXPECT_EQ(explanations[0].failures.at(0).scannerID, "apps.leftovers");
    EXPECT_FALSE(explanations.at(1).examined);
}
