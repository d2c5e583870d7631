#include "Performance/IndexingAdvice.hpp"

#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

#include <map>

using namespace velmora;
using velmora::testing::TempTree;

namespace {

namespace fs = std::filesystem;

// Sizes are given per folder, so that the test needs no big files.
class TableSizer : public SizeMeasurer {
public:
    std::int64_t size(const fs::path& location, StopToken) const override {
        measured.push_back(location);
        return location.filename() == "small" || location.parent_path().filename() == "small" ? 1000
                                                                                              : 500'000'000;
    }
    mutable std::vector<fs::path> measured;
};

std::vector<fs::path> folders(const std::vector<IndexingHint>& hints, const fs::path& home) {
    std::vector<fs::path> result;
    for (const IndexingHint& hint : hints)
        result.push_back(hint.folder.lexically_relative(home));
    std::ranges::sort(result);
    return result;
}

// A home with developer folders of every kind, some excluded in each indexer's own way.
void buildHome(const TempTree& home) {
    home.folder("code/web/node_modules/left-pad");
    home.folder("code/web/node_modules/deep/node_modules");
    home.file("code/rust/Cargo.toml");
    home.folder("code/rust/target/debug");
    home.folder("code/photos/target"); // just a folder named target
    home.file("code/cpp/CMakeLists.txt");
    home.folder("code/cpp/build");
    home.file("code/py/.venv/pyvenv.cfg");
    home.file("code/quiet/node_modules/.metadata_never_index");
    home.folder("code/old.noindex/node_modules");
    home.folder("code/small/node_modules");
    home.folder("Library/Caches/node_modules");
    home.folder("Library/Developer/Xcode/DerivedData/App-abc");
    home.folder("Documents/site/node_modules");
    home.folder("Documents/repo/.git");
    home.folder("Documents/repo/node_modules");
    home.folder(".hidden/node_modules");
    home.folder("code/.git/node_modules");
}

} // namespace

TEST(IndexingAdvice, FindsIndexedDeveloperFoldersPerIndexer) {
    TempTree home;
    buildHome(home);
    const auto sizes = std::make_shared<TableSizer>();
    IndexingAdvice::Setup setup{.layout = PlatformLayout::macOS, .home = home.root(), .sizes = sizes};

    const std::vector<IndexingHint> spotlight = IndexingAdvice::find(setup);
    EXPECT_EQ(folders(spotlight, home.root()),
              (std::vector<fs::path>{".hidden/node_modules", "Documents/repo/node_modules",
                                     "Documents/site/node_modules", "Library/Developer/Xcode/DerivedData",
                                     "code/cpp/build", "code/py/.venv", "code/rust/target",
                                     "code/web/node_modules"}));
    const IndexingHint& web =
        *std::ranges::find(spotlight, home("code/web/node_modules"), &IndexingHint::folder);
    EXPECT_EQ(web.size, 500'000'000);
    EXPECT_NE(web.text.find("touch " + (home("code/web/node_modules") / ".metadata_never_index").string()),
              std::string::npos)
        << web.text;
    EXPECT_NE(web.text.find("500 MB"), std::string::npos) << web.text;

    // Linux without an indexer: nothing to advise, nothing measured.
    setup.layout = PlatformLayout::linux;
    sizes->measured.clear();
    EXPECT_TRUE(IndexingAdvice::find(setup).empty());
    EXPECT_TRUE(sizes->measured.empty());

    // Tracker: only its default folders; a project under git is ignored by it as a whole.
    setup.runningPrograms = {"bash", "tracker-miner-f"};
    const std::vector<IndexingHint> tracker = IndexingAdvice::find(setup);
    EXPECT_EQ(folders(tracker, home.root()), (std::vector<fs::path>{"Documents/site/node_modules"}));
    EXPECT_NE(tracker.front().text.find("/.trackerignore"), std::string::npos);

    // Baloo: the home folder, its built-in filters (node_modules, virtual environments), hidden folders
    // left out, and the folders the user excluded.
    setup.runningPrograms.clear();
    home.file(".config/baloofilerc",
              "[General]\nfolders[$e]=$HOME/\nexclude folders[$e]=$HOME/code/cpp/build/\n");
    EXPECT_EQ(folders(IndexingAdvice::find(setup), home.root()),
              (std::vector<fs::path>{"Library/Developer/Xcode/DerivedData", "code/rust/target"}));
    home.file(".config/baloofilerc", "[Basic Settings]\nIndexing-Enabled=false\n");
    EXPECT_TRUE(IndexingAdvice::find(setup).empty());

    // The walk is bounded and stops when asked.
    setup.layout = PlatformLayout::macOS;
    setup.maxDepth = 1;
    EXPECT_EQ(folders(IndexingAdvice::find(setup), home.root()),
              (std::vector<fs::path>{".hidden/node_modules", "Library/Developer/Xcode/DerivedData"}));
    StopSource stop;
    stop.request_stop();
    EXPECT_TRUE(IndexingAdvice::find(setup, stop.get_token()).empty());
}
