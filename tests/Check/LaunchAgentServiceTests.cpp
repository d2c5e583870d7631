#include "Check/AppleScriptNotifier.hpp"
#include "Check/LaunchAgentService.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Support/PropertyList.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using velmora::test::ScriptedCommandRunner;
using velmora::testing::present;
using velmora::testing::TempTree;

namespace {

namespace fs = std::filesystem;
const std::string weekly = "de.tobrenlux.velmora2.check.weekly.plist";
const std::string monthly = "de.tobrenlux.velmora2.check.monthly.plist";

struct LaunchAgents {
    TempTree tree;
    std::shared_ptr<ScriptedCommandRunner> runner = std::make_shared<ScriptedCommandRunner>();
    LaunchAgentService service{{runner, "/bin/launchctl", tree / "Library/LaunchAgents",
                                fs::path("/Applications/Velmora 2.app/Contents/MacOS/velmora"), 501}};
};

} // namespace

TEST(LaunchAgentService, TheAgentsPropertyListStartsTheProgramWithCheckAtTheScheduledTime) {
    for (const auto schedule : {CheckSchedule::weekly, CheckSchedule::monthly}) {
        const auto parsed =
            parsePropertyList(LaunchAgentService::propertyList(schedule, "/Apps/Velmora \"2\".app/v"));
        ASSERT_TRUE(parsed);
        EXPECT_EQ(plistString(parsed.get(), "Label"), LaunchAgentService::label(*agentPlistName(schedule)));
        EXPECT_EQ(plistStringArray(parsed.get(), "ProgramArguments"),
                  (std::vector<std::string>{"/Apps/Velmora \"2\".app/v", "--check"}));
        plist_t interval = plist_dict_get_item(parsed.get(), "StartCalendarInterval");
        std::map<std::string, std::uint64_t> fields;
        for (const char* key : {"Hour", "Minute", "Weekday", "Day"})
            if (plist_t node = plist_dict_get_item(interval, key);
                node && plist_get_node_type(node) == PLIST_UINT)
                plist_get_uint_val(node, &fields[key]);
        EXPECT_EQ(fields, (std::map<std::string, std::uint64_t>{
                              {"Hour", 10},
                              {"Minute", 0},
                              {schedule == CheckSchedule::weekly ? "Weekday" : "Day",
                               schedule == CheckSchedule::weekly ? 0u : 1u}}));
    }
}

// Registering boots out what may be loaded and bootstraps the written plist; a failed bootstrap leaves
// no plist for the next login; unregistering boots out and deletes.
TEST(LaunchAgentService, RegisterBootstrapsTheWrittenPlistOrLeavesNoneAndUnregisterBootsItOut) {
    LaunchAgents agents;
    const auto file = agents.tree / "Library/LaunchAgents" / weekly;
    agents.runner->expect("/bin/launchctl", {"bootstrap", "gui/501", file.string()}).returns(0);
    for (const char* label : {"weekly", "monthly"})
        agents.runner
            ->expect("/bin/launchctl",
                     {"bootout", "gui/501/de.tobrenlux.velmora2.check." + std::string(label)})
            .returns(3);
    agents.runner->expect("/bin/launchctl")
        .returns(5, "", "Bootstrap failed: 5: Input/output error\nTry re-running the command as root\n");
    ASSERT_TRUE(agents.service.registerAgent(weekly));
    EXPECT_EQ(agents.runner->commandLines(),
              (std::vector<std::string>{"/bin/launchctl bootout gui/501/de.tobrenlux.velmora2.check.weekly",
                                        "/bin/launchctl bootstrap gui/501 " + file.string()}));
    EXPECT_TRUE(present(file));

    const auto registered = agents.service.registerAgent(monthly);
    ASSERT_FALSE(registered);
    EXPECT_EQ(registered.error().kind, AgentServiceError::Kind::command);
    EXPECT_EQ(registered.error().detail, "/bin/launchctl: Exit 5 – Bootstrap failed: 5: Input/output error");
    EXPECT_FALSE(present(agents.tree / "Library/LaunchAgents" / monthly));

    ASSERT_TRUE(agents.service.unregisterAgent(weekly));
    EXPECT_FALSE(present(file));
    EXPECT_EQ(agents.runner->commandLines().back(),
              "/bin/launchctl bootout gui/501/de.tobrenlux.velmora2.check.weekly");
    EXPECT_TRUE(agents.service.unregisterAgent(monthly)); // nothing of ours there: nothing to undo

    EXPECT_EQ(agents.service.registerAgent("com.example.other.plist").error().kind,
              AgentServiceError::Kind::unknownAgent);
    LaunchAgentService nowhere({agents.runner, "/bin/launchctl", agents.tree / "LA", std::nullopt, 501});
    EXPECT_EQ(nowhere.registerAgent(weekly).error().kind, AgentServiceError::Kind::noExecutable);
}

