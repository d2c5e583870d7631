#include "Check/CheckHistory.hpp"
#include "Check/CheckNotificationText.hpp"
#include "Cli/CliTestSupport.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace velmora;
using namespace velmora::testing;
using velmora::test::ScriptedCommandRunner;

namespace {

namespace fs = std::filesystem;

// A Linux home in a temp tree; every command runs with a scripted command runner, so no real tool
// (systemctl, notify-send …) is ever started.
struct LinuxHome : CliTree {
    LinuxHome()
        : CliTree("linux", {std::make_shared<ScriptedCommandRunner>(), "/opt/velmora/bin/velmora", {}}) {}

    std::shared_ptr<ScriptedCommandRunner> runner =
        std::static_pointer_cast<ScriptedCommandRunner>(overrides.runner);
    fs::path historyFile = home / ".local/share/Velmora2/history.json";
    // Makes a tool "installed" for the tool locator; the scripted runner answers in its place.
    fs::path install(const std::string& relative) const {
        const auto tool = tree.file(relative, "#!/bin/sh\nexit 1\n");
        fs::permissions(tool, fs::perms::owner_all);
        return tool;
    }
    std::vector<CheckSnapshot> history() const { return CheckHistory(historyFile).all(); }
    std::vector<std::string> unitFiles() const { return namesIn(home / ".config/systemd/user"); }
};

// Reserves `bytes` of real disk blocks (not a sparse file); false when the file system cannot.
bool allocate(const fs::path& file, std::int64_t bytes) {
#ifdef __linux__
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const bool done = ::fallocate(fd, 0, 0, bytes) == 0;
    ::close(fd);
    return done;
#else
    (void)file;
    (void)bytes;
    return false;
#endif
}

const std::string weeklyLabel = "de.tobrenlux.velmora2.check.weekly";

} // namespace

