#include "Scanning/Catalog.hpp"
#include "Scanning/PathScanner.hpp"
#include "Scanning/Scanners/CondaScanner.hpp"
#include "Scanning/Scanners/ContainerPruneScanner.hpp"
#include "Scanning/Scanners/HomebrewScanner.hpp"
#include "Scanning/Scanners/JetBrainsScanner.hpp"
#include "Scanning/Scanners/OllamaScanner.hpp"
#include "Scanning/Scanners/RustupScanner.hpp"
#include "Scanning/Scanners/TexLiveScanner.hpp"
#include "Scanning/Scanners/VersionManagerScanner.hpp"

#include "Doubles/ScanTree.hpp"

#include <gtest/gtest.h>

#include <map>

using namespace velmora;
using velmora::testing::occupiedBytes;
namespace fs = std::filesystem;

namespace {

std::string fixture(const std::string& name) {
    return test::recording("devtools/" + name);
}

// A Mac-shaped tree whose tools are found in Homebrew's, cargo's and /usr/local's bin folders.
struct DevTree : test::ScanTree {
    explicit DevTree(PlatformLayout layout = PlatformLayout::macOS)
        : ScanTree(layout, "/Users/anna", {"opt/homebrew/bin", "Users/anna/.cargo/bin", "usr/local/bin"}) {}
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

    const auto found = dev.scan(HomebrewScanner());
    ASSERT_EQ(found.size(), 2u);
    const auto& cleanup = found.at(0);
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

    const auto& unneeded = found.at(1);
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

    const auto found = dev.scan(CondaScanner());
    ASSERT_EQ(found.size(), 1u);
    // The second tarball and the index cache are named but not there.
    EXPECT_EQ(
        names(found.front()),
        (std::vector<std::string>{"python-3.11.5-hb885b13_0.conda=" + std::to_string(occupiedBytes(tarball)),
                                  "zlib-1.2.13-h5a0b063_0=" + std::to_string(occupiedBytes(unpacked))}));
    EXPECT_EQ(found.front().category, Category::languages);
    EXPECT_EQ(found.front().commandPreview, "conda clean --all --yes");
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

    const auto models = dev.scan(OllamaScanner());
    ASSERT_EQ(models.size(), 3u);
    EXPECT_EQ(names(models.at(0)), std::vector<std::string>{"llama3.1:8b=4700000000"});
    EXPECT_EQ(names(models.at(1)), std::vector<std::string>{"qwen2.5-coder:1.5b=986000000"});
    EXPECT_EQ(models.at(0).items[0].date, dev.context.now - std::chrono::hours{24 * 21});
    EXPECT_EQ(models.at(1).items[0].date, dev.context.now - std::chrono::hours{1});
    EXPECT_EQ(models.at(1).commandPreview, "ollama rm qwen2.5-coder:1.5b");
    EXPECT_EQ(models.at(1).category, Category::aiLeftovers);

    // stable is the default, 1.70.0 pinned by a folder, beta by a short override name.
    const auto toolchains = dev.scan(RustupScanner());
    ASSERT_EQ(toolchains.size(), 1u);
    EXPECT_EQ(names(toolchains.front()), std::vector<std::string>{"nightly-aarch64-apple-darwin=" +
                                                                  std::to_string(occupiedBytes(nightly))});
    EXPECT_EQ(toolchains.front().commandPreview, "rustup toolchain uninstall nightly-aarch64-apple-darwin");
    EXPECT_EQ(toolchains.front().category, Category::toolchains);
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
        {"docker", run(ContainerPruneScanner(ContainerPruneScanner::Engine::docker)), R"({"Images": 3})"},
        {"docker", run(ContainerPruneScanner(ContainerPruneScanner::Engine::docker)),
         R"({"Containers": [{"State": "exited", "Size": "12 parsecs"}]})"},
        {"podman", run(ContainerPruneScanner(ContainerPruneScanner::Engine::podman)), "TYPE TOTAL\n"},
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

