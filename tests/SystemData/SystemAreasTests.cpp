#include "SystemData/SystemAreas.hpp"

#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"

#include <gtest/gtest.h>

#include <set>

using namespace velmora;
using velmora::testing::occupiedBytes;
using velmora::testing::TempTree;

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
