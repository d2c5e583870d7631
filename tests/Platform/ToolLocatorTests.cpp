#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SealedRoot.hpp"
#include "Platform/ToolLocator.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include <stdlib.h>
#include <sys/stat.h>

using namespace velmora;

namespace {

// A locator over the default folders of a made-up home, seeing only the listed files.
ToolLocator locatorSeeing(std::set<std::filesystem::path> files, bool includeLocalBin = false) {
    return ToolLocator{
        ToolLocator::defaultSearchPaths("/home/anna", includeLocalBin),
        [files = std::move(files)](const std::filesystem::path& p) { return files.contains(p); }};
}

} // namespace

TEST(ToolLocator, HomebrewComesBeforeIntelHomebrewAndTheSystem) {
    EXPECT_EQ(locatorSeeing({"/opt/homebrew/bin/brew", "/usr/local/bin/brew"}).locate("brew"),
              std::filesystem::path("/opt/homebrew/bin/brew"));
    EXPECT_EQ(locatorSeeing({"/usr/local/bin/git", "/usr/bin/git"}).locate("git"),
              std::filesystem::path("/usr/local/bin/git"));
    EXPECT_EQ(locatorSeeing({"/home/anna/.cargo/bin/rustup", "/usr/sbin/rustup"}).locate("rustup"),
              std::filesystem::path("/usr/sbin/rustup"));
    EXPECT_EQ(locatorSeeing({"/home/anna/miniconda3/bin/conda"}).locate("conda"),
              std::filesystem::path("/home/anna/miniconda3/bin/conda"));
    EXPECT_EQ(locatorSeeing({"/usr/bin/brew"}).locate("ollama"), std::nullopt);
}

TEST(ToolLocator, DefaultFoldersInOrderWithTheHomeFolderFilledIn) {
    const std::vector<std::filesystem::path> expected = {"/opt/homebrew/bin",
                                                         "/usr/local/bin",
                                                         "/usr/bin",
                                                         "/bin",
                                                         "/usr/sbin",
                                                         "/sbin",
                                                         "/home/anna/.cargo/bin",
                                                         "/home/anna/go/bin",
                                                         "/opt/anaconda3/bin",
                                                         "/opt/miniconda3/bin",
                                                         "/home/anna/anaconda3/bin",
                                                         "/home/anna/miniconda3/bin",
                                                         "/home/anna/.bun/bin"};
    EXPECT_EQ(ToolLocator::defaultSearchPaths("/home/anna"), expected);

    auto withLocalBin = expected;
    withLocalBin.push_back("/home/anna/.local/bin");
    EXPECT_EQ(ToolLocator::defaultSearchPaths("/home/anna", true), withLocalBin);
    EXPECT_EQ(locatorSeeing({"/home/anna/.local/bin/uv"}, true).locate("uv"),
              std::filesystem::path("/home/anna/.local/bin/uv"));
    EXPECT_EQ(locatorSeeing({"/home/anna/.local/bin/uv"}, false).locate("uv"), std::nullopt);
}

TEST(ToolLocator, PathVariableJoinsTheFoldersWithColons) {
    EXPECT_EQ(locatorSeeing({}).pathVariable(),
              "/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin:/home/anna/.cargo/bin:"
              "/home/anna/go/bin:/opt/anaconda3/bin:/opt/miniconda3/bin:/home/anna/anaconda3/bin:"
              "/home/anna/miniconda3/bin:/home/anna/.bun/bin");
    EXPECT_EQ((ToolLocator{{"/only"}, nullptr}).pathVariable(), "/only");
    EXPECT_EQ((ToolLocator{{}, nullptr}).pathVariable(), "");
}