        const auto found = dev.scan(TexLiveScanner());
        ASSERT_EQ(found.size(), 1u);
        const auto& finding = found.front();
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

TEST(DevToolScanners, VersionManagersNeverOfferTheDefaultOrAVersionTheHomeNamesAndGuessNothing) {
    using M = VersionManagerScanner::Manager;
    struct Case {
        M manager;
        std::vector<std::string> versions; // folders below the manager's versions folder
        std::map<std::string, std::string> files;
        std::vector<std::string> offered; // nothing at all when empty
    };
    const std::vector<Case> cases = {
        {M::nvm,
         {"v16.20.2", "v18.20.4", "v20.11.1", "v20.12.0"},
         {{".nvm/alias/default", "lts/*\n"},
          {".nvm/alias/lts/*", "lts/iron"},
          {".nvm/alias/lts/iron", "20"},
          {".nvmrc", "18\n"}},
         {"v16.20.2", "v20.11.1"}},
        {M::nvm, {"v18.20.4", "v20.12.0"}, {{".nvm/alias/default", "lts/*"}}, {}}, // alias files missing
        {M::nvm, {"v18.20.4"}, {}, {}},                                            // no default at all
        {M::pyenv,
         {"3.9.18", "3.9.18/envs/tools", "3.10.13", "3.11.4", "3.12.1"},
         {{".pyenv/version", "3.12.1 tools # both\nsystem\n"}, {".python-version", "3.11"}},
         {"3.10.13"}},
        {M::pyenv, {"3.10.13", "3.12.1"}, {{".pyenv/version", "3.13.0\n"}}, {}}, // not installed
        {M::rbenv,
         {"3.1.4", "3.2.2", "3.3.0"},
         {{".rbenv/version", "ruby-3.3.0 3.2.2\n"}},
         {"3.1.4", "3.2.2"}},
    };
    for (const auto& c : cases) {
        DevTree dev;
        const auto home = dev.context.home;
        const auto folder = c.manager == M::nvm     ? ".nvm/versions/node/"
                            : c.manager == M::pyenv ? ".pyenv/versions/"
                                                    : ".rbenv/versions/";
        for (const auto& version : c.versions)
            dev.tree.filledFile(home / folder / version / "bin/tool", 3000);
        for (const auto& [path, content] : c.files)
            dev.tree.file(home / path, content);
        if (c.manager == M::pyenv)
            dev.tree.link(home / ".pyenv/versions/tools", home / ".pyenv/versions/3.9.18/envs/tools");

        const auto found = dev.scan(VersionManagerScanner(c.manager));
        std::vector<std::string> offered;
        for (const auto& finding : found)
            for (const auto& item : finding.items)
                offered.push_back(item.name);
        EXPECT_EQ(offered, c.offered) << folder << c.versions.front();
        if (offered.empty())
            continue;
        const auto& finding = found.front();
        EXPECT_EQ(finding.category, Category::languages);
        EXPECT_EQ(finding.method.kind(), RemovalKind::trash);
        EXPECT_EQ(finding.items[0].url, home / folder / offered[0]);
        EXPECT_EQ(finding.items[0].size, occupiedBytes(home / folder / offered[0] / "bin/tool"));
        EXPECT_EQ(finding.size, occupiedBytes(home / folder / offered[0] / "bin/tool") * std::ssize(offered));
    }
}

TEST(DevToolScanners, JetBrainsOffersOlderVersionsAndLeavesLinuxCachesToTheCatalogRowWithoutCountingTwice) {
    DevTree mac;
    const auto home = mac.context.home;
    const auto support = home / "Library/Application Support/JetBrains";
    for (const auto& path :
         {support / "PyCharm2023.2/options/a.xml", support / "PyCharm2024.1/options/a.xml",
          home / "Library/Caches/JetBrains/PyCharm2023.2/index/x", support / "IdeaIC2024.1/a",
          home / "Library/Logs/JetBrains/PyCharm2023.2/idea.log", support / "Toolbox/x"})
        mac.tree.filledFile(path, 2000);
    const auto found = mac.scan(JetBrainsScanner());
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found.front().id, (FindingID{"toolchains.jetbrainsVersions", "PyCharm"}));
    EXPECT_EQ(names(found.front()).size(), 3u);
    EXPECT_EQ(found.front().blockingApps.at(0).bundleID, "com.jetbrains.pycharm");

