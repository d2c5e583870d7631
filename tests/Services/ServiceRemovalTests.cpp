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

// One removal over every reason to leave a service alone, beside a user agent and a daemon that may go:
// first as a dry run that changes nothing, then for real.
TEST(ServiceRemoval, OnlyAnOrphanThatIsNotLoadedOrStopsGoesDaemonsInsideTheAdminScript) {
    LaunchTree tree;
    for (const std::string name : {"other", "unclear", "stuck", "idle"})
        tree.userAgent("com.example." + name + ".plist",
                       {.label = "com.example." + name, .program = "/opt/" + name + "/tool"});
    tree.program("/opt/example/present");
    tree.userAgent("com.example.present.plist",
                   {.label = "com.example.present", .program = "/opt/example/present"});
    tree.userAgent("com.example.gone.plist",
                   {.label = "com.example.gone", .program = "/Applications/Gone.app/Contents/MacOS/gone"});
    tree.daemon("com.example.daemon.plist",
                {.label = "com.example.daemon", .program = "/opt/example/daemon"});
    auto runner = std::make_shared<ScriptedCommandRunner>();
    runner->expect("/bin/launchctl", {"print", "gui/501/com.example.other"})
        .returns(0, "gui/501/com.example.other = {\n\tprogram = /Applications/Other.app/Contents/MacOS/x\n"
                    "\tstate = running\n\targuments = {\n\t\tprogram = /opt/other/tool\n\t}\n}\n");
    runner->expect("/bin/launchctl", {"print", "gui/501/com.example.unclear"}).returns(5, "", "weird");
    runner->expect("/bin/launchctl", {"print", "gui/501/com.example.stuck"})
        .returns(0, "gui/501/com.example.stuck = {\n\tprogram = /opt/stuck/tool\n\tstate = running\n}\n");
    runner->expect("/bin/launchctl", {"bootout", "gui/501/com.example.stuck"}).returns(5);
    runner->expect("/bin/launchctl", {"bootout", "gui/501/com.example.idle"}).returns(5);
    runner->expect("/bin/launchctl").returns(113);
    auto executor = std::make_shared<FakePrivilegedExecutor>(AdminRunResult::completed({0, 0}));
    auto scanner = std::make_shared<const LaunchItemScanner>(tree.sources(runner));
    const ServiceRemoval removal(scanner, runner,
                                 RemovalRunner::live(std::make_shared<HomeTrash>(tree.home()),
                                                     std::make_shared<const SafetyGuard>(SafetyGuard::live(
                                                         PlatformLayout::macOS, tree.root(), "/Users/anna")),
                                                     runner, ToolLocator{}, executor, nullptr, nullptr));
    std::vector<LaunchItem> items;
    const auto scanned = scanner->scan();
    for (const char* label : {"other", "unclear", "stuck", "idle", "present", "gone"})
        items.push_back(itemOf(scanned, "user/com.example." + std::string(label)));
    items.push_back(items.back());
    items.back().label = "com.apple.fake";
    items.push_back(itemOf(scanned, "system/com.example.daemon"));
    // The app came back after the list was made.
    tree.app("/Applications/Gone.app", "com.example.gone", "Contents/MacOS/gone");
    const auto before = velmora::testing::snapshot(tree.root());
    const auto bootouts = [&] {
        std::vector<std::string> lines;
        for (const auto& line : runner->commandLines())
            if (line.find("bootout") != std::string::npos)
                lines.push_back(line);
        return lines;
    };

    // Which block reason applies is the orphan finding's business; here any one stops the removal.
    const std::string dry = "Trockenlauf";
    const std::vector<std::tuple<std::string_view, std::string_view, char>> expected{
        {ServiceRemovalText::otherAppLoaded, ServiceRemovalText::otherAppLoaded, 's'},
        {ServiceRemovalText::stateUnclear, ServiceRemovalText::stateUnclear, 's'},
        {ServiceRemovalText::stopFailed, dry, 'f'},
        {ServiceRemovalText::trashed, dry, 'r'},
        {"Der Dienst ist nicht verwaist.", "Der Dienst ist nicht verwaist.", 's'},
        {ServiceRemovalText::noLongerOrphaned, ServiceRemovalText::noLongerOrphaned, 's'},
        {"Gehört zu macOS.", "Gehört zu macOS.", 's'},
        {ServiceRemovalText::deleted, dry, 'r'}};
    for (const bool dryRun : {true, false}) {
        const auto outcomes = removal.remove(items, dryRun);
        ASSERT_EQ(outcomes.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const auto& [message, dryMessage, kind] = expected[i];
            const auto& outcome = outcomes[i].outcome;
            const char got = outcome.isSkipped()   ? 's'
                             : outcome.isFailed()  ? 'f'
                             : outcome.isRemoved() ? 'r'
                                                   : '?';
            EXPECT_EQ(std::pair(outcomes[i].message, got),
                      std::pair(std::string(dryRun ? dryMessage : message), dryRun ? 's' : kind))
                << items[i].label;
            EXPECT_EQ(
                std::tuple(outcomes[i].findingID.scannerID, outcomes[i].kind, outcomes[i].label),
                std::tuple("services.orphaned", i + 1 == items.size() ? "admin" : "user", items[i].label));
            // The fake administrator prompt deletes nothing.
            EXPECT_TRUE(dryRun || i + 1 == items.size() || fs::exists(*items[i].plistURL) == (kind != 'r'))
                << items[i].label;
        }
        if (dryRun) {
            EXPECT_EQ(velmora::testing::snapshot(tree.root()), before);
            EXPECT_TRUE(executor->scripts().empty() && bootouts().empty());
        }
    }
    EXPECT_TRUE(fs::exists(tree.home() / ".Trash/com.example.idle.plist"));
    // Daemons are stopped and deleted inside the one admin script, never booted out here.
    EXPECT_EQ(executor->scripts().size(), 1u);
    EXPECT_EQ(bootouts(), (std::vector<std::string>{"/bin/launchctl bootout gui/501/com.example.stuck",
                                                    "/bin/launchctl bootout gui/501/com.example.idle"}));
}

} // namespace
} // namespace velmora::test
