#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SealedRoot.hpp"
#include "Platform/ToolLocator.hpp"

#include <gtest/gtest.h>

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

TEST(ToolLocator, FindsTheFirstOfTheDefaultFoldersAndOnlyPlainNames) {
    struct Case {
        std::set<std::filesystem::path> seen;
        std::string name;
        std::optional<std::filesystem::path> found;
        bool localBin = false;
    };
    const std::vector<Case> cases = {
        // Homebrew before Intel Homebrew before the system; the system before the home folder.
        {{"/opt/homebrew/bin/brew", "/usr/local/bin/brew"}, "brew", "/opt/homebrew/bin/brew"},
        {{"/usr/local/bin/git", "/usr/bin/git"}, "git", "/usr/local/bin/git"},
        {{"/home/anna/.cargo/bin/rustup", "/usr/sbin/rustup"}, "rustup", "/usr/sbin/rustup"},
        {{"/home/anna/miniconda3/bin/conda"}, "conda", "/home/anna/miniconda3/bin/conda"},
        {{"/home/anna/.bun/bin/bun"}, "bun", "/home/anna/.bun/bin/bun"},
        {{"/usr/bin/brew"}, "ollama", std::nullopt},
        // ~/.local/bin only when asked for.
        {{"/home/anna/.local/bin/uv"}, "uv", "/home/anna/.local/bin/uv", true},
        {{"/home/anna/.local/bin/uv"}, "uv", std::nullopt},
        {{"/usr/local/go/bin/go"}, "go", "/usr/local/go/bin/go", true},
        {{"/home/anna/.local/share/pnpm/pnpm"}, "pnpm", "/home/anna/.local/share/pnpm/pnpm", true},
        {{"/bin/sh"}, "", std::nullopt},
        {{"/usr/bin/bin/brew"}, "bin/brew", std::nullopt},
        {{"/bin/sh"}, "../../bin/sh", std::nullopt},
        {{"/bin/sh"}, "/bin/sh", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(locatorSeeing(c.seen, c.localBin).locate(c.name), c.found) << c.name;
    EXPECT_EQ((ToolLocator{{"/usr/bin"}, nullptr}).locate("env"), std::nullopt); // no test, no find

    EXPECT_EQ((ToolLocator{{"/a", "/b"}, nullptr}).pathVariable(), "/a:/b");
    EXPECT_EQ((ToolLocator{{}, nullptr}).pathVariable(), "");
}

// nvm's default alias, followed through other aliases; a partial version means its newest install.
TEST(ToolLocator, FindsTheBinFolderOfNvmsDefaultVersion) {
    const std::vector<std::pair<std::vector<std::pair<std::string, std::string>>, std::string>> cases = {
        {{{"default", "20\n"}}, "v20.11.1"},
        {{{"default", "node"}}, "v21.0.0"},
        {{{"default", "lts/*"}, {"lts/*", "lts/iron"}, {"lts/iron", "v20.9.0"}}, "v20.9.0"},
        {{{"default", "22"}}, ""},
        {{}, ""},
    };
    for (const auto& [aliases, expected] : cases) {
        velmora::testing::TempTree tree;
        for (const char* version : {"v18.1.0", "v20.9.0", "v20.11.1", "v21.0.0"})
            tree.folder(std::string(".nvm/versions/node/") + version + "/bin");
        for (const auto& [name, target] : aliases)
            tree.file(".nvm/alias/" + name, target);
        const auto bin = ToolLocator::nvmDefaultBin(tree.root());
        EXPECT_EQ(bin, expected.empty() ? std::nullopt
                                        : std::optional(tree / (".nvm/versions/node/" + expected + "/bin")))
            << expected;
    }
}

TEST(SealedRoot, ExecutableToolsAreLookedForAndStartedInsideTheRootOnly) {
    namespace fs = std::filesystem;
    velmora::testing::TempTree tree;
    const auto& root = tree.root();
    for (const char* tool : {"usr/bin/pkexec", "home/anna/.local/bin/uv"})
        ::chmod(tree.file(tool, "#!/bin/sh\n").c_str(), 0755);
    fs::create_symlink("/bin/sh", tree.folder("bin") / "sh"); // a real tool of this machine
    fs::create_symlink("../usr/bin/pkexec", root / "bin/x");  // stays inside
    // The live locator takes only executable files, links to them included (Homebrew links its tools).
    tree.file("home/anna/.local/bin/plain", "#!/bin/sh\n");
    tree.folder("home/anna/.local/bin/folder");
    tree.link("home/anna/.local/bin/linked", "uv");
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
    EXPECT_EQ(locator.locate("linked"), root / "home/anna/.local/bin/linked");
    for (const char* name : {"plain", "folder", "missing"})
        EXPECT_EQ(locator.locate(name), std::nullopt) << name;
    EXPECT_EQ(locator.locate("sh"), std::nullopt);  // leads out of the root
    EXPECT_EQ(locator.locate("env"), std::nullopt); // this machine's own /usr/bin/env is not seen
}
