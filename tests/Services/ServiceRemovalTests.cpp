#include "Services/ServiceRemoval.hpp"

#include "Doubles/FakePrivilegedExecutor.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Platform/HomeTrash.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Services/LaunchTreeSupport.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace velmora::test {
namespace {

namespace fs = std::filesystem;

bool ranCommand(const ScriptedCommandRunner& runner, const std::string& line) {
    const auto lines = runner.commandLines();
    return std::ranges::find(lines, line) != lines.end();
}

class ServiceRemovalTest : public ::testing::Test {
protected:
    ServiceRemovalTest() {
        runner->expect("/bin/launchctl", {"print", "gui/501/com.example.gone"}).returns(113);
        runner->expect("/bin/launchctl", {"bootout", "gui/501/com.example.gone"}).returns(0);
        runner->expect("/bin/launchctl", {"print", "system/com.example.daemon"}).returns(113);
        // An app that was deleted, its agent left behind; a daemon whose program was uninstalled.
        agentFile =
            tree.userAgent("com.example.gone.plist", {.label = "com.example.gone",
                                                      .program = "/Applications/Gone.app/Contents/MacOS/gone",
                                                      .runAtLoad = true});
        daemonFile = tree.daemon("com.example.daemon.plist",
                                 {.label = "com.example.daemon", .program = "/opt/example/daemon"});
    }

    // The launchctl answers have to be scripted before this: the scanner asks launchd too.
    ServiceRemoval removal() {
        scanner = std::make_shared<const LaunchItemScanner>(tree.sources(runner));
        auto guard = std::make_shared<const SafetyGuard>(
            SafetyGuard::live(PlatformLayout::macOS, tree.root(), "/Users/anna"));
        return ServiceRemoval(scanner, runner,
                              RemovalRunner::live(std::make_shared<HomeTrash>(tree.home()), guard, runner,
                                                  ToolLocator{}, executor, nullptr, nullptr));
    }

    LaunchItem item(std::string_view id) const {
        return itemOf(LaunchItemScanner(tree.sources(runner)).scan(), id);
    }

    fs::path trashed(const std::string& name) const { return tree.home() / ".Trash" / name; }

    LaunchTree tree;
    std::shared_ptr<ScriptedCommandRunner> runner = std::make_shared<ScriptedCommandRunner>();
    std::shared_ptr<FakePrivilegedExecutor> executor =
        std::make_shared<FakePrivilegedExecutor>(AdminRunResult::completed({0, 0}));
    std::shared_ptr<const LaunchItemScanner> scanner;
    fs::path agentFile, daemonFile;
};

TEST_F(ServiceRemovalTest, UserAgentAndDaemonGiveOneUserAndOneAdminOutcomeAfterADryRunThatChangesNothing) {
    const auto removal = this->removal();
    const std::vector<LaunchItem> items{item("user/com.example.gone"), item("system/com.example.daemon")};
    const auto dry = removal.remove(items, true);
    ASSERT_EQ(dry.size(), 2u);
    for (const auto& outcome : dry) {
        EXPECT_EQ(outcome.outcome, ItemOutcome::skipped("Trockenlauf"));
        EXPECT_EQ(outcome.message, "Trockenlauf");
    }
    EXPECT_TRUE(fs::exists(agentFile) && fs::exists(daemonFile));
    EXPECT_TRUE(executor->scripts().empty());

    const auto outcomes = removal.remove(items, false);
    ASSERT_EQ(outcomes.size(), 2u);
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        EXPECT_EQ(outcomes[i].findingID.scannerID, "services.orphaned");
        EXPECT_EQ(outcomes[i].kind, i == 0 ? "user" : "admin");
        EXPECT_EQ(outcomes[i].label, items[i].label);
        EXPECT_TRUE(outcomes[i].outcome.isRemoved()) << outcomes[i].message;
    }
    EXPECT_EQ(outcomes[0].message, ServiceRemovalText::trashed);
    EXPECT_FALSE(fs::exists(agentFile));
    EXPECT_TRUE(fs::exists(trashed("com.example.gone.plist")));
    EXPECT_TRUE(ranCommand(*runner, "/bin/launchctl bootout gui/501/com.example.gone"));
    // Daemons are stopped and deleted inside the one admin script, never booted out here.
    ASSERT_EQ(executor->scripts().size(), 1u);
    EXPECT_FALSE(ranCommand(*runner, "/bin/launchctl bootout system/com.example.daemon"));
}

