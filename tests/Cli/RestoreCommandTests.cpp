#include "Cli/CliTestSupport.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Platform/AppDataLocation.hpp"
#include "Removal/RemovalTestSupport.hpp"
#include "Removal/TrashRestorer.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::testing;
using namespace velmora::removaltest;

TEST(RestoreCommand, AsksPutsBackWhatItMayAndNamesWhatStayed) {
    for (const auto layout : allPlatformLayouts) {
        const bool mac = layout == PlatformLayout::macOS;
        SCOPED_TRACE(mac ? "macOS" : "Linux");
        Home home(layout);
        home.tree.file(home.cache / "a.bin", "A");
        home.tree.file(home.cache / "b.bin", "B");
        const auto run =
            runOf({trashedItem(home, home.cache / "a.bin"), trashedItem(home, home.cache / "b.bin")});
        ASSERT_TRUE(
            RemovalJournal(RemovalJournal::defaultFile(appDataFolder(layout, home.home, std::nullopt)))
                .append(run));
        home.tree.file(home.cache / "b.bin", "new B"); // something took b's place
        const auto restore = [&](std::vector<std::string> words) {
            words.insert(words.begin(), "restore");
            return runInTree(std::move(words), home.tree.root(), mac ? "macos" : "linux",
                             mac ? "/Users/anna" : "/home/anna",
                             {std::make_shared<test::ScriptedCommandRunner>(), std::nullopt, 1000});
        };

        const auto trash = snapshot(home.trashFolder);
        EXPECT_EQ(restore({}).status, 2); // no terminal and no --yes
        auto result = restore({"--dry-run"});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.out, HasSubstr("a.bin: würde zurückgelegt"));
        EXPECT_EQ(restore({"--item", "c.bin", "--yes"}).status, 2);
        EXPECT_EQ(snapshot(home.trashFolder), trash);

        result = restore({"--yes"});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.out, HasSubstr("b.bin: " + std::string(occupiedOriginalText)));
        EXPECT_THAT(result.out, HasSubstr("1 zurückgelegt, 1 im Papierkorb gelassen"));
        EXPECT_EQ(contentOf(home.cache / "a.bin"), "A");
        EXPECT_EQ(contentOf(home.cache / "b.bin"), "new B");

        fs::remove(home.cache / "b.bin");
        result = restore({run.runID, "--item", "b.bin", "--yes", "--json"});
        EXPECT_EQ(result.status, 0) << result.out << result.err;
        EXPECT_THAT(result.out, HasSubstr("\"outcome\" : \"restored\""));
        EXPECT_EQ(contentOf(home.cache / "b.bin"), "B");
        EXPECT_TRUE(namesIn(home.trashFiles()).empty());
        EXPECT_THAT(restore({"--yes"}).out, HasSubstr("Nichts zurückzulegen"));
    }
}
