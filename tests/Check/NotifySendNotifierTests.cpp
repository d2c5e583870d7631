#include "Check/NotifySendNotifier.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/ProcessCommandRunner.hpp"

#include <gtest/gtest.h>

#include <thread>

using namespace velmora;
using velmora::test::ScriptedCommandRunner;
using velmora::testing::TempTree;
namespace fs = std::filesystem;

namespace {

const CheckNotification grown{"Velmora 2", "npm-Cache\t+6 GB seit dem letzten Check", AppTab::developer};

TEST(NotifySendNotifier, WithoutItNothingIsPostedAndOnlyOneThatReportsClicksGetsTheOpener) {
    auto runner = std::make_shared<ScriptedCommandRunner>();
    NotifySendNotifier missing(runner, std::nullopt);
    EXPECT_EQ(missing.authorization(), NotificationAuthorization::denied);
    EXPECT_FALSE(missing.requestAuthorization() || missing.post(grown));
    EXPECT_TRUE(runner->calls().empty());
    EXPECT_EQ(NotifySendNotifier::arguments(grown),
              (std::vector<std::string>{"--app-name=Velmora 2", "--hint=string:x-velmora2-tab:developer",
                                        "--", "Velmora 2", "npm-Cache +6 GB seit dem letzten Check"}));

    for (const auto& [help, withVelmora, opener] : std::vector<std::tuple<std::string, bool, bool>>{
             {"  -w, --wait  Wait …\n  -A, --action=[NAME=]Text…\n", true, true},
             {"  -w, --wait  Wait …\n  -A, --action=[NAME=]Text…\n", false, false},
             {"  -u, --urgency=LEVEL\n", true, false}, // before 0.7.10
         }) {
        runner = std::make_shared<ScriptedCommandRunner>();
        runner->expect("/usr/bin/notify-send", {"--help"}).returns(0, help);
        runner->expect("/usr/bin/notify-send").returns(0);
        runner->expect("/bin/sh").returns(0);
        NotifySendNotifier notifier(runner, fs::path("/usr/bin/notify-send"),
                                    withVelmora ? std::optional<fs::path>("/opt/velmora/velmora")
                                                : std::nullopt);
        ASSERT_TRUE(notifier.post(grown)) << help;
        const auto last = runner->calls().back();
        EXPECT_EQ(std::pair(last.executable, last.arguments),
                  opener ? std::pair(fs::path("/bin/sh"),
                                     NotifySendNotifier::openingArguments(grown, "/usr/bin/notify-send",
                                                                          "/opt/velmora/velmora"))
                         : std::pair(fs::path("/usr/bin/notify-send"), NotifySendNotifier::arguments(grown)))
            << help;
    }
}

std::string waitForFile(const fs::path& file) {
    for (int i = 0; i < 100 && !fs::exists(file); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // the writer may still be at it
    return velmora::testing::contentOf(file);
}

// A real shell runs the opener with stand-ins for notify-send (answers "default", as on a click) and for
// velmora; texts that look like shell code must arrive as plain words.
TEST(NotifySendNotifier, TheClickStartsVelmoraOnTheTabAndTextsStayWords) {
    TempTree tree;
    const auto notifySend =
        tree.file("notify-send", "#!/bin/sh\n"
                                 "for a in \"$@\"; do printf '%s\\n' \"$a\"; done > \"$0.args\"\n"
                                 "echo default\n");
    const auto velmora = tree.file("velmora", "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.args\"\n");
    fs::permissions(notifySend, fs::perms::owner_all);
    fs::permissions(velmora, fs::perms::owner_all);
    const CheckNotification tricky{"Velmora 2", "\"$(touch pwned)\" `id` ; rm -rf x", AppTab::systemData};

    const auto arguments = NotifySendNotifier::openingArguments(tricky, notifySend, velmora);
    const auto started = std::chrono::steady_clock::now();
    const auto result =
        ProcessCommandRunner().run(NotifySendNotifier::shell, arguments, NotifySendNotifier::timeout);
    ASSERT_TRUE(result && result->exitCode == 0);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3)); // detached

    EXPECT_EQ(waitForFile(velmora.string() + ".args"), "--tab\nsystemData\n");
    const auto shown = waitForFile(notifySend.string() + ".args");
    for (const char* part :
         {"--wait\n--action=default=Öffnen\n", "--hint=string:x-dunst-stack-tag:velmora2.check\n",
          "\n--\nVelmora 2\n\"$(touch pwned)\" `id` ; rm -rf x\n"})
        EXPECT_NE(shown.find(part), std::string::npos) << part << " in\n" << shown;
    EXPECT_FALSE(fs::exists(tree / "pwned") || fs::exists(fs::current_path() / "pwned"));
}

} // namespace