TEST(ToolLocator, NamesThatAreNotPlainFileNamesAreRefused) {
    const ToolLocator seesEverything{ToolLocator::defaultSearchPaths("/home/anna"),
                                     [](const std::filesystem::path&) { return true; }};
    EXPECT_EQ(seesEverything.locate("brew"), std::filesystem::path("/opt/homebrew/bin/brew"));
    EXPECT_EQ(seesEverything.locate(""), std::nullopt);
    EXPECT_EQ(seesEverything.locate("bin/brew"), std::nullopt);
    EXPECT_EQ(seesEverything.locate("../../bin/sh"), std::nullopt);
    EXPECT_EQ(seesEverything.locate("/bin/sh"), std::nullopt);
    EXPECT_EQ((ToolLocator{{"/usr/bin"}, nullptr}).locate("env"), std::nullopt); // no test, no find
}

TEST(ToolLocator, LiveLocatorFindsOnlyExecutableFiles) {
    std::string pattern = (std::filesystem::temp_directory_path() / "velmora-locator-XXXXXX").string();
    const std::filesystem::path home = ::mkdtemp(pattern.data());
    const auto bin = home / ".local/bin";
    std::filesystem::create_directories(bin);
    const auto make = [&](const char* name, mode_t mode) {
        std::ofstream(bin / name) << "#!/bin/sh\n";
        ::chmod((bin / name).c_str(), mode);
    };
    make("velmora-test-tool", 0755);
    make("velmora-test-plain", 0644);
    std::filesystem::create_directory(bin / "velmora-test-folder");
    std::filesystem::create_symlink(bin / "velmora-test-tool", bin / "velmora-test-link");

    const auto locator = ToolLocator::live(home, true);
    EXPECT_EQ(locator.locate("velmora-test-tool"), bin / "velmora-test-tool");
    EXPECT_EQ(locator.locate("velmora-test-link"), bin / "velmora-test-link"); // Homebrew links its tools
    EXPECT_EQ(locator.locate("velmora-test-plain"), std::nullopt);
    EXPECT_EQ(locator.locate("velmora-test-folder"), std::nullopt);
    EXPECT_EQ(locator.locate("velmora-test-missing"), std::nullopt);

    std::filesystem::remove_all(home);
}

TEST(SealedRoot, SystemToolsAreLookedForAndStartedInsideTheRootOnly) {
    namespace fs = std::filesystem;
    velmora::testing::TempTree tree;
    const auto& root = tree.root();
    for (const char* tool : {"usr/bin/pkexec", "home/anna/.local/bin/uv"})
        ::chmod(tree.file(tool, "#!/bin/sh\n").c_str(), 0755);
    fs::create_symlink("/bin/sh", tree.folder("bin") / "sh"); // a real tool of this machine
    fs::create_symlink("../usr/bin/pkexec", root / "bin/x");  // stays inside
    const SealedRoot sealed(root.string() + "/");

    auto scripted = std::make_shared<test::ScriptedCommandRunner>();
    scripted->unscripted(CommandResult{});
    const auto runner = sealed.runner(scripted);
    for (const char* tool : {"/usr/bin/pkexec", "/bin/x", "/usr/../../../etc/x", "bin/launchctl"})
        EXPECT_TRUE(runner->run(tool, {}, std::chrono::seconds{1})) << tool;
    EXPECT_FALSE(runner->run("/bin/sh", {}, std::chrono::seconds{1})); // never started
    EXPECT_EQ(scripted->commandLines(),
              (std::vector<std::string>{(root / "usr/bin/pkexec").string(), (root / "bin/x").string(),
                                        (root / "etc/x").string(), (root / "bin/launchctl").string()}));
    EXPECT_EQ(SealedRoot("/").runner(scripted), scripted);

    const auto locator = sealed.locator(ToolLocator::live(root / "home/anna", true));
    EXPECT_EQ(locator.locate("pkexec"), root / "usr/bin/pkexec");
    EXPECT_EQ(locator.locate("uv"), root / "home/anna/.local/bin/uv");
    EXPECT_EQ(locator.locate("sh"), std::nullopt);  // leads out of the root
    EXPECT_EQ(locator.locate("env"), std::nullopt); // this machine's own /usr/bin/env is not seen
}
