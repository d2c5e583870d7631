#include "Cli/CliTestSupport.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::testing;
using velmora::test::ScriptedCommandRunner;

namespace {

namespace fs = std::filesystem;

TEST(TrashCommand, ShowsTheSizeAndEmptiesTheDesktopTrashOnlyWithConsent) {
    const CliTree linux("linux", {std::make_shared<ScriptedCommandRunner>(), std::nullopt, 1000});
    const auto trash = linux.tree.folder("home/anna/.local/share/Trash");
    linux.tree.filledFile(trash / "files/alt.iso", 256 * 1024);
    linux.tree.file(trash / "info/alt.iso.trashinfo", "[Trash Info]\n");
    const auto run = [&](std::vector<std::string> words) { return linux.run(std::move(words)); };
    auto result = run({"trash"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("Papierkorb: 2"));
    EXPECT_EQ(run({"trash", "--empty"}).status, 2); // no terminal, no --yes
    EXPECT_EQ(run({"trash", "--empty", "--dry-run"}).status, 0);
    EXPECT_EQ(namesIn(trash / "files"), std::vector<std::string>{"alt.iso"});
    result = run({"trash", "--empty", "--yes"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("Papierkorb geleert. Freigegeben: 2"));
    EXPECT_TRUE(namesIn(trash / "files").empty() && namesIn(trash / "info").empty());
    EXPECT_THAT(run({"trash", "--empty"}).out, HasSubstr("Der Papierkorb ist leer."));
}

TEST(TrashCommand, AFinderThatMayNotBeSteeredGivesTheAutomationText) {
    TempTree tree;
    const auto item = tree.file("Users/anna/.Trash/alt.dmg", "dmg");
    auto runner = std::make_shared<ScriptedCommandRunner>();
    runner->expect(tree / "usr/bin/osascript").returns(1, "", "Not authorized to send Apple events (-1743)");
    const auto result = runInTree({"trash", "--empty", "--yes"}, tree.root(), "macos", "/Users/anna",
                                  {runner, std::nullopt, 501});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err,
                HasSubstr("Erlaubnis, den Finder zu steuern. Du erteilst sie unter Systemeinstellungen "
                          "→ Datenschutz & Sicherheit → Automation."));
    EXPECT_TRUE(fs::exists(item));
}

} // namespace
