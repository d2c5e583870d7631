// Which folders are big chunks, and that the one walk behind them counts like the size meter and
// never counts what another finding already shows.
#include "Doubles/FakeScanner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "Scanning/Catalog.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Scanning/Scanners/BigChunksScanner.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace velmora;
using namespace velmora::testing;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

std::int64_t allocatedBytes(const fs::path& root) {
    std::int64_t total = 0;
    std::set<std::pair<dev_t, ino_t>> seen;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        struct stat st {};
        if (::lstat(entry.path().c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
            seen.insert({st.st_dev, st.st_ino}).second)
            total += static_cast<std::int64_t>(st.st_blocks) * 512;
    }
    return total;
}

ScanContext contextFor(const TempTree& tree) {
    ScanContext context;
    context.rootPrefix = tree.root();
    context.home = tree / "Users/anna";
    context.userCacheDir = tree / "private/var/folders/xy/abc/C";
    context.userTempDir = tree / "private/var/folders/xy/abc/T";
    context.sizer = std::make_shared<SizeMeter>();
    context.tools = std::make_shared<ToolLocator>(ToolLocator{{}, [](const fs::path&) { return false; }});
    context.layout = PlatformLayout::macOS;
    return context;
}

constexpr std::size_t kB = 4096; // one block, so that allocated sizes are exact

} // namespace

