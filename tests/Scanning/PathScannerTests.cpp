#include "Doubles/TempTree.hpp"
#include "Scanning/Catalog.hpp"
#include "Scanning/PathScanner.hpp"
#include "Scanning/ScanContext.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include <sys/stat.h>

using namespace velmora;
using namespace std::chrono_literals;
using velmora::testing::TempTree;

namespace {

namespace fs = std::filesystem;

// Counts logical bytes of regular files without following links: enough to see what was measured.
class LogicalSizer : public SizeMeasurer {
public:
    std::int64_t size(const fs::path& location, StopToken) const override {
        struct stat st {};
        if (::lstat(location.c_str(), &st) != 0 || S_ISLNK(st.st_mode))
            return 0;
        if (S_ISREG(st.st_mode))
            return st.st_size;
        std::int64_t total = 0;
        std::error_code ec;
        for (fs::recursive_directory_iterator it(location, ec), end; !ec && it != end; it.increment(ec))
            if (it->is_regular_file(ec) && !it->is_symlink(ec))
                total += static_cast<std::int64_t>(it->file_size(ec));
        return total;
    }
};

ScanContext contextFor(const TempTree& tree) {
    ScanContext context;
    context.rootPrefix = tree.root();
    context.home = tree / "Users/anna";
    context.userCacheDir = tree / "private/var/folders/xy/abc/C";
    context.sizer = std::make_shared<LogicalSizer>();
    context.tools = std::make_shared<ToolLocator>(ToolLocator{{}, [](const fs::path&) { return false; }});
    context.now = std::chrono::system_clock::now();
    return context;
}

std::vector<Finding> scan(const PathRule& rule, const ScanContext& context) {
    auto result = PathScanner(rule).scan(context, {});
    EXPECT_TRUE(result.has_value());
    return result.value_or(std::vector<Finding>{});
}

std::vector<std::string> itemNames(const Finding& finding) {
    std::vector<std::string> names;
    for (const auto& item : finding.items)
        names.push_back(item.name);
    return names;
}

void setAge(const fs::path& path, std::chrono::system_clock::time_point when) {
    const auto secs = std::chrono::duration_cast<std::chrono::seconds>(when.time_since_epoch()).count();
    const struct timespec times[2] = {{secs, 0}, {secs, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

void writeArchive(const TempTree& tree, const std::string& relative, const std::string& creationDate) {
    tree.file("Users/anna/Library/Developer/Xcode/Archives/" + relative + "/Info.plist",
              creationDate.empty()
                  ? "not a plist"
                  : R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
                    "<key>CreationDate</key><date>" +
                        creationDate + "</date><key>Name</key><string>x</string></dict></plist>");
}

} // namespace

TEST(PathScanner, WildcardsMatchVisibleEntriesAndNameHuggingFaceModels) {
    TempTree tree;
    const auto context = contextFor(tree);
    const auto& rule = Catalog::rule("ai.huggingFace");
    EXPECT_TRUE(scan(rule, context).empty());         // nothing there: no finding, not an empty one
    tree.folder("Users/anna/.cache/huggingface/hub"); // a folder that matches nothing
    EXPECT_TRUE(scan(rule, context).empty());

    tree.file("Users/anna/.cache/huggingface/hub/models--meta--llama--3/blob", std::string(300, 'x'));
    tree.file("Users/anna/.cache/huggingface/hub/datasets--squad/data", std::string(50, 'x'));
    tree.file("Users/anna/.cache/huggingface/hub/.models--hidden/x", "hidden");
    tree.file("Users/anna/.cache/huggingface/hub/version.txt", "1");
    const auto findings = scan(rule, context);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(itemNames(findings[0]), (std::vector<std::string>{"meta/llama/3", "squad"}));
    EXPECT_EQ(findings[0].size, 350);
    EXPECT_EQ(findings[0].category, Category::aiLeftovers);
    EXPECT_EQ(findings[0].items[0].url, tree / "Users/anna/.cache/huggingface/hub/models--meta--llama--3");
    EXPECT_EQ(findings[0].commandPreview,
              "rm -rf " + (tree / "Users/anna/.cache/huggingface/hub/models--meta--llama--3").string() + " " +
                  (tree / "Users/anna/.cache/huggingface/hub/datasets--squad").string());
}

TEST(PathScanner, SymbolicLinksAndTheRubyCredentialsFileAreNeitherFollowedNorMatched) {
    TempTree tree;
    const auto context = contextFor(tree);
    tree.file("elsewhere/DerivedData/Big/file", std::string(5000, 'x'));
    tree.file("elsewhere/Project/file", std::string(700, 'x'));
    tree.folder("Users/anna/Library/Developer/Xcode");
    // A link on the way to the pattern, and a link that is itself a match.
    tree.link("Users/anna/Library/Developer/Xcode/DerivedData", tree / "elsewhere/DerivedData");
    EXPECT_TRUE(scan(Catalog::rule("xcode.derivedData"), context).empty());

    fs::remove(tree / "Users/anna/Library/Developer/Xcode/DerivedData");
    tree.file("Users/anna/Library/Developer/Xcode/DerivedData/App-abc/x", std::string(100, 'x'));
    tree.link("Users/anna/Library/Developer/Xcode/DerivedData/Linked", tree / "elsewhere/Project");
    const auto findings = scan(Catalog::rule("xcode.derivedData"), context);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(itemNames(findings[0]), std::vector<std::string>{"App-abc"});
    EXPECT_EQ(findings[0].size, 100);

    tree.file("Users/anna/.gem/credentials", "---\n:rubygems_api_key: secret\n");
    tree.file("Users/anna/.gem/specs/index", std::string(40, 'x'));
    tree.file("Users/anna/.gem/ruby/3.3.0/gems/x", std::string(60, 'x'));
    EXPECT_EQ(itemNames(scan(Catalog::rule("languages.ruby"), context).at(0)),
              (std::vector<std::string>{"ruby", "specs"}));
}

TEST(PathScanner, ArchivesAreNewestFirstWithUndatedOnesLastInFoundOrder) {
    TempTree tree;
    const auto context = contextFor(tree);
    writeArchive(tree, "2026-01-01/A 10.00.xcarchive", "2026-01-01T10:00:00Z");
    writeArchive(tree, "2026-01-01/B 10.00.xcarchive", "2026-01-01T10:00:00Z");
    writeArchive(tree, "2026-03-05/C.xcarchive", "2026-03-05T08:00:00Z");
    writeArchive(tree, "2025-12-24/Broken.xcarchive", "");
    writeArchive(tree, "2026-02-02/NoDate.xcarchive", "");
    const auto findings = scan(Catalog::rule("xcode.archives"), context);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(itemNames(findings[0]),
              (std::vector<std::string>{"C", "A 10.00", "B 10.00", "Broken", "NoDate"}));
    ASSERT_TRUE(findings[0].items[0].date);
    EXPECT_EQ(*findings[0].items[0].date, std::chrono::sys_days{std::chrono::year{2026} / 3 / 5} + 8h);
    EXPECT_FALSE(findings[0].items[3].date);
    EXPECT_EQ(findings[0].method, RemovalMethod::trash());
    EXPECT_TRUE(findings[0].commandPreview->starts_with("In den Papierkorb: " + tree.root().string()));
}

// The age filter counts from the context's now, not the clock's.
TEST(PathScanner, MinimumSizeAgeClaimsAndCompanionFilesShapeTheItems) {
    TempTree tree;
    auto context = contextFor(tree);
    PathRule rule = Catalog::rule("system.iosUpdates");
    rule.patterns = {"Library/iTunes/iPhone Software Updates/*.ipsw"};
    rule.companionExtensions = {"signature"};
    rule.minSize = 10;
    rule.minAgeDays = 30;
    for (const auto& [name, size] : std::vector<std::pair<std::string, std::size_t>>{
             {"iPhone15.ipsw", 100}, {"iPhone15.signature", 20}, {"tiny.ipsw", 1}, {"claimed.ipsw", 100}})
        setAge(tree.file("Users/anna/Library/iTunes/iPhone Software Updates/" + name, std::string(size, 'x')),
               context.now - 31 * 24h);
    setAge(tree.file("Users/anna/Library/iTunes/iPhone Software Updates/recent.ipsw", std::string(100, 'x')),
           context.now - 29 * 24h);
    context.claims->claim({tree / "Users/anna/Library/iTunes/iPhone Software Updates/claimed.ipsw"});
    const auto findings = scan(rule, context);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(itemNames(findings[0]), (std::vector<std::string>{"iPhone15.ipsw", "iPhone15.signature"}));
    EXPECT_EQ(findings[0].size, 120);
}

TEST(PathScanner, ToolRowsFallBackOrBecomeHintsWithoutTheirToolAndAbsoluteRowsStayInTheRoot) {
    TempTree tree;
    auto context = contextFor(tree);
    tree.file("Users/anna/.npm/_cacache/index", std::string(10, 'x'));
    tree.file("Users/anna/Library/pnpm/store/v3/x", std::string(10, 'x'));

    auto npm = scan(Catalog::rule("languages.npm"), context);
    ASSERT_EQ(npm.size(), 1u);
    EXPECT_EQ(npm[0].method, RemovalMethod::deleteDirectly());
    auto pnpm = scan(Catalog::rule("languages.pnpm"), context);
    ASSERT_EQ(pnpm.size(), 1u);
    EXPECT_EQ(pnpm[0].risk, Risk::hintOnly);
    EXPECT_EQ(pnpm[0].method.kind(), RemovalKind::hint);

    context.tools = std::make_shared<ToolLocator>(
        ToolLocator{{"/opt/homebrew/bin"}, [](const fs::path& p) { return p.filename() != "go"; }});
    npm = scan(Catalog::rule("languages.npm"), context);
    EXPECT_EQ(npm[0].method, Catalog::rule("languages.npm").method);
    EXPECT_EQ(npm[0].commandPreview, "npm cache clean --force");
    pnpm = scan(Catalog::rule("languages.pnpm"), context);
    EXPECT_EQ(pnpm[0].risk, Risk::safe);
    EXPECT_EQ(pnpm[0].commandPreview, "pnpm store prune");

    // Absolute rows resolve below the root prefix; their hint shows the place instead of a command.
    tree.file("Library/Developer/CommandLineTools/usr/bin/clang", std::string(64, 'x'));
    const auto findings = scan(Catalog::rule("xcode.libraryDeveloper"), context);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].risk, Risk::hintOnly);
    EXPECT_EQ(findings[0].method, RemovalMethod::hint(HintAction{HintAction::RevealInFinder{
                                      tree / "Library/Developer/CommandLineTools"}}));
    EXPECT_EQ(findings[0].commandPreview, std::nullopt);
}

TEST(Catalog, EveryRowIsFiledUnderItsIdentifiersCategory) {
    const auto& rules = Catalog::rules(PlatformLayout::macOS);
    EXPECT_EQ(rules.size(), 47u);
    for (const auto& rule : rules) {
        EXPECT_EQ(categoryForScannerID(rule.id), rule.category) << rule.id;
        EXPECT_FALSE(rule.summary.empty()) << rule.id;
        EXPECT_EQ(&Catalog::rule(rule.id), &rule);
        // Hint rows only ever explain.
        EXPECT_EQ(rule.risk == Risk::hintOnly, rule.method.kind() == RemovalKind::hint) << rule.id;
    }
    for (const char* id : {"toolchains.docker", "toolchains.utm", "toolchains.parallels",
                           "toolchains.orbstack", "toolchains.arduinoPackages", "xcode.libraryDeveloper"})
        EXPECT_EQ(Catalog::rule(id).method.kind(), RemovalKind::hint) << id;

    // The Linux layout keeps only rows that exist there, with their Linux places.
    for (const auto& rule : Catalog::rules(PlatformLayout::linux))
        EXPECT_FALSE(rule.id.starts_with("xcode.")) << rule.id;
    // One scanner per rule, in table order, before the specialised scanners.
    const auto scanners = Catalog::scanners(PlatformLayout::macOS);
    ASSERT_GE(scanners.size(), rules.size());
    for (std::size_t i = 0; i < rules.size(); ++i)
        EXPECT_EQ(scanners[i]->id(), rules[i].id);
}

// A Linux home whose cache folder was moved ($XDG_CACHE_HOME) and whose pnpm lives elsewhere: each row
// finds exactly its folders there, and what is left in ~/.cache is no longer looked at.
TEST(Catalog, LinuxRowsLookInTheCacheFolderPnpmHomeAndTheHome) {
    struct Case {
        std::string id;
        std::vector<std::string> files;    // below the tree
        std::vector<std::string> expected; // item paths below the tree, sorted
        bool selectable = false;
    };
    const std::vector<Case> cases = {
        {"languages.pip", {"xdg/pip/http/a", "home/anna/.cache/pip/stale"}, {"xdg/pip"}},
        {"ai.lmStudio",
         {"home/anna/.lmstudio/models/org/m1/w", "xdg/lm-studio/x"},
         {"home/anna/.lmstudio/models/org/m1", "xdg/lm-studio"},
         true},
        {"languages.pnpm", {"pnpm/store/v10/x", "home/anna/.local/share/pnpm/store/v3/x"}, {"pnpm/store"}},
        {"system.thumbnails", {"xdg/thumbnails/large/a.png"}, {"xdg/thumbnails"}},
        {"appCaches.flatpak",
         {"home/anna/.var/app/org.gimp.GIMP/cache/x", "home/anna/.var/app/org.gimp.GIMP/data/keep",
          "home/anna/.var/app/com.spotify.Client/cache/y"},
         {"home/anna/.var/app/com.spotify.Client/cache", "home/anna/.var/app/org.gimp.GIMP/cache"},
         true},
        {"appCaches.vscode",
         {"home/anna/.config/Code/CachedData/abc/x", "home/anna/.config/Code/User/settings.json"},
         {"home/anna/.config/Code/CachedData"}},
        {"appCaches.jetbrains", {"xdg/JetBrains/CLion2024.1/caches/x"}, {"xdg/JetBrains/CLion2024.1"}, true},
        {"appCaches.telegram",
         {"home/anna/.local/share/TelegramDesktop/tdata/user_data/media/x",
          "home/anna/.local/share/TelegramDesktop/tdata/key_datas"},
         {"home/anna/.local/share/TelegramDesktop/tdata/user_data"}},
        {"languages.jvmCaches",
         {"home/anna/.ivy2/cache/org/x", "xdg/coursier/v1/x"},
         {"home/anna/.ivy2/cache", "xdg/coursier"}},
        {"languages.clangModules", {"xdg/clang/ModuleCache/ABC/x.pcm"}, {"xdg/clang/ModuleCache"}},
    };
    for (const auto& c : cases) {
        TempTree tree;
        auto context = contextFor(tree);
        context.home = tree / "home/anna";
        context.userCacheDir = tree / "xdg";
        context.pnpmHome = tree / "pnpm";
        for (const auto& file : c.files)
            tree.file(file, "data");
        const auto findings = scan(Catalog::rule(c.id, PlatformLayout::linux), context);
        ASSERT_EQ(findings.size(), 1u) << c.id;
        std::vector<std::string> found;
        for (const auto& item : findings[0].items)
            found.push_back(item.url->lexically_relative(tree.root()).string());
        std::ranges::sort(found);
        EXPECT_EQ(found, c.expected) << c.id;
        EXPECT_EQ(findings[0].itemsSelectable, c.selectable) << c.id;
    }
    EXPECT_EQ(PathScanner::displayName("/h/.var/app/org.gimp.GIMP/cache", MatchName::parentComponent),
              "org.gimp.GIMP");
}

TEST(CatalogDeathTest, UnknownRuleIdStopsTheProgram) {
    EXPECT_DEATH((void)Catalog::rule("languages.cobol"), "Unbekannte PathRule-ID: languages.cobol");
}

TEST(OldLogsScanner, CountsOnlyOldFilesAndLeavesSimulatorLogsToTheirOwnFinding) {
    TempTree tree;
    auto context = contextFor(tree);
    const auto old = tree.file("Users/anna/Library/Logs/App/old.log", std::string(40, 'o'));
    const auto recent = tree.file("Users/anna/Library/Logs/App/recent.log", std::string(50, 'r'));
    const auto oldTop = tree.file("Users/anna/Library/Logs/top.log", std::string(10, 't'));
    const auto simulator = tree.file("Users/anna/Library/Logs/CoreSimulator/sim.log", std::string(70, 's'));
    tree.link("Users/anna/Library/Logs/linked", tree / "elsewhere");
    tree.file("elsewhere/ancient.log", std::string(90, 'e'));
    for (const auto& path : {old, oldTop, simulator, tree / "elsewhere/ancient.log"})
        setAge(path, context.now - 40 * 24h);
    setAge(recent, context.now - 29 * 24h);

    const auto scanners = Catalog::scanners(PlatformLayout::macOS);
    const auto oldLogs = std::ranges::find(scanners, std::string("system.oldLogs"), &Scanner::id);
    ASSERT_NE(oldLogs, scanners.end());
    auto result = (*oldLogs)->scan(context, {});
    ASSERT_TRUE(result);
    ASSERT_EQ(result->size(), 1u);
    const auto& finding = result->front();
    EXPECT_EQ(itemNames(finding), (std::vector<std::string>{"App/old.log", "top.log"}));
    EXPECT_EQ(finding.size, 50);
    EXPECT_EQ(finding.method, RemovalMethod::trash());
    EXPECT_EQ(finding.category, Category::system);
}