TEST(LaunchAgentService, StatusComesFromLaunchdAndThePlistOnDisk) {
    LaunchAgents agents;
    const std::vector<std::string> printWeekly{"print", "gui/501/de.tobrenlux.velmora2.check.weekly"};
    agents.runner->expect("/bin/launchctl", printWeekly).returns(113, "", "Could not find service").once();
    EXPECT_EQ(agents.service.status(weekly), AgentStatus::notRegistered);

    agents.tree.file("Library/LaunchAgents/" + weekly,
                     LaunchAgentService::propertyList(CheckSchedule::weekly, "/v"));
    // Our file there: not loaded means waiting for approval; any answer about it means enabled.
    agents.runner->expect("/bin/launchctl", printWeekly).returns(113).once();
    agents.runner->expect("/bin/launchctl", printWeekly)
        .returns(0, "gui/501/… = {\n\tstate = waiting\n}\n")
        .once();
    agents.runner->expect("/bin/launchctl", printWeekly)
        .fails(CommandError::Kind::launchFailed, "No such file");
    for (const auto expected : {AgentStatus::requiresApproval, AgentStatus::enabled, AgentStatus::notFound})
        EXPECT_EQ(agents.service.status(weekly), expected) << rawValue(expected);
    EXPECT_EQ(agents.service.status("com.example.other.plist"), AgentStatus::notFound);
}

TEST(AppleScriptNotifier, QuotesTheTextsAsAppleScriptLiteralsAndPostsThroughOsascript) {
    CheckNotification notification{"Velmora 2", "Ordner \"a\\b\"\nzweite Zeile", AppTab::storage};
    EXPECT_EQ(AppleScriptNotifier::script(notification),
              R"(display notification "Ordner \"a\\b\" zweite Zeile" with title "Velmora 2")");

    TempTree tree;
    auto runner = std::make_shared<ScriptedCommandRunner>();
    AppleScriptNotifier missing(runner, tree / "usr/bin/osascript");
    EXPECT_EQ(missing.authorization(), NotificationAuthorization::denied);
    EXPECT_FALSE(missing.requestAuthorization());

    const auto osascript = tree.file("usr/bin/osascript", "#!/bin/sh\n");
    fs::permissions(osascript, fs::perms::owner_all);
    AppleScriptNotifier notifier(runner, osascript);
    EXPECT_EQ(notifier.authorization(), NotificationAuthorization::authorized);
    runner->expect(osascript).returns(0).once();
    runner->expect(osascript).returns(1, "", "execution error: -1743\n");
    ASSERT_TRUE(notifier.post(notification));
    EXPECT_EQ(runner->calls().back().arguments,
              (std::vector<std::string>{"-e", AppleScriptNotifier::script(notification)}));
    EXPECT_EQ(notifier.post(notification).error().detail,
              osascript.string() + ": Exit 1 – execution error: -1743");
}