TEST(BigChunks, TheDeepestFolderHoldingTheThresholdIsListedAndParentsOnlyForWhatIsLeft) {
    using F = SizeMeter::FolderTotal;
    struct Case {
        const char* what;
        std::vector<F> folders; // threshold 10
        std::size_t max;
        std::vector<BigChunk> expected;
    };
    const std::vector<Case> cases{
        {"deepest only",
         {{"/h", 30, -1}, {"/h/a", 25, 0}, {"/h/a/b", 25, 1}, {"/h/a/b/c", 22, 2}},
         20,
         {{"/h/a/b/c", 22}}},
        {"parent for the rest",
         {{"/h", 40, -1}, {"/h/a", 25, 0}, {"/h/a/b", 12, 1}},
         20,
         {{"/h/a", 13}, {"/h/a/b", 12}}},
        {"what a grandchild explains is gone from every ancestor",
         {{"/h", 100, -1}, {"/h/a", 30, 0}, {"/h/a/b", 25, 1}, {"/h/a/b/c", 20, 2}},
         20,
         {{"/h/a/b/c", 20}, {"/h/a", 10}}},
        {"home is never listed", {{"/h", 50, -1}, {"/h/a", 9, 0}, {"/h/b", 9, 0}}, 20, {}},
        {"too many: the smallest goes back to its parent, which may then qualify",
         {{"/h", 100, -1}, {"/h/p", 30, 0}, {"/h/p/x", 12, 1}, {"/h/p/y", 11, 1}, {"/h/z", 15, 0}},
         2,
         {{"/h/p", 30}, {"/h/z", 15}}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(BigChunksScanner::chunks(c.folders, 10, c.max), c.expected) << c.what;
}

// One walk under several threads yields the same totals as measuring each folder on its own.
TEST(BigChunks, FolderTotalsMatchSeparateMeasurementsAndLeaveOutWhatIsExcluded) {
    TempTree tree;
    for (int i = 0; i < 40; ++i)
        tree.filledFile("w/d" + std::to_string(i % 7) + "/s" + std::to_string(i) + "/f", kB * (1 + i % 3));
    tree.filledFile("w/d1/skip/me", 50 * kB);
    tree.filledFile("w/d2/skipfile", 50 * kB);
    SizeMeter::Exclusions leaveOut;
    leaveOut.add({"d1", "skip"});
    leaveOut.add({"d2", "skipfile"});
    for (unsigned threads : {1U, 4U}) {
        const SizeMeter meter({.threads = threads, .parallelAfterDirectories = 1});
        const auto totals = meter.measureFolders(tree / "w", leaveOut, 0);
        ASSERT_EQ(totals.folders.size(), 1u + 7 + 40 + 0) << threads; // the skipped folder is not walked
        for (const auto& folder : totals.folders) {
            auto expected = SizeMeter().size(folder.location);
            if (folder.location == tree / "w" || folder.location == tree / "w/d1")
                expected -= 50 * kB;
            if (folder.location == tree / "w" || folder.location == tree / "w/d2")
                expected -= 50 * kB;
            EXPECT_EQ(folder.bytes, expected) << folder.location << " threads " << threads;
            if (folder.parent >= 0) {
                EXPECT_EQ(totals.folders[static_cast<std::size_t>(folder.parent)].location,
                          folder.location.parent_path());
            }
        }
    }
}

// The scanner on a real tree: claims, the Trash and the photos library are left out, links are not
// followed, hard links count once, and a stop ends the walk.
TEST(BigChunks, ScannerListsUnexplainedFoldersOnly) {
    TempTree tree;
    auto context = contextFor(tree);
    const auto home = context.home;
    tree.filledFile("Users/anna/Movies/Trip/clip", 100 * kB);
    ::link((home / "Movies/Trip/clip").c_str(), (home / "Movies/Trip/copy").c_str());
    tree.filledFile("Users/anna/Movies/poster", 10 * kB);
    tree.filledFile("Users/anna/Movies/Trip/render-cache/blob", 200 * kB);
    tree.filledFile("Users/anna/.Trash/old", 200 * kB);
    tree.filledFile("Users/anna/Pictures/Photos Library.photoslibrary/db", 200 * kB);
    tree.link("Users/anna/Documents/movies", home / "Movies");
    context.claims->claim({home / "Movies/Trip/render-cache"});
    context.earlierFindings = std::make_shared<const std::vector<Finding>>(
        std::vector<Finding>{makeFinding("appCaches.app", {home / "Movies/Trip/render-cache"}, 200 * kB)});

    BigChunksScanner scanner(50 * kB);
    const auto found = scanner.scan(context, {});
    ASSERT_TRUE(found.has_value());
    ASSERT_EQ(found->size(), 1u);
    const auto& finding = found->front();
    EXPECT_EQ(finding.id, (FindingID{"personal.bigChunks", (home / "Movies/Trip").string()}));
    EXPECT_EQ(finding.risk, Risk::hintOnly);
    EXPECT_EQ(finding.method,
              RemovalMethod::hint(HintAction{HintAction::RevealInFinder{home / "Movies/Trip"}}));
    EXPECT_EQ(finding.size, 100 * kB);
    EXPECT_EQ(finding.items.front().name, "Movies/Trip");
    EXPECT_TRUE(finding.items.front().detail.value_or("").ends_with("in anderen Funden"));

    // With a threshold as small as the poster, Movies is listed for it beside its listed Trip.
    const auto small = BigChunksScanner(10 * kB).scan(context, {});
    ASSERT_TRUE(small.has_value());
    ASSERT_EQ(small->size(), 2u);
    EXPECT_EQ(small->at(1).items.front().url, home / "Movies");
    EXPECT_EQ(small->at(1).size, 10 * kB);

    context.claims->claim({home.parent_path()});
    EXPECT_TRUE(scanner.scan(context, {})->empty());

    StopSource stop;
    stop.request_stop();
    EXPECT_FALSE(BigChunksScanner(1).scan(contextFor(tree), stop.get_token()).has_value());
}

// Whatever the threshold, big chunks and catalog findings together never exceed the home, and no
// finding's item lies inside another's.
TEST(BigChunks, AllFindingsTogetherNeverExceedTheHome) {
    TempTree tree;
    const auto home = tree / "Users/anna";
    tree.filledFile("Users/anna/Library/Developer/Xcode/DerivedData/App-abc/Build/x.o", 120 * kB);
    tree.filledFile("Users/anna/.npm/_cacache/content/a", 80 * kB);
    tree.filledFile("Users/anna/Projects/site/node_modules/lib/index.js", 60 * kB);
    tree.filledFile("Users/anna/Projects/site/video.mov", 150 * kB);
    tree.filledFile("Users/anna/Library/Application Support/Game/world", 200 * kB);
    tree.filledFile("Users/anna/Documents/a/b/c/report.pdf", 90 * kB);
    const auto homeBytes = allocatedBytes(home);

    for (std::int64_t threshold : {std::int64_t{1}, std::int64_t{50 * kB}, std::int64_t{100 * kB},
                                   BigChunksScanner::defaultThreshold}) {
        auto scanners = Catalog::scanners(PlatformLayout::macOS);
        std::erase_if(scanners, [](const auto& s) { return s->id() == "personal.bigChunks"; });
        scanners.push_back(std::make_shared<BigChunksScanner>(threshold, 3));
        const auto report = ScanEngine(scanners, 30s).run(contextFor(tree));
        EXPECT_TRUE(report.failures.empty()) << report.failures.front().message;
        std::int64_t sum = 0;
        std::vector<fs::path> items;
        for (const auto& finding : report.findings) {
            sum += finding.size.value_or(0);
            for (const auto& item : finding.items)
                items.push_back(*item.url);
        }
        EXPECT_LE(sum, homeBytes) << "threshold " << threshold;
        EXPECT_LE(report.bigChunks.size(), 3u);
        EXPECT_GE(sum, 120 * kB + 80 * kB) << "the catalog still finds its caches";
        for (const auto& a : items)
            for (const auto& b : items) {
                if (a != b) {
                    EXPECT_EQ(PathClaims::reportedBytes(a, {makeFinding("x", {b})}), 0)
                        << b << " lies inside " << a << " (threshold " << threshold << ")";
                }
            }
    }
}
