#include "SystemData/SystemAreas.hpp"
#include "SystemData/SystemDataMeasurer.hpp"

#include "Doubles/SlowSizeMeasurer.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <set>

using namespace velmora;
using namespace std::chrono_literals;
using velmora::testing::occupiedBytes;
using velmora::testing::SlowSizeMeasurer;
using velmora::testing::TempTree;

namespace {

using Script = SlowSizeMeasurer::Script;
using Clock = std::chrono::steady_clock;

SystemArea area(std::string id, std::vector<std::filesystem::path> locations,
                AreaKind kind = AreaKind::system) {
    return SystemArea{std::move(id), "Titel", "Urteil", std::move(locations), kind};
}

} // namespace

// Every way an area can end, in one run: whole, partly unreadable, cut at its own deadline while
// heeding the stop, stuck past the stop, unmeasurable, and on another file system than the reference.
TEST(SystemDataMeasurer, EachAreaEndsWholeOrAsALowerBound) {
    TempTree tree;
    const std::filesystem::path elsewhere = "/proc"; // never on the temp folder's file system
    std::map<std::filesystem::path, Script> scripts = {{elsewhere, {7}}};
    for (const auto& [name, script] : std::map<std::string, Script>{{"a", {100, 50ms}},
                                                                    {"c", {50, 0ms, true, false}},
                                                                    {"d", {5000, 5s}},
                                                                    {"e", {900, 1200ms, false}},
                                                                    {"f", {30}}})
        scripts[tree.folder(name)] = script;
    auto sizer = std::make_shared<SlowSizeMeasurer>(scripts);
    const std::vector<SystemArea> areas = {area("whole", {tree / "a"}),
                                           area("unreadable", {tree / "c"}),
                                           area("slow", {tree / "d"}),
                                           area("stuck", {tree / "e"}),
                                           area("snapshots", {}, AreaKind::unmeasurable),
                                           area("mixed", {tree / "f", elsewhere})};
    std::vector<double> shares;
    const auto started = Clock::now();
    const auto results = SystemDataMeasurer(sizer, {.perArea = 300ms, .overall = 5s, .parallel = 8})
                             .measure(areas, tree.root(), {}, [&](double share) { shares.push_back(share); });
    const auto took = Clock::now() - started;

    const std::vector<AreaMeasurement> expected = {
        {"whole", 100, false, true, 100}, {"unreadable", 50, true, true, 50},
        {"slow", 2500, true, true, 2500}, {"stuck", 0, true, true, 0},
        {"snapshots", 0, true, false, 0}, {"mixed", 37, false, false, 30}};
    EXPECT_EQ(results, expected);
    EXPECT_LT(took, 300ms + SystemDataMeasurer::stopGrace + 400ms) << "the stuck area was not abandoned";
    EXPECT_FALSE(sizer->crossedFileSystems);
    EXPECT_TRUE(!shares.empty() && std::ranges::is_sorted(shares) && shares.front() >= 0 &&
                shares.back() == 1.0);
}

// One area at a time: the overall limit lets the first finish, cuts the second and never starts the
// third; a stop cuts the first and starts nothing more.
TEST(SystemDataMeasurer, OverallLimitAndStopCutTheRunningAndSkipTheRest) {
    struct Case {
        std::chrono::milliseconds overall, stopAfter;
        int calls;
        std::vector<std::pair<std::int64_t, bool>> expected; // bytes, lower bound
    };
    for (const Case& c : std::vector<Case>{{400ms, 600ms, 2, {{1000, false}, {500, true}, {0, true}}},
                                           {60s, 100ms, 1, {{500, true}, {0, true}, {0, true}}}}) {
        TempTree tree;
        std::map<std::filesystem::path, Script> scripts;
        std::vector<SystemArea> areas;
        for (const char* name : {"1", "2", "3"}) {
            scripts[tree.folder(name)] = {1000, 250ms};
            areas.push_back(area(name, {tree / name}));
        }
        auto sizer = std::make_shared<SlowSizeMeasurer>(scripts);
        StopSource stop;
        JoiningThread stopper([&] {
            std::this_thread::sleep_for(c.stopAfter);
            stop.request_stop();
        });
        const auto started = Clock::now();
        std::vector<std::pair<std::int64_t, bool>> got;
        for (const auto& result :
             SystemDataMeasurer(sizer, {.perArea = 10s, .overall = c.overall, .parallel = 1})
                 .measure(areas, tree.root(), stop.get_token()))
            got.emplace_back(result.bytes, result.lowerBound);
        EXPECT_EQ(got, c.expected);
        EXPECT_LT(Clock::now() - started, std::min(c.overall, c.stopAfter) + 200ms);
        EXPECT_EQ(sizer->calls, c.calls);
    }
}

