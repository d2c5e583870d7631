#include "Doubles/ScriptedCommandRunner.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

#include <thread>

using namespace velmora;
using namespace velmora::test;
using namespace std::chrono_literals;

TEST(ScriptedCommandRunner, AnswersFromTheScriptInOrderAndRecordsCalls) {
    ScriptedCommandRunner runner;
    runner.expect("/usr/bin/brew", {"list", "--cask"}).returns(0, "firefox\n");
    runner.expect("/usr/bin/brew", {"cleanup"}).returns(1, "", "Error: busy").once();
    runner.expect("/usr/bin/brew").returns(0, "any");
    runner.expect("/usr/bin/tmutil").fails(CommandError::Kind::launchFailed, "gone");

    EXPECT_EQ(runner.run("/usr/bin/brew", {"list", "--cask"}, 5s), (CommandResult{0, "firefox\n", ""}));
    EXPECT_EQ(runner.run("/usr/bin/brew", {"cleanup"}, 5s), (CommandResult{1, "", "Error: busy"}));
    EXPECT_EQ(runner.run("/usr/bin/brew", {"cleanup"}, 5s), (CommandResult{0, "any", ""})); // used up
    EXPECT_EQ(runner.run("/usr/bin/tmutil", {}, 5s).error(),
              (CommandError{CommandError::Kind::launchFailed, "gone"}));

    const auto unscripted = runner.run("/usr/bin/log", {"show", "a b"}, 5s);
    ASSERT_FALSE(unscripted.has_value());
    EXPECT_EQ(unscripted.error().kind, CommandError::Kind::launchFailed);
    EXPECT_EQ(unscripted.error().message, "unscripted: /usr/bin/log show 'a b'");

    EXPECT_EQ(
        runner.commandLines(),
        (std::vector<std::string>{"/usr/bin/brew list --cask", "/usr/bin/brew cleanup",
                                  "/usr/bin/brew cleanup", "/usr/bin/tmutil", "/usr/bin/log show 'a b'"}));
    EXPECT_EQ(runner.calls().front().timeout, 5s);
}

TEST(ScriptedCommandRunner, HangingCommandsEndByTimeLimitOrStopWithoutHoldingUpOthers) {
    ScriptedCommandRunner runner;
    runner.expect("/usr/bin/hang").hangs();
    runner.expect("/usr/bin/quick").returns(0, "done");
    EXPECT_EQ(runner.run("/usr/bin/hang", {}, 50ms).error().kind, CommandError::Kind::timeout);

    StopSource source;
    JoiningThread canceller([&source] {
        std::this_thread::sleep_for(100ms);
        source.request_stop();
    });
    const auto start = std::chrono::steady_clock::now();
    JoiningThread other([&runner] {
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(runner.run("/usr/bin/quick", {}, 5s)->standardOutput, "done");
    });
    EXPECT_EQ(
        runner.run("/usr/bin/hang", {}, std::chrono::nanoseconds::max(), source.get_token()).error().kind,
        CommandError::Kind::cancelled);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}
