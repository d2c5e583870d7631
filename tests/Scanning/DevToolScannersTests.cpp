#include "Scanning/Scanners/CondaScanner.hpp"
#include "Scanning/Scanners/HomebrewScanner.hpp"
#include "Scanning/Scanners/OllamaScanner.hpp"
#include "Scanning/Scanners/RustupScanner.hpp"
#include "Scanning/Scanners/TexLiveScanner.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/ScanContext.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

using namespace velmora;
using velmora::testing::occupiedBytes;
using velmora::testing::TempTree;
namespace fs = std::filesystem;

namespace {

std::string fixture(const std::string& name) {
    std::ifstream file(fs::path(VELMORA_FIXTURES) / "devtools" / name);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

// A Mac-shaped tree whose tools are stand-ins: the locator sees the files in `installed`, the runner
// answers what the test scripts.
struct DevTree {
    TempTree tree;
    ScanContext context;
    std::shared_ptr<test::ScriptedCommandRunner> runner = std::make_shared<test::ScriptedCommandRunner>();
    std::set<fs::path> installed;

    explicit DevTree(PlatformLayout layout = PlatformLayout::macOS) {
        context.home = tree.folder("Users/anna");
        context.rootPrefix = tree.root();
        context.layout = layout;
        context.sizer = std::make_shared<SizeMeter>();
        context.runner = runner;
        context.tools = std::make_shared<ToolLocator>(
            ToolLocator{{tree / "opt/homebrew/bin", context.home / ".cargo/bin", tree / "usr/local/bin"},
                        [this](const fs::path& p) { return installed.contains(p); }});
        SafetyGuard::Setup setup;
        setup.layout = layout;
        setup.rootPrefix = tree.root();
        setup.home = "/Users/anna";
        context.safety = std::make_shared<const SafetyGuard>(setup);
    }
    fs::path tool(const std::string& folder, const std::string& name) {
        return *installed.insert(tree / folder / name).first;
    }
};

std::vector<std::string> names(const Finding& finding) {
    std::vector<std::string> result;
    for (const auto& item : finding.items)
        result.push_back(item.name + "=" + std::to_string(item.size.value_or(-1)));
    return result;
}

} // namespace

TEST(DevToolScanners, HomebrewOffersWhatTheDryRunsListWithMeasuredSizes) {
    DevTree dev;
    const auto brew = dev.tool("opt/homebrew/bin", "brew");
    const auto keg = dev.tree.filledFile("opt/homebrew/Cellar/openssl@3/3.2.0_1/lib/libssl.a", 20000);
    const auto bottle = dev.tree.filledFile(
        "Users/anna/Library/Caches/Homebrew/wget--1.21.4.arm64_sonoma.bottle.tar.gz", 9000);
    const auto font =
        dev.tree.filledFile("Users/anna/Library/Caches/Homebrew/downloads/Font (Bold) Pack.zip", 3000);
    const auto m4 = dev.tree.filledFile("opt/homebrew/Cellar/m4/1.4.19/bin/m4", 5000);
    dev.runner->expect(brew, {"cleanup", "--prune=all", "--dry-run"})
        .returns(0, fixture("brew-cleanup-dry-run.txt"));
    dev.runner->expect(brew, {"autoremove", "--dry-run"}).returns(0, fixture("brew-autoremove-dry-run.txt"));

    const auto found = HomebrewScanner().scan(dev.context, {});
    ASSERT_TRUE(found) << found.error().message;
    ASSERT_EQ(found->size(), 2u);
    const auto& cleanup = found->at(0);
    // The logs folder is gone since the dry run: it counts nothing, but brew will still be asked.
    EXPECT_EQ(names(cleanup),
              (std::vector<std::string>{
                  "3.2.0_1=" + std::to_string(occupiedBytes(keg)),
                  "wget--1.21.4.arm64_sonoma.bottle.tar.gz=" + std::to_string(occupiedBytes(bottle)),
                  "Font (Bold) Pack.zip=" + std::to_string(occupiedBytes(font)), "wget=0"}));
    EXPECT_EQ(cleanup.items[0].url, dev.tree / "opt/homebrew/Cellar/openssl@3/3.2.0_1");
    EXPECT_EQ(cleanup.size, occupiedBytes(keg) + occupiedBytes(bottle) + occupiedBytes(font));
    EXPECT_EQ(cleanup.title, "Homebrew-Fund");
    EXPECT_EQ(cleanup.category, Category::homebrew);
    EXPECT_EQ(cleanup.risk, Risk::safe);
    EXPECT_EQ(cleanup.commandPreview, "brew cleanup --prune=all");

    const auto& unneeded = found->at(1);
    EXPECT_EQ(unneeded.id, (FindingID{"brew.cleanup", "autoremove"}));
    EXPECT_EQ(names(unneeded), (std::vector<std::string>{
                                   "libyaml=0", "homebrew/core/m4=" + std::to_string(occupiedBytes(m4))}));
    EXPECT_EQ(unneeded.risk, Risk::review);
    EXPECT_EQ(unneeded.commandPreview, "brew autoremove");
}

TEST(DevToolScanners, CondaOffersTheCacheEntriesThatExist) {
    DevTree dev;
    const auto conda = dev.tool("Users/anna/.cargo/bin", "conda"); // any folder the locator searches
    const auto tarball =
        dev.tree.filledFile("Users/anna/miniconda3/pkgs/python-3.11.5-hb885b13_0.conda", 7000);
    const auto unpacked =
        dev.tree.filledFile("Users/anna/miniconda3/pkgs/zlib-1.2.13-h5a0b063_0/lib/libz.a", 4000);
    dev.runner->expect(conda, {"clean", "--all", "--dry-run", "--json"})
        .returns(0, fixture("conda-clean-dry-run.json"));

    const auto found = CondaScanner().scan(dev.context, {});
    ASSERT_TRUE(found) << found.error().message;
    ASSERT_EQ(found->size(), 1u);
    // The second tarball and the index cache are named but not there.
    EXPECT_EQ(
        names(found->front()),
        (std::vector<std::string>{"python-3.11.5-hb885b13_0.conda=" + std::to_string(occupiedBytes(tarball)),
                                  "zlib-1.2.13-h5a0b063_0=" + std::to_string(occupiedBytes(unpacked))}));
    EXPECT_EQ(found->front().category, Category::languages);
    EXPECT_EQ(found->front().commandPreview, "conda clean --all --yes");
}

TEST(DevToolScanners, OllamaAndRustupOfferOneFindingPerModelOrUnusedToolchain) {
    DevTree dev;
    const auto ollama = dev.tool("usr/local/bin", "ollama");
    const auto rustup = dev.tool("Users/anna/.cargo/bin", "rustup");
    const auto nightly =
        dev.tree.filledFile("Users/anna/.rustup/toolchains/nightly-aarch64-apple-darwin/bin/rustc", 6000);
    dev.runner->expect(ollama, {"list"}).returns(0, fixture("ollama-list.txt"));
    dev.runner->expect(rustup, {"toolchain", "list"}).returns(0, fixture("rustup-toolchain-list.txt"));
    dev.runner->expect(rustup, {"override", "list"}).returns(0, fixture("rustup-override-list.txt"));

    const auto models = OllamaScanner().scan(dev.context, {});
    ASSERT_TRUE(models) << models.error().message;
    ASSERT_EQ(models->size(), 3u);
    EXPECT_EQ(names(models->at(0)), std::vector<std::string>{"llama3.1:8b=4700000000"});
    EXPECT_EQ(names(models->at(1)), std::vector<std::string>{"qwen2.5-coder:1.5b=986000000"});
    EXPECT_EQ(models->at(0).items[0].date, dev.context.now - std::chrono::hours{24 * 21});
    EXPECT_EQ(models->at(1).items[0].date, dev.context.now - std::chrono::hours{1});
    EXPECT_EQ(models->at(1).commandPreview, "ollama rm qwen2.5-coder:1.5b");
    EXPECT_EQ(models->at(1).category, Category::aiLeftovers);

    // stable is the default, 1.70.0 pinned by a folder, beta by a short override name.
    const auto toolchains = RustupScanner().scan(dev.context, {});
    ASSERT_TRUE(toolchains) << toolchains.error().message;
    ASSERT_EQ(toolchains->size(), 1u);
    EXPECT_EQ(names(toolchains->front()), std::vector<std::string>{"nightly-aarch64-apple-darwin=" +
                                                                   std::to_string(occupiedBytes(nightly))});
    EXPECT_EQ(toolchains->front().commandPreview, "rustup toolchain uninstall nightly-aarch64-apple-darwin");
    EXPECT_EQ(toolchains->front().category, Category::toolchains);
}

TEST(DevToolScanners, ToolsThatAreMissingFailOrPrintNonsenseNeverYieldAFinding) {
    struct Case {
        std::string tool;
        std::function<std::expected<std::vector<Finding>, ScanError>(const ScanContext&)> scan;
        std::string output;
    };
    const auto run = [](auto scanner) {
        return [scanner](const ScanContext& c) mutable { return scanner.scan(c, {}); };
    };
    const std::vector<Case> cases = {
        {"brew", run(HomebrewScanner()), "Would remove: relative/path (1KB)\n"},
        {"brew", run(HomebrewScanner()), "==> Would autoremove 3 unneeded formulae:\nlibyaml\n"},
        {"conda", run(CondaScanner()), "Will remove 3 packages"},
        {"conda", run(CondaScanner()), R"({"success": true, "tarballs": {"pkgs_dirs": {"/p": "x"}}})"},
        {"ollama", run(OllamaScanner()), "NAME ID SIZE MODIFIED\nllama3 42182419e950 4.7 XB 3 weeks ago\n"},
        {"ollama", run(OllamaScanner()), "NAME ID SIZE MODIFIED\nllama3 42182419e950 4.7 GB yesterday\n"},
        {"rustup", run(RustupScanner()), "stable-x86_64 (default) extra words\n"},
    };
    for (const auto& c : cases) {
        DevTree missing;
        EXPECT_EQ(c.scan(missing.context), std::vector<Finding>{}) << c.tool;
        EXPECT_TRUE(missing.runner->calls().empty()) << c.tool;

        DevTree failing;
        failing.runner->expect(failing.tool("usr/local/bin", c.tool))
            .returns(1, "", "Error: could not connect");
        const auto failed = c.scan(failing.context);
        ASSERT_FALSE(failed) << c.tool;
        EXPECT_NE(failed.error().message.find(c.tool == "ollama" ? "läuft nicht" : "Exit 1"),
                  std::string::npos);

        DevTree garbled;
        garbled.runner->expect(garbled.tool("usr/local/bin", c.tool)).returns(0, c.output);
        const auto unreadable = c.scan(garbled.context);
        ASSERT_FALSE(unreadable) << c.output;
        EXPECT_TRUE(unreadable.error().message.ends_with("ist nicht lesbar.")) << c.output;
    }
}

TEST(DevToolScanners, TexLiveOffersYearsBelowTheNewestThroughTheAdminScriptOnAMac) {
    for (const auto layout : {PlatformLayout::macOS, PlatformLayout::linux}) {
        DevTree dev(layout);
        const auto y2022 = dev.tree.filledFile("usr/local/texlive/2022/bin/tex", 3000);
        const auto y2023 = dev.tree.filledFile("usr/local/texlive/2023/bin/tex", 2000);
        dev.tree.filledFile("usr/local/texlive/2024/bin/tex", 1000);
        dev.tree.filledFile("usr/local/texlive/texmf-local/ls-R", 500);

        const auto found = TexLiveScanner().scan(dev.context, {});
        ASSERT_TRUE(found && found->size() == 1u);
        const auto& finding = found->front();
        EXPECT_EQ(names(finding), (std::vector<std::string>{"2022=" + std::to_string(occupiedBytes(y2022)),
                                                            "2023=" + std::to_string(occupiedBytes(y2023))}));
        EXPECT_EQ(finding.category, Category::toolchains);
        if (layout == PlatformLayout::linux) { // the Linux admin list has no rm -rf: explained only
            EXPECT_EQ(finding.method.kind(), RemovalKind::hint);
            continue;
        }
        const auto target = (dev.tree / "usr/local/texlive/2022").string();
        ASSERT_EQ(finding.method.kind(), RemovalKind::admin);
        EXPECT_EQ(std::get<RemovalMethod::Admin>(finding.method.value).steps.front(),
                  (AdminStep{"/bin/rm", {"-rf", "--", target}, target, false}));
        EXPECT_EQ(finding.risk, Risk::review);
    }
}