    DevTree linux(PlatformLayout::linux);
    linux.context.userCacheDir = linux.tree.folder("Users/anna/.cache");
    linux.context.safety.reset(); // its Linux guard wants the home below /home; ~/.config must stay anyway
    linux.tree.filledFile("Users/anna/.config/JetBrains/CLion2023.3/a.xml", 4000);
    linux.tree.filledFile("Users/anna/.config/JetBrains/CLion2024.2/a.xml", 4000); // the newest
    const auto data = linux.tree.filledFile("Users/anna/.local/share/JetBrains/CLion2023.3/p.jar", 4000);
    const auto oldCache = linux.tree.filledFile("Users/anna/.cache/JetBrains/CLion2023.3/caches/x", 9000);
    const auto newCache = linux.tree.filledFile("Users/anna/.cache/JetBrains/CLion2024.2/caches/x", 5000);
    std::vector<Finding> all;
    for (auto scanner : std::vector<std::shared_ptr<Scanner>>{
             std::make_shared<JetBrainsScanner>(),
             std::make_shared<PathScanner>(Catalog::rule("appCaches.jetbrains", PlatformLayout::linux))}) {
        std::ranges::move(linux.scan(*scanner), std::back_inserter(all));
    }
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(names(all[0]), std::vector<std::string>{"CLion2023.3=" + std::to_string(occupiedBytes(data))});
    EXPECT_EQ(PathClaims::reportedBytes(linux.context.home, all),
              occupiedBytes(data) + occupiedBytes(oldCache) + occupiedBytes(newCache));
}

TEST(DevToolScanners, ContainerEnginesOfferWhatAPlainPruneFreesAndADaemonThatIsDownIsNoFailure) {
    using E = ContainerPruneScanner::Engine;
    struct Case {
        E engine;
        std::string output; // of the system df call; podman's image list is the recorded one
        int exitCode;
        std::vector<std::string> items;
    };
    const std::vector<Case> cases = {
        {E::docker,
         fixture("../docker/system-df-v.json"),
         0,
         {"Images ohne Namen=1200632100", "Gestoppte Container=2100000", "Build-Cache=1545200000"}},
        {E::docker,
         fixture("../docker/system-df-summary-lines.json"),
         0,
         {"Gestoppte Container=2100000", "Build-Cache=1545000000"}},
        {E::podman,
         fixture("../podman/system-df.json"),
         0,
         {"Images ohne Namen=200000000", "Gestoppte Container=4096"}},
        {E::docker, fixture("../docker/daemon-not-running.txt"), 1, {}},
    };
    for (const auto& c : cases) {
        DevTree dev;
        const auto tool = dev.tool("usr/local/bin", c.engine == E::docker ? "docker" : "podman");
        dev.runner->expect(tool, {"images", "--filter", "dangling=true", "--format", "json"})
            .returns(0, fixture("../podman/images-dangling.json"));
        dev.runner->expect(tool).returns(c.exitCode, c.exitCode ? "" : c.output, c.exitCode ? c.output : "");
        const auto found = dev.scan(ContainerPruneScanner(c.engine));
        if (c.items.empty()) {
            EXPECT_TRUE(found.empty());
            continue;
        }
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(names(found.front()), c.items);
        EXPECT_FALSE(found.front().itemsSelectable);
        EXPECT_EQ(found.front().commandPreview,
                  c.engine == E::docker ? "docker system prune -f" : "podman system prune -f");
        EXPECT_EQ(dev.runner->calls().front().timeout, std::chrono::seconds{60});
    }
}
