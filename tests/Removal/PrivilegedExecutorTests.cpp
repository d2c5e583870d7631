#include "Removal/AppleScriptPrivilegedExecutor.hpp"
#include "Removal/PkexecPrivilegedExecutor.hpp"

#include "Doubles/ScriptedCommandRunner.hpp"
#include "Removal/AdminScriptBuilder.hpp"
#include "Removal/RemovalTestSupport.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::test;
using namespace std::chrono_literals;

namespace {

const AdminScript oneStep{"/bin/true; ks_rc=$?; echo \"KS_STEP n 0 $ks_rc\"", "n", 1};

} // namespace

TEST(AppleScriptPrivilegedExecutor, PassesTheScriptAsOneEscapedLiteralAndMapsHowOsascriptEnded) {
    // A real script: ShellQuote's '\'' and the status line's double quotes both need escaping.
    const auto script =
        AdminScriptBuilder::script({step("/bin/rm", {"-f", "/Library/Caches/it's \"q\" \\ ä\nx"})}, "n");
    const std::string expected =
        "do shell script \"/bin/rm -f '/Library/Caches/it'\\\\''s \\\"q\\\" \\\\ ä\nx'; "
        "ks_rc=$?; echo \\\"KS_STEP n 0 $ks_rc\\\"\" with administrator privileges";
    auto runner = std::make_shared<ScriptedCommandRunner>();
    runner->expect("/usr/bin/osascript", {"-e", expected}).returns(0, "KS_STEP n 0 0");
    EXPECT_EQ(AppleScriptPrivilegedExecutor(runner, 90s).run(AdminScript{script, "n", 1}, {}),
              AdminRunResult::completed({0}));
    ASSERT_EQ(runner->calls().size(), 1u);
    EXPECT_EQ(runner->calls()[0].timeout, 90s);

    const auto runWith = [](auto configure) {
        auto runner = std::make_shared<ScriptedCommandRunner>();
        configure(runner->expect("/usr/bin/osascript"));
        return AppleScriptPrivilegedExecutor(runner).run(oneStep, {});
    };
    // "do shell script" hands lines back separated by carriage returns.
    EXPECT_EQ(runWith([](auto& e) { e.returns(0, "noise\rKS_STEP n 0 0\r"); }),
              AdminRunResult::completed({0}));
    EXPECT_EQ(runWith([](auto& e) { e.returns(1, "", "0:37: execution error: User canceled. (-128)\n"); }),
              AdminRunResult::cancelled());
    EXPECT_EQ(runWith([](auto& e) {
                  e.returns(1, "",
                            "execution error: The administrator user name or "
                            "password was incorrect. (-60007)\n");
              }),
              AdminRunResult::failed("Exit 1"));
    EXPECT_EQ(runWith([](auto& e) { e.fails(CommandError::Kind::timeout); }),
              AdminRunResult::failed("Zeitüberschreitung"));
    EXPECT_EQ(runWith([](auto& e) { e.fails(CommandError::Kind::cancelled); }), AdminRunResult::cancelled());
    EXPECT_EQ(
        runWith([](auto& e) { e.fails(CommandError::Kind::launchFailed, "No such file or directory"); }),
        AdminRunResult::failed("Konnte nicht gestartet werden: No such file or directory"));
}

TEST(PkexecPrivilegedExecutor, RunsTheScriptThroughShAndMapsPkexecStatuses) {
    const auto runWith = [](auto configure) {
        auto runner = std::make_shared<ScriptedCommandRunner>();
        configure(runner->expect("/usr/bin/pkexec", {"/bin/sh", "-c", oneStep.text}));
        return PkexecPrivilegedExecutor(runner).run(oneStep, {});
    };
    EXPECT_EQ(runWith([](auto& e) { e.returns(0, "KS_STEP n 0 4\n"); }), AdminRunResult::completed({4}));
    EXPECT_EQ(runWith([](auto& e) {
                  e.returns(126, "", "Error executing command as another user: Request dismissed");
              }),
              AdminRunResult::cancelled());
    EXPECT_EQ(runWith([](auto& e) {
                  e.returns(127, "", "Error executing command as another user: Not authorized");
              }),
              AdminRunResult::failed("Keine Administratorrechte erhalten"));
    EXPECT_EQ(runWith([](auto& e) { e.returns(2); }), AdminRunResult::failed("Exit 2"));
    EXPECT_EQ(runWith([](auto& e) { e.fails(CommandError::Kind::timeout); }),
              AdminRunResult::failed("Zeitüberschreitung"));
}
