#include "Services/LaunchdService.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::test;

namespace {

std::string fixture(const std::string& name) {
    return velmora::testing::contentOf(std::filesystem::path(VELMORA_FIXTURES) / "launchctl" / name);
}

TEST(LaunchdService, ParsesItsOwnBlockTargetsByScopeAndTellsNotLoadedFromUnclear) {
    const auto running = LaunchdService::parse(fixture("print-running.txt"));
    EXPECT_TRUE(running.isRunning);
    EXPECT_EQ(running.program, "/Applications/Example Sync.app/Contents/MacOS/sync-agent");
    EXPECT_EQ(running.path, "/Users/anna/Library/LaunchAgents/com.example.sync.plist");

    const auto stopped = LaunchdService::parse(fixture("print-not-running.txt"));
    EXPECT_FALSE(stopped.isRunning);
    EXPECT_EQ(stopped.program, "/usr/local/libexec/example-daemon");

    EXPECT_EQ(LaunchdService::parse(""), LaunchdService{});
    EXPECT_EQ(LaunchdService::parse("}\n}\n{\npath = /x\n"), (LaunchdService{false, std::nullopt, "/x"}));

    EXPECT_EQ(LaunchdService::target(LaunchScope::allUsers, 502, "a.b"), "gui/502/a.b");
    EXPECT_EQ(LaunchdService::target(LaunchScope::loginItem, 501, "a.b"), std::nullopt);

    auto runner = std::make_shared<ScriptedCommandRunner>();
    runner->expect("/bin/launchctl", {"print", "gui/501/ok"}).returns(0, fixture("print-running.txt"));
    runner->expect("/bin/launchctl", {"print", "gui/501/none"}).returns(113, "", "Could not find service");
    runner->expect("/bin/launchctl", {"print", "gui/501/esrch"}).returns(3);
    runner->expect("/bin/launchctl", {"print", "gui/501/denied"}).returns(1, "", "Operation not permitted");
    runner->expect("/bin/launchctl", {"print", "gui/501/slow"}).fails(CommandError::Kind::timeout);

    EXPECT_TRUE(LaunchdService::query(*runner, "gui/501/ok")->isRunning);
    EXPECT_EQ(LaunchdService::query(*runner, "gui/501/none").error(), LaunchdQueryError::notLoaded);
    EXPECT_EQ(LaunchdService::query(*runner, "gui/501/esrch").error(), LaunchdQueryError::notLoaded);
    EXPECT_EQ(LaunchdService::query(*runner, "gui/501/denied").error(), LaunchdQueryError::unclear);
    EXPECT_EQ(LaunchdService::query(*runner, "gui/501/slow").error(), LaunchdQueryError::unclear);
}

} // namespace