TEST(SystemAreas, TableKeepsWhatExistsOnBothLayouts) {
    struct Case {
        PlatformLayout layout;
        std::vector<std::string> folders;
        std::vector<std::pair<std::string, std::string>> links; // path, target
        std::vector<std::string> expected;                      // "id=location" in order, "id" for none
    };
    const std::vector<Case> cases = {
        {PlatformLayout::macOS,
         {"Users/anna", "Users/bob", "Users/Shared", "Users/.hidden", "Applications", "Library/Caches",
          "private/var/log", "private/var/vm", "System/Library/AssetsV2", ".Spotlight-V100",
          "System/Volumes"},
         // The data volume seen through another path must not count the index twice; a link is no home.
         {{"System/Volumes/Data", "../.."}, {"Users/alias", "bob"}},
         {"systemdata.home=Users/anna", "systemdata.applications=Applications",
          "systemdata.vm=private/var/vm", "systemdata.snapshots", "systemdata.libraryCaches=Library/Caches",
          "systemdata.logs=private/var/log", "systemdata.assets=System/Library/AssetsV2",
          "systemdata.spotlight=.Spotlight-V100", "systemdata.otherUsers=Users/Shared",
          "systemdata.otherUsers=Users/bob"}},
        {PlatformLayout::linux,
         {"home/anna", "home/bob", "root", "usr", "var/cache", "var/log", "tmp", "var/lib/docker", "boot"},
         {},
         {"systemdata.home=home/anna", "systemdata.programs=usr", "systemdata.packageCaches=var/cache",
          "systemdata.logs=var/log", "systemdata.containers=var/lib/docker", "systemdata.temporary=tmp",
          "systemdata.swap=swapfile", "systemdata.boot=boot", "systemdata.otherUsers=home/bob",
          "systemdata.otherUsers=root"}},
    };
    for (const Case& c : cases) {
        TempTree tree;
        for (const auto& folder : c.folders)
            tree.folder(folder);
        for (const auto& [path, target] : c.links)
            tree.link(path, target);
        tree.filledFile("swapfile", 4096);
        const auto areas = SystemAreas::forMachine(
            {c.layout, tree.root(), tree / c.folders[0], {tree / "swapfile", tree / "missing-swapfile"}});
        std::vector<std::string> got;
        std::set<std::string> ids;
        for (const auto& area : areas) {
            EXPECT_TRUE(ids.insert(area.id).second && !area.title.empty() && !area.verdict.empty())
                << area.id;
            if (area.locations.empty())
                got.push_back(area.id);
            for (const auto& location : area.locations)
                got.push_back(area.id + "=" + location.lexically_relative(tree.root()).string());
        }
        EXPECT_EQ(got, c.expected) << rawValue(c.layout);
    }
}

TEST(SystemAreas, AssetsAreNamedAndMeasuredLargestFirst) {
    TempTree tree;
    tree.filledFile("AssetsV2/com_apple_MobileAsset_Font7/a.asset/font", 40'000);
    tree.filledFile("AssetsV2/com_apple_MobileAsset_iOSSimulatorRuntime/r/image", 300'000);
    tree.filledFile("AssetsV2/com_apple_MobileAsset_VoiceServicesVocalizerVoice/v", 120'000);
    tree.filledFile("AssetsV2/com_apple_MobileAsset_SomethingNew/x", 8'000);
    tree.filledFile("AssetsV2/loose-file", 900'000);
    tree.link("AssetsV2/com_apple_MobileAsset_Font8", "com_apple_MobileAsset_Font7");

    std::vector<std::pair<std::string, std::int64_t>> got;
    for (const auto& folder : SystemAreas::assetsBreakdown(tree / "AssetsV2", SizeMeter()))
        got.emplace_back(folder.name, folder.size);
    const auto size = [&](const char* file) { return occupiedBytes(tree / "AssetsV2" / file); };
    const std::vector<std::pair<std::string, std::int64_t>> expected = {
        {"Simulator-Laufzeiten", size("com_apple_MobileAsset_iOSSimulatorRuntime/r/image")},
        {"Stimmen", size("com_apple_MobileAsset_VoiceServicesVocalizerVoice/v")},
        {"Schriften", size("com_apple_MobileAsset_Font7/a.asset/font")},
        {"com_apple_MobileAsset_SomethingNew", size("com_apple_MobileAsset_SomethingNew/x")},
    };
    EXPECT_EQ(got, expected);
    EXPECT_EQ(SystemAreas::assetName("com_apple_MobileAsset_TTSAXResourceModelAssets"), "Stimmen");
    EXPECT_EQ(SystemAreas::assetName("com_apple_MobileAsset_UAF_FM_GenerativeModels"),
              "Modelle für Apple Intelligence");
}
