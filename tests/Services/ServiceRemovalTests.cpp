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
    EXPECT_FALSE(ranCommand(*runner, "/bin/launchctl bootout gui/501/com.example.gone"));

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

TEST_F(ServiceRemovalTest, ServiceOfAnotherAppOrUnclearStateIsLeftAlone) {
    LaunchTree& t = tree;
    const auto second = t.userAgent("com.example.unclear.plist",
                                    {.label = "com.example.unclear", .program = "/opt/unclear/tool"});
    auto scripted = std::make_shared<ScriptedCommandRunner>();
    scripted->expect("/bin/launchctl", {"print", "gui/501/com.example.gone"})
        .returns(
            0,
            "gui/501/com.example.gone = {\n\tprogram = /Applications/Other.app/Contents/MacOS/x\n"
            "\tstate = running\n\targuments = {\n\t\tprogram = /Applications/Gone.app/Contents/MacOS/gone\n"
            "\t}\n}\n");
    scripted->expect("/bin/launchctl", {"print", "gui/501/com.example.unclear"}).returns(5, "", "weird");
    runner = scripted;
    const auto removal = this->removal();
    const auto outcomes =
        removal.remove({item("user/com.example.gone"), item("user/com.example.unclear")}, false);

    ASSERT_EQ(outcomes.size(), 2u);
    EXPECT_EQ(outcomes[0].outcome, ItemOutcome::skipped(std::string(ServiceRemovalText::otherAppLoaded)));
    EXPECT_EQ(outcomes[0].message, ServiceRemovalText::otherAppLoaded);
    EXPECT_EQ(outcomes[1].outcome, ItemOutcome::skipped(std::string(ServiceRemovalText::stateUnclear)));
    EXPECT_TRUE(fs::exists(agentFile));
    EXPECT_TRUE(fs::exists(second));
    EXPECT_FALSE(fs::exists(tree.home() / ".Trash"));
    for (const auto& line : runner->commandLines())
        EXPECT_EQ(line.find("bootout"), std::string::npos) << line;
}

TEST_F(ServiceRemovalTest, FailedStopKeepsTheFileOnlyWhileThisServiceIsLoaded) {
    tree.userAgent("com.example.idle.plist", {.label = "com.example.idle", .program = "/opt/idle/tool"});
    auto scripted = std::make_shared<ScriptedCommandRunner>();
    scripted->expect("/bin/launchctl", {"print", "gui/501/com.example.gone"})
        .returns(0, "gui/501/com.example.gone = {\n\tprogram = /Applications/Gone.app/Contents/MacOS/gone\n"
                    "\tstate = running\n}\n");
    scripted->expect("/bin/launchctl", {"print", "gui/501/com.example.idle"}).returns(113);
    scripted->expect("/bin/launchctl", {"bootout", "gui/501/com.example.gone"}).returns(5);
    scripted->expect("/bin/launchctl", {"bootout", "gui/501/com.example.idle"}).returns(5);
    runner = scripted;
    const auto removal = this->removal();
    const auto outcomes =
        removal.remove({item("user/com.example.gone"), item("user/com.example.idle")}, false);

    ASSERT_EQ(outcomes.size(), 2u);
    EXPECT_TRUE(outcomes[0].outcome.isFailed());
    EXPECT_EQ(outcomes[0].message, ServiceRemovalText::stopFailed);
    EXPECT_TRUE(fs::exists(agentFile));
    EXPECT_TRUE(outcomes[1].outcome.isRemoved()) << outcomes[1].message;
    EXPECT_TRUE(fs::exists(trashed("com.example.idle.plist")));
}

TEST_F(ServiceRemovalTest, ItemThatIsNoLongerOrphanedOrBlockedIsNeverTouched) {
    tree.program("/opt/example/present");
    const auto keptFile = tree.userAgent("com.example.present.plist",
                                         {.label = "com.example.present", .program = "/opt/example/present"});
    const auto gone = item("user/com.example.gone");
    const auto daemon = item("system/com.example.daemon");
    // The app came back after the list was made.
    tree.app("/Applications/Gone.app", "com.example.gone", "Contents/MacOS/gone");
    LaunchItem apple = gone;
    apple.label = "com.apple.fake";

    const auto removal = this->removal();
    // Which block reason applies is the orphan finding's business; here any one stops the removal.
    const auto outcomes = removal.remove({gone, item("user/com.example.present"), apple, daemon}, false);

    ASSERT_EQ(outcomes.size(), 4u);
    EXPECT_EQ(outcomes[0].message, ServiceRemovalText::noLongerOrphaned);
    EXPECT_EQ(outcomes[1].message, "Der Dienst ist nicht verwaist.");
    EXPECT_EQ(outcomes[2].message, "Gehört zu macOS.");
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_TRUE(outcomes[i].outcome.isSkipped()) << i;
    EXPECT_TRUE(outcomes[3].outcome.isRemoved());
    EXPECT_TRUE(fs::exists(agentFile));
    EXPECT_TRUE(fs::exists(keptFile));
    EXPECT_FALSE(ranCommand(*runner, "/bin/launchctl bootout gui/501/com.example.gone"));
}

} // namespace
} // namespace velmora::test
