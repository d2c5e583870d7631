// Which folders are big chunks, and that their walk never counts what another finding shows.
#include "Doubles/FakeScanner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "Scanning/Catalog.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Scanning/Scanners/BigChunksScanner.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::testing;
namespace fs = std::filesystem;

namespace {

ScanContext contextFor(const TempTree& tree) {
    ScanContext context;
    context.rootPrefix = tree.root();
    context.home = tree / "Users/anna";
    context.sizer = std::make_shared<SizeMeter>();
    context.layout = PlatformLayout::macOS;
    return context;
}

constexpr std::int64_t kB = 4096; // one block, so that allocated sizes are exact
// Small trees walked on several threads all the same, so that folder totals meet across threads.
const SizeMeter::Options parallel{.threads = 4, .parallelAfterDirectories = 1};

} // namespace

// Threshold 10 throughout.
TEST(BigChunks, TheDeepestFolderHoldingTheThresholdIsListedAndParentsOnlyForWhatIsLeft) {
    using F = SizeMeter::FolderTotal;
    const std::vector<std::tuple<std::vector<F>, std::size_t, std::vector<BigChunk>>> cases{
        {{{"h", 30, -1}, {"h/a", 25, 0}, {"h/a/b", 25, 1}, {"h/a/b/c", 22, 2}}, 20, {{"h/a/b/c", 22}}},
        {{{"h", 99, -1}, {"h/a", 30, 0}, {"h/a/b", 25, 1}, {"h/a/b/c", 20, 2}},
         20,
         {{"h/a/b/c", 20}, {"h/a", 10}}},
        {{{"h", 50, -1}, {"h/a", 9, 0}, {"h/b", 9, 0}}, 20, {}}, // the home itself never
        // Too many: the smallest goes back to its parent, which may then qualify with it.
        {{{"h", 99, -1}, {"h/p", 30, 0}, {"h/p/x", 12, 1}, {"h/p/y", 11, 1}, {"h/z", 15, 0}},
         2,
         {{"h/p", 30}, {"h/z", 15}}},
    };
    for (const auto& [folders, max, expected] : cases)
        EXPECT_EQ(BigChunksScanner::chunks(folders, 10, max), expected) << folders.back().location;
}

// Claims (a folder and a file), the Trash and the photos library are left out, links not followed,
// hard links counted once, and a stop ends the walk.
TEST(BigChunks, ScannerListsUnexplainedFoldersOnly) {
    TempTree tree;
    auto context = contextFor(tree);
    const auto home = context.home;
    tree.filledFile("Users/anna/Movies/Trip/clip", 100 * kB);
    fs::create_hard_link(home / "Movies/Trip/clip", home / "Movies/Trip/copy");
    for (const char* elsewhere : {"Movies/Trip/render-cache/b", "Movies/Trip/old.render", ".Trash/b",
                                  "Pictures/Photos Library.photoslibrary/b"})
        tree.filledFile(home / elsewhere, 200 * kB);
    tree.link("Users/anna/Documents/movies", home / "Movies");
    for (int i = 0; i < 400; ++i) // enough folders that other threads take some of them
        tree.folder(home / "Movies/Trip/shots" / std::to_string(i) / "raw");
    context.claims->claim({home / "Movies/Trip/render-cache", home / "Movies/Trip/old.render"});
    context.earlierFindings = std::make_shared<const std::vector<Finding>>(
        std::vector<Finding>{makeFinding("appCaches.app", {home / "Movies/Trip/render-cache"}, 200 * kB)});

    const auto found = BigChunksScanner(50 * kB, 20, parallel).scan(context, {});
    ASSERT_EQ(found.value_or(std::vector<Finding>{}).size(), 1u);
    const auto& trip = found->front();
    EXPECT_EQ(trip.id, (FindingID{"personal.bigChunks", (home / "Movies/Trip").string()}));
    EXPECT_EQ(trip.method, RemovalMethod::hint(HintAction{HintAction::RevealInFinder{home / "Movies/Trip"}}));
    EXPECT_EQ(trip.size, 100 * kB);
    EXPECT_TRUE(trip.items.front().detail.value_or("").ends_with("in anderen Funden"));

    StopSource stop;
    stop.request_stop();
    EXPECT_FALSE(BigChunksScanner(1).scan(context, stop.get_token()).has_value());
    context.claims->claim({home.parent_path()});
    EXPECT_TRUE(BigChunksScanner(1).scan(context, {})->empty());
}

// Whatever the threshold, big chunks and catalog findings together never exceed the home, and no
// finding's item lies inside another's.
TEST(BigChunks, AllFindingsTogetherNeverExceedTheHome) {
    TempTree tree;
    for (const auto& [path, size] : std::vector<std::pair<const char*, std::int64_t>>{
             {"Library/Developer/Xcode/DerivedData/App-abc/Build/x.o", 120 * kB},
             {".npm/_cacache/content/a", 80 * kB},
             {"Projects/site/video.mov", 150 * kB},
             {"Documents/a/b/c/report.pdf", 90 * kB}})
        tree.filledFile(tree / "Users/anna" / path, static_cast<std::size_t>(size));
    const auto homeBytes = SizeMeter().size(tree / "Users/anna");
    for (std::int64_t threshold : {std::int64_t{1}, 100 * kB, BigChunksScanner::defaultThreshold}) {
        auto scanners = Catalog::scanners(PlatformLayout::macOS);
        std::erase_if(scanners, [](const auto& s) { return s->id() == "personal.bigChunks"; });
        scanners.push_back(std::make_shared<BigChunksScanner>(threshold, 3, parallel));
        const auto report = ScanEngine(scanners, std::chrono::seconds(30)).run(contextFor(tree));
        std::int64_t sum = 0;
        std::vector<Finding> each;
        for (const auto& finding : report.findings) {
            sum += finding.size.value_or(0);
            for (const auto& item : finding.items)
                each.push_back(makeFinding("x", {*item.url}));
        }
        EXPECT_LE(sum, homeBytes) << threshold;
        EXPECT_GE(sum, 200 * kB) << "the catalog still finds its caches";
        for (const auto& a : each) // each item's own 1000 bytes, nothing of another inside it
            EXPECT_EQ(PathClaims::reportedBytes(*a.items[0].url, each), 1000)
                << *a.items[0].url << " " << threshold;
    }
}