// One removal over every reason to leave a service alone, beside two orphans that may go.
TEST_F(ServiceRemovalTest, OnlyAnOrphanThatIsNotLoadedOrStopsIsTrashed) {
    for (const std::string name : {"other", "unclear", "stuck", "idle"})
        tree.userAgent("com.example." + name + ".plist",
                       {.label = "com.example." + name, .program = "/opt/" + name + "/tool"});
    tree.program("/opt/example/present");
    tree.userAgent("com.example.present.plist",
                   {.label = "com.example.present", .program = "/opt/example/present"});
    auto scripted = std::make_shared<ScriptedCommandRunner>();
    scripted->expect("/bin/launchctl", {"print", "gui/501/com.example.other"})
        .returns(0, "gui/501/com.example.other = {\n\tprogram = /Applications/Other.app/Contents/MacOS/x\n"
                    "\tstate = running\n\targuments = {\n\t\tprogram = /opt/other/tool\n\t}\n}\n");
    scripted->expect("/bin/launchctl", {"print", "gui/501/com.example.unclear"}).returns(5, "", "weird");
    scripted->expect("/bin/launchctl", {"print", "gui/501/com.example.stuck"})
        .returns(0, "gui/501/com.example.stuck = {\n\tprogram = /opt/stuck/tool\n\tstate = running\n}\n");
    scripted->expect("/bin/launchctl", {"bootout", "gui/501/com.example.stuck"}).returns(5);
    scripted->expect("/bin/launchctl", {"bootout", "gui/501/com.example.idle"}).returns(5);
    scripted->expect("/bin/launchctl").returns(113);
    runner = scripted;
    std::vector<LaunchItem> items;
    for (const char* label : {"other", "unclear", "stuck", "idle", "present", "gone"})
        items.push_back(item("user/com.example." + std::string(label)));
    items.push_back(items.back());
    items.back().label = "com.apple.fake";
    // The app came back after the list was made.
    tree.app("/Applications/Gone.app", "com.example.gone", "Contents/MacOS/gone");

    // Which block reason applies is the orphan finding's business; here any one stops the removal.
    const std::vector<std::pair<std::string_view, char>> expected{{ServiceRemovalText::otherAppLoaded, 's'},
                                                                  {ServiceRemovalText::stateUnclear, 's'},
                                                                  {ServiceRemovalText::stopFailed, 'f'},
                                                                  {ServiceRemovalText::trashed, 'r'},
                                                                  {"Der Dienst ist nicht verwaist.", 's'},
                                                                  {ServiceRemovalText::noLongerOrphaned, 's'},
                                                                  {"Gehört zu macOS.", 's'}};
    const auto outcomes = this->removal().remove(items, false);
    ASSERT_EQ(outcomes.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const auto& [message, kind] = expected[i];
        EXPECT_EQ(outcomes[i].message, message) << items[i].label;
        const auto& outcome = outcomes[i].outcome;
        EXPECT_EQ(outcome.isSkipped()   ? 's'
                  : outcome.isFailed()  ? 'f'
                  : outcome.isRemoved() ? 'r'
                                        : '?',
                  kind)
            << items[i].label;
        EXPECT_EQ(fs::exists(*items[i].plistURL), kind != 'r') << items[i].label;
    }
    EXPECT_TRUE(fs::exists(trashed("com.example.idle.plist")));
    std::vector<std::string> bootouts;
    for (const auto& line : runner->commandLines())
        if (line.find("bootout") != std::string::npos)
            bootouts.push_back(line);
    EXPECT_EQ(bootouts, (std::vector<std::string>{"/bin/launchctl bootout gui/501/com.example.stuck",
                                                  "/bin/launchctl bootout gui/501/com.example.idle"}));
}

} // namespace
} // namespace velmora::test
