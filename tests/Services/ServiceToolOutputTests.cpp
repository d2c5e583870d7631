#include "Services/LaunchdService.hpp"
#include "Services/LoginItemReader.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::test;

namespace {

constexpr auto on = "Startet bei jeder Anmeldung.";
constexpr auto off = "Ist in den Systemeinstellungen ausgeschaltet.";

// What sfltool and launchctl printed on real Macs.
std::string fixture(const std::string& name) {
    return velmora::testing::contentOf(std::filesystem::path(VELMORA_FIXTURES) / name);
}

TEST(LoginItemReader, ParsesOnlyTheCurrentUsersSectionIntoLoginItemsWithBlanksTrimmed) {
    const auto dump = fixture("sfltool/dumpbtm-several-users.txt");
    const auto entries = LoginItemReader::parse(dump, 501);
    ASSERT_EQ(entries.size(), 8u);
    // Values keep what follows the first colon; "(null)" and empty values count as absent. What the
    // login items make of the other fields shows below.
    EXPECT_EQ(entries[1].value("URL"), "file:///Applications/Dropbox.app/");
    EXPECT_EQ(entries[4].value("#1"), "16.com.docker.vmnetd");
    EXPECT_FALSE(entries[6].value("Name"));

    EXPECT_EQ(LoginItemReader::parse(dump, 0).size(), 1u);
    EXPECT_EQ(LoginItemReader::parse(dump, 5010).size(), 1u);
    EXPECT_TRUE(LoginItemReader::parse(dump, 50).empty());
    EXPECT_TRUE(LoginItemReader::parse(dump, 4294967294u).empty()); // "-2" is not a number we match
    EXPECT_TRUE(LoginItemReader::parse(fixture("sfltool/dumpbtm-no-sections.txt"), 501).empty());
    EXPECT_TRUE(LoginItemReader::parse("", 501).empty());

    const auto items = LoginItemReader::loginItems(entries);
    ASSERT_EQ(items.size(), 4u);

    const std::vector<std::tuple<std::string, std::vector<std::string>, const char*>> expected{
        {"com.getdropbox.dropbox", {"com.getdropbox.dropbox"}, on},
        {"com.spotify.client", {"com.spotify.client"}, off},
        {"4.com.example.suite.helper", {"com.example.suite"}, off},
        {"2.org.example.nameless", {}, off}};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(std::tuple(items[i].label, items[i].associatedBundleIDs, items[i].explanation),
                  expected[i]);
        EXPECT_EQ(std::tuple(items[i].scope, items[i].startKind,
                             items[i].plistURL || items[i].programPath || items[i].isOrphaned ||
                                 items[i].isRunning),
                  std::tuple(LaunchScope::loginItem, StartKind::atLogin, false));
    }
    EXPECT_EQ(std::tuple(items[0].displayName, items[1].displayName), std::tuple("Dropbox", "Spotify"));

    // Duplicates merge, and one switched-on record wins.
    const auto record = [](const char* disposition) {
        return LoginItemReader::Entry{
            {{"Type", "login item (0x4)"}, {"Identifier", "2.x"}, {"Disposition", disposition}}};
    };
    const LoginItemReader::Entry anonymous{{{"Type", "login item (0x4)"}}};
    const auto merged = LoginItemReader::loginItems(
        {record("[disabled, allowed] (0x2)"), record("[enabled, allowed] (0x3)"), anonymous});
    ASSERT_EQ(merged.size(), 1u);
    EXPECT_EQ(merged[0].explanation, on);

    // Windows line ends and odd blanks are trimmed.
    const auto crlf =
        LoginItemReader::loginItems(LoginItemReader::parse(fixture("sfltool/dumpbtm-crlf.txt"), 502));
    ASSERT_EQ(crlf.size(), 1u);
    EXPECT_EQ(crlf[0].displayName, "Nur\u00a0Ich");
    EXPECT_EQ(crlf[0].label, "2.de.example.nurich");
    EXPECT_EQ(crlf[0].explanation, on);
}

TEST(LoginItemReader, ReadsThroughSfltoolAndReportsItsFailures) {
    auto runner = std::make_shared<ScriptedCommandRunner>();
    runner->expect("/usr/bin/sfltool", {"dumpbtm"})
        .once()
        .returns(0, fixture("sfltool/dumpbtm-several-users.txt"));
    runner->expect("/usr/bin/sfltool", {"dumpbtm"}).once().returns(1, "", "dumpbtm requires root");
    runner->expect("/usr/bin/sfltool", {"dumpbtm"}).once().fails(CommandError::Kind::timeout);
    runner->expect("/usr/bin/sfltool", {"dumpbtm"}).once().fails(CommandError::Kind::launchFailed, "ENOENT");
    const LoginItemReader reader(runner, 501);

    EXPECT_EQ(reader.read().value_or(std::vector<LaunchItem>{}).size(), 4u);
    for (const auto error :
         {LoginItemReadError::failed, LoginItemReadError::timedOut, LoginItemReadError::failed})
        EXPECT_EQ(reader.read(), std::unexpected(error));
    for (const auto& call : runner->calls())
        EXPECT_EQ(call.timeout, std::chrono::seconds{20});
    EXPECT_EQ(loginItemReadErrorText(LoginItemReadError::timedOut),
              "Die Anmeldeobjekte konnten nicht gelesen werden: Zeitüberschreitung nach 20 s");

    EXPECT_EQ(LoginItemReader(nullptr, 501).read(), std::unexpected(LoginItemReadError::failed));
}

TEST(LaunchdService, ParsesItsOwnBlockTargetsByScopeAndTellsNotLoadedFromUnclear) {
    const auto running = LaunchdService::parse(fixture("launchctl/print-running.txt"));
    EXPECT_TRUE(running.isRunning);
    EXPECT_EQ(running.program, "/Applications/Example Sync.app/Contents/MacOS/sync-agent");
    EXPECT_EQ(running.path, "/Users/anna/Library/LaunchAgents/com.example.sync.plist");

    const auto stopped = LaunchdService::parse(fixture("launchctl/print-not-running.txt"));
    EXPECT_FALSE(stopped.isRunning);
    EXPECT_EQ(stopped.program, "/usr/local/libexec/example-daemon");

    EXPECT_EQ(LaunchdService::parse(""), LaunchdService{});
    EXPECT_EQ(LaunchdService::parse("}\n}\n{\npath = /x\n"), (LaunchdService{false, std::nullopt, "/x"}));

    EXPECT_EQ(LaunchdService::target(LaunchScope::allUsers, 502, "a.b"), "gui/502/a.b");
    EXPECT_EQ(LaunchdService::target(LaunchScope::loginItem, 501, "a.b"), std::nullopt);

    auto runner = std::make_shared<ScriptedCommandRunner>();
    runner->expect("/bin/launchctl", {"print", "gui/501/ok"})
        .returns(0, fixture("launchctl/print-running.txt"));
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
