#include "Check/SystemdTimerService.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using velmora::test::ScriptedCommandRunner;
using velmora::testing::TempTree;

namespace {

namespace fs = std::filesystem;
const std::string weekly = "de.tobrenlux.velmora2.check.weekly.plist";
const std::string monthly = "de.tobrenlux.velmora2.check.monthly.plist";

struct UserUnits {
    TempTree tree;
    fs::path folder = tree / ".config/systemd/user";
    std::shared_ptr<ScriptedCommandRunner> runner = std::make_shared<ScriptedCommandRunner>();
    SystemdTimerService service{
        {runner, fs::path("/usr/bin/systemctl"), folder, fs::path("/opt/velmora/bin/velmora")}};

    std::vector<std::string> unitFiles() const { return velmora::testing::namesIn(folder); }
};

} // namespace

TEST(SystemdTimerService, UnitsRunTheCheckAtTheScheduledTimeAndCatchUpMissedRuns) {
    const auto timer = SystemdTimerService::timerUnit(CheckSchedule::weekly);
    const auto service =
        SystemdTimerService::serviceUnit(CheckSchedule::monthly, "/opt/velmora 2/50%/$x/velmora");
    ASSERT_TRUE(service);
    for (const auto& [unit, line] : std::vector<std::pair<std::string, std::string>>{
             {timer, "OnCalendar=Sun *-*-* 10:00:00"},
             {timer, "Persistent=true"},
             {timer, "Unit=velmora2-check-weekly.service"},
             {timer, "WantedBy=timers.target"},
             {SystemdTimerService::timerUnit(CheckSchedule::monthly), "OnCalendar=*-*-01 10:00:00"},
             {*service, "ExecStart=\"/opt/velmora 2/50%%/$x/velmora\" --check"},
             {*service, "Type=oneshot"}})
        EXPECT_NE(unit.find("\n" + line + "\n"), std::string::npos) << line << " in\n" << unit;
    for (const char* refused : {"/opt/a\"b/velmora", "/opt/a\\b/velmora", "/opt/a'b/velmora",
                                "/opt/a\nb/velmora", "/opt/\xff/velmora"})
        EXPECT_EQ(SystemdTimerService::quotedExecutable(refused), std::nullopt) << refused;
}

// Registering writes and enables; unregistering disables and removes, and leaves systemctl alone when
// nothing of ours is there. A failed enable takes the units away again, a failed disable removes them all
// the same.
TEST(SystemdTimerService, RegisterAndUnregisterLeaveNoUnitsBehindWhenSystemctlFails) {
    UserUnits units;
    units.runner->expect("/usr/bin/systemctl", {"--user", "enable", "--now", "velmora2-check-monthly.timer"})
        .returns(1, "", "Failed to connect to bus: No medium found\n");
    units.runner->expect("/usr/bin/systemctl", {"--user", "disable", "--now", "velmora2-check-monthly.timer"})
        .fails(CommandError::Kind::timeout);
    units.runner->expect("/usr/bin/systemctl").returns(0);
    ASSERT_TRUE(units.service.registerAgent(weekly));
    EXPECT_EQ(velmora::testing::contentOf(units.folder / "velmora2-check-weekly.timer"),
              SystemdTimerService::timerUnit(CheckSchedule::weekly));
    ASSERT_TRUE(units.service.unregisterAgent(monthly));
    ASSERT_TRUE(units.service.unregisterAgent(weekly));
    EXPECT_TRUE(units.unitFiles().empty());
    EXPECT_EQ(units.runner->commandLines(),
              (std::vector<std::string>{"/usr/bin/systemctl --user daemon-reload",
                                        "/usr/bin/systemctl --user enable --now velmora2-check-weekly.timer",
                                        "/usr/bin/systemctl --user disable --now velmora2-check-weekly.timer",
                                        "/usr/bin/systemctl --user daemon-reload"}));

    const auto registered = units.service.registerAgent(monthly);
    ASSERT_FALSE(registered);
    EXPECT_EQ(registered.error().detail,
              "/usr/bin/systemctl: Exit 1 – Failed to connect to bus: No medium found");
    EXPECT_TRUE(units.unitFiles().empty());

    units.tree.file(".config/systemd/user/velmora2-check-monthly.timer", "[Timer]\n");
    units.tree.file(".config/systemd/user/velmora2-check-monthly.service", "[Service]\n");
    EXPECT_EQ(units.service.unregisterAgent(monthly).error().detail,
              "/usr/bin/systemctl: Zeitüberschreitung");
    EXPECT_TRUE(units.unitFiles().empty());

    SystemdTimerService noProgram({units.runner, fs::path("/usr/bin/systemctl"), units.folder, std::nullopt});
    EXPECT_EQ(noProgram.registerAgent(weekly).error().kind, AgentServiceError::Kind::noExecutable);
    EXPECT_TRUE(units.unitFiles().empty());
}

TEST(SystemdTimerService, StatusReadsIsEnabledOnlyWhenOurTimerIsThere) {
    UserUnits units;
    EXPECT_EQ(units.service.status(weekly), AgentStatus::notRegistered);
    EXPECT_TRUE(units.runner->calls().empty());

    units.tree.file(".config/systemd/user/velmora2-check-weekly.timer", "[Timer]\n");
    const std::vector<std::string> isEnabled{"--user", "is-enabled", "velmora2-check-weekly.timer"};
    const std::vector<std::tuple<int, std::string, std::string, AgentStatus>> answers{
        {0, "enabled\n", "", AgentStatus::enabled},
        {1, "disabled\n", "", AgentStatus::notRegistered},
        {1, "masked\n", "", AgentStatus::requiresApproval},
        {1, "", "Failed to connect to bus\n", AgentStatus::notFound}};
    for (const auto& [exitCode, out, err, expected] : answers) {
        units.runner->expect("/usr/bin/systemctl", isEnabled).once().returns(exitCode, out, err);
        EXPECT_EQ(units.service.status(weekly), expected) << rawValue(expected);
    }
    units.runner->expect("/usr/bin/systemctl", isEnabled)
        .fails(CommandError::Kind::launchFailed, "No such file");
    EXPECT_EQ(units.service.status(weekly), AgentStatus::notFound);
    SystemdTimerService noSystemd({units.runner, std::nullopt, units.folder, fs::path("/v")});
    EXPECT_EQ(noSystemd.status(weekly), AgentStatus::notFound);
}