TEST(CheckCommand, ACacheGrownBySixGigabytesLeavesTwoSnapshotsAndTheGrowthNotification) {
    constexpr std::int64_t growth = 6'000'000'000;
    LinuxHome linux;
    struct statvfs volume {};
    if (::statvfs(linux.tree.root().c_str(), &volume) != 0 ||
        static_cast<std::int64_t>(volume.f_bavail) * static_cast<std::int64_t>(volume.f_frsize) <
            growth + 4'000'000'000)
        GTEST_SKIP() << "not enough free space for a 6 GB cache";
    linux.tree.file("home/anna/.cache/pip/http/a/b", "wheel");

    auto first = linux.run({"check"});
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_THAT(first.out, HasSubstr("Funde: 1\n"));
    const auto big = linux.home / ".cache/pip/http/big";
    if (!allocate(big, growth) || occupiedBytes(big) < growth)
        GTEST_SKIP() << "the temp file system cannot allocate space without writing it";

    const auto second = linux.run({"check"});
    ASSERT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(linux.history().size(), 2u);
    const std::string body = "pip-Cache +6 GB seit dem letzten Check · 6 GB aufräumbar";
    EXPECT_THAT(second.out, HasSubstr("  • pip-Cache +6 GB seit dem letzten Check (von "));
    EXPECT_THAT(second.out, HasSubstr("Mitteilung: Velmora 2 – " + body + "\n"));
    // notify-send is not installed in the tree: notifications count as switched off.
    EXPECT_THAT(
        second.out,
        HasSubstr("Nicht gezeigt: Mitteilungen sind ausgeschaltet. Ohne sie meldet sich der Check nicht.\n"));
    EXPECT_TRUE(linux.runner->calls().empty());

    const auto history = linux.run({"history"});
    EXPECT_TRUE(history.out.starts_with("Letzter Check vor ")) << history.out;
    EXPECT_THAT(history.out, HasSubstr(": " + body + "\n"));

    // With notify-send the headless check posts its one notification and prints nothing.
    const auto notifySend = linux.install("usr/bin/notify-send");
    linux.runner->expect(notifySend).returns(0);
    const auto headless = linux.run({"--check"});
    EXPECT_EQ(headless.status, 0) << headless.err;
    EXPECT_EQ(headless.out, "");
    EXPECT_EQ(linux.history().size(), 3u);
    // First notify-send is asked whether it reports clicks; this one does not, so it posts plainly.
    ASSERT_EQ(linux.runner->calls().size(), 2u);
    EXPECT_EQ(linux.runner->calls()[0].arguments, std::vector<std::string>{"--help"});
    EXPECT_EQ(linux.runner->calls()[1].arguments.back(), "6 GB aufräumbar"); // always worth a word
}

TEST(CheckCommand, ACorruptHistoryReadsAsEmptyHeadlessCheckStandsAloneAndFailsWhenTheHistoryCannotBeWritten) {
    LinuxHome linux;
    linux.tree.file("home/anna/.local/share/Velmora2/history.json", "[{\"date\": \"gestern\"");
    EXPECT_EQ(linux.run({"history"}).out, "Noch kein automatischer Check gelaufen.\n");
    EXPECT_FALSE(present(linux.historyFile.string() + ".bad")); // reading alone moves nothing

    auto run = linux.run({"check"});
    ASSERT_EQ(run.status, 0) << run.err;

    const auto json = nlohmann::json::parse(linux.run({"history", "--json"}).out);
    EXPECT_TRUE(json["summary"].get<std::string>().starts_with("Letzter Check vor ")) << json;
    ASSERT_EQ(json["checks"].size(), 1u);
    EXPECT_EQ(json["checks"][0].get<CheckSnapshot>(), linux.history().front());

    run = linux.run({"--check", "history"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("--check steht für sich allein"));

    fs::remove_all(linux.home / ".local/share/Velmora2");
    linux.tree.file("home/anna/.local/share/Velmora2", "a file where the folder belongs");
    run = linux.run({"--check"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("Konnte den Verlauf der Checks nicht speichern."));
    EXPECT_EQ(contentOf(linux.home / ".local/share/Velmora2"), "a file where the folder belongs");
}

TEST(ScheduleCommand, LinuxWeeklyMonthlyOffLeaveExactlyTheExpectedUnits) {
    LinuxHome linux;
    // Without systemctl the registration fails, says so and keeps the chosen schedule.
    auto run = linux.run({"schedule", "weekly"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err,
              "velmora: Konnte den automatischen Check nicht anmelden. (systemctl nicht gefunden)\n");
    EXPECT_TRUE(linux.unitFiles().empty());
    EXPECT_EQ(linux.run({"schedule"}).out,
              "Automatischer Check: Wöchentlich (sonntags 10 Uhr)\n"
              "Nicht angemeldet.\n"
              "Mitteilungen sind ausgeschaltet. Ohne sie meldet sich der Check nicht.\n"
              "Der Check meldet sich nur, wenn es sich lohnt – und löscht nie etwas.\n");

    const auto systemctl = linux.install("usr/bin/systemctl");
    for (const char* unit : {"velmora2-check-weekly.timer", "velmora2-check-monthly.timer"})
        linux.runner->expect(systemctl, {"--user", "is-enabled", unit}).returns(0, "enabled\n");
    linux.runner->expect(systemctl).returns(0);
    run = linux.run({"schedule", "weekly"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out.starts_with("Automatischer Check: Wöchentlich (sonntags 10 Uhr)\n"
                                    "Angemeldet – der Check läuft automatisch.\n"))
        << run.out;
    EXPECT_EQ(linux.unitFiles(),
              (std::vector<std::string>{"velmora2-check-weekly.service", "velmora2-check-weekly.timer"}));
    const auto service = contentOf(linux.home / ".config/systemd/user/velmora2-check-weekly.service");
    EXPECT_THAT(service, HasSubstr("\nExecStart=\"/opt/velmora/bin/velmora\" --check\n"));

    run = linux.run({"schedule", "monthly"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out.starts_with("Automatischer Check: Monatlich (Monatserster 10 Uhr)\n"
                                    "Angemeldet – der Check läuft automatisch.\n"));

    run = linux.run({"schedule", "off"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out.starts_with("Automatischer Check: Aus\nNicht angemeldet.\n"));
    EXPECT_TRUE(linux.unitFiles().empty());
    EXPECT_EQ(nlohmann::json::parse(contentOf(linux.home / ".config/velmora2/settings.json")),
              nlohmann::json::parse(R"({"checkSchedule": "off"})"));

    run = linux.run({"schedule", "daily"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "velmora: Unbekannter Zeitplan „daily“ – erlaubt sind off, weekly und monthly.\n");
}

// The same command on the macOS layout goes through a launch agent and the defaults tool.
TEST(ScheduleCommand, MacLayoutWritesTheLaunchAgentAndStoresTheScheduleInTheDefaults) {
    TempTree tree;
    const auto agents = tree.folder("Users/anna/Library/LaunchAgents");
    auto runner = std::make_shared<ScriptedCommandRunner>();
    const auto launchctl = tree / "bin/launchctl";
    const auto defaults = tree / "usr/bin/defaults";
    const std::string domain = "gui/" + std::to_string(::getuid());
    runner->expect(launchctl, {"bootout", domain + "/" + weeklyLabel}).returns(3);
    runner->expect(launchctl, {"bootstrap", domain, (agents / (weeklyLabel + ".plist")).string()}).returns(0);
    runner->expect(launchctl, {"print", domain + "/" + weeklyLabel}).returns(0);
    runner->expect(launchctl).returns(3);
    runner->expect(defaults).returns(0);
    const auto result =
        runInTree({"schedule", "weekly"}, tree.root(), "macos", "/Users/anna",
                  {runner, fs::path("/Applications/Velmora 2.app/Contents/MacOS/Velmora"), std::nullopt});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(result.out.starts_with("Automatischer Check: Wöchentlich (sonntags 10 Uhr)\n"
                                       "Angemeldet – der Check läuft automatisch.\n"
                                       "Mitteilungen sind ausgeschaltet."))
        << result.out;
    EXPECT_EQ(namesIn(agents), std::vector<std::string>{weeklyLabel + ".plist"});
    const auto plist = contentOf(agents / (weeklyLabel + ".plist"));
    EXPECT_THAT(plist, HasSubstr("<string>/Applications/Velmora "
                                 "2.app/Contents/MacOS/Velmora</string>\n\t\t<string>--check</string>"));
    EXPECT_EQ(runner->calls().front().commandLine(),
              defaults.string() + " write de.tobrenlux.velmora2 checkSchedule -string weekly");
}

// The check asks the services too: an agent orphaned since the last check is worth a word.
TEST(CheckCommand, AnAgentOrphanedSinceTheLastCheckRaisesTheOrphanAlertAndNoneWithout) {
    const CliTree mac("macos", {std::make_shared<ScriptedCommandRunner>(), std::nullopt, 501});
    const auto& tree = mac.tree;
    tree.folder("Users/anna/Library/LaunchAgents");
    const auto check = [&] { return mac.run({"check"}); };
    const std::string alert = "1 neuer verwaister Hintergrunddienst";
    for (int run = 0; run < 2; ++run) {
        const auto quiet = check();
        ASSERT_EQ(quiet.status, 0) << quiet.err;
        EXPECT_THAT(quiet.out, Not(HasSubstr(alert)));
    }
    tree.file("Users/anna/Library/LaunchAgents/com.example.gone.plist",
              "<plist><dict><key>Label</key><string>com.example.gone</string><key>Program</key>"
              "<string>/opt/gone/bin/gone</string></dict></plist>");
    const auto loud = check();
    ASSERT_EQ(loud.status, 0) << loud.err;
    EXPECT_THAT(loud.out, HasSubstr(alert));
}
