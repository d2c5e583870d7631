#include "Services/LegacyAutomation.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Platform/HomeTrash.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Services/LaunchTreeSupport.hpp"

#include <gtest/gtest.h>

namespace velmora::test {
namespace {

namespace fs = std::filesystem;
using velmora::testing::present;

constexpr const char* script = "/Users/anna/Library/Application Support/Velmora/cleanup.sh";
constexpr const char* log = "/Users/anna/Library/Logs/Velmora/cleanup.log";

// The old agent as the earlier version wrote it, beside agents that only look like it.
struct LegacyTree {
    LaunchTree tree;
    std::shared_ptr<ScriptedCommandRunner> runner = std::make_shared<ScriptedCommandRunner>();
    fs::path plist;

    LegacyTree() {
        tree.program(script);
        tree.program(log);
        tree.program("/var/log/velmora.log");
        tree.scratch.folder("Users/anna/Documents");
        plist = tree.scratch.file("Users/anna/Library/LaunchAgents/de.tobrenlux.velmora.cleanup.plist",
                                  xmlPlist("de.tobrenlux.velmora.cleanup", "ProgramArguments",
                                           std::string("<array><string>/bin/sh</string><string>") + script +
                                               "</string></array><key>StandardOutPath</key><string>" + log +
                                               "</string><key>StandardErrorPath</key><string>/Users/anna/"
                                               "Documents</string>"));
        for (const auto& [label, path] :
             {std::pair{"de.tobrenlux.velmora2.check.weekly", std::string(script)},
              {"com.example.cleanup", std::string(script)},
              {"de.tobrenlux.velmora.dots", "/Users/anna/x/../cleanup.sh"},
              {"de.tobrenlux.velmora.ctrl", "/Users/anna/\x01x/cleanup.sh"},
              {"de.tobrenlux.velmora.other", "/Users/anna/other.sh"}})
            tree.userAgent(
                std::string(label) + ".plist",
                {.label = label, .arguments = std::vector<std::string>{"/bin/sh", path}, .binary = true});
        tree.scratch.file("Users/anna/Library/LaunchAgents/de.tobrenlux.velmora.broken.plist",
                          "<plist><dict>");
        // Binary, the script as the program itself, logs outside the home and at "/".
        plist_t dict = plist_new_dict();
        plist_dict_set_item(dict, "Label", plist_new_string("DE.tobrenlux.Velmora.bin"));
        plist_dict_set_item(dict, "Program", plist_new_string(script));
        plist_dict_set_item(dict, "StandardOutPath", plist_new_string("/var/log/velmora.log"));
        plist_dict_set_item(dict, "StandardErrorPath", plist_new_string("/"));
        tree.scratch.file("Users/anna/Library/LaunchAgents/z.plist", plistBytes(dict, true));
    }

    LegacyAutomation automation(PlatformLayout layout = PlatformLayout::macOS) const {
        auto guard =
            std::make_shared<const SafetyGuard>(SafetyGuard::live(layout, tree.root(), "/Users/anna"));
        return LegacyAutomation({tree.root(), tree.home(), LaunchTree::uid, layout, runner},
                                RemovalRunner::live(std::make_shared<HomeTrash>(tree.home()), guard, runner,
                                                    ToolLocator{}, nullptr, nullptr, nullptr));
    }
};

TEST(LegacyAutomation, FindsOnlyTheOldCleanupAgentsAndOnlyTheFilesTheyNameExactly) {
    LegacyTree t;
    const std::vector<LegacyItem> want{
        {"de.tobrenlux.velmora.cleanup", t.plist, t.tree.real(script), {t.tree.real(log)}},
        {"DE.tobrenlux.Velmora.bin",
         t.tree.home() / "Library/LaunchAgents/z.plist",
         t.tree.real(script),
         {t.tree.real("/var/log/velmora.log")}}};
    EXPECT_EQ(t.automation().find(), want);
    EXPECT_TRUE(t.automation(PlatformLayout::linux).find().empty());
}

TEST(LegacyAutomation, StopsThenTrashesWhatTheGuardAllowsAndNothingWhenTheStopFailsOrInADryRun) {
    LegacyTree t;
    const auto items = t.automation().find();
    ASSERT_EQ(items.size(), 2u);
    const auto before = velmora::testing::snapshot(t.tree.root());
    auto report = t.automation().remove({items[0]}, true);
    EXPECT_EQ(velmora::testing::snapshot(t.tree.root()), before);
    EXPECT_TRUE(t.runner->calls().empty());

    t.runner->expect("/bin/launchctl", {"bootout", "gui/501/de.tobrenlux.velmora.cleanup"}).returns(5).once();
    report = t.automation().remove({items[0]}, false);
    ASSERT_EQ(report.results.size(), 3u);
    EXPECT_TRUE(std::ranges::all_of(report.results, [](const auto& r) { return r.outcome.isFailed(); }));
    EXPECT_EQ(velmora::testing::snapshot(t.tree.root()), before);

    t.runner->expect("/bin/launchctl").returns(113); // not loaded: nothing to stop
    report = t.automation().remove(items, false);
    // Both name the one script: it goes with the first, the second finds it gone.
    ASSERT_EQ(report.results.size(), 6u);
    EXPECT_EQ(velmora::testing::namesIn(t.tree.home() / ".Trash"),
              (std::vector<std::string>{"cleanup.log", "cleanup.sh", "de.tobrenlux.velmora.cleanup.plist",
                                        "z.plist"}));
    EXPECT_TRUE(present(t.tree.real("/var/log/velmora.log"))); // refused by the guard
    EXPECT_FALSE(report.results.back().outcome.isRemoved());
}

} // namespace
} // namespace velmora::test
