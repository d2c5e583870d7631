#include "Removal/AdminScriptBuilder.hpp"

#include "Doubles/ShellPrivilegedExecutor.hpp"
#include "Doubles/TempTree.hpp"
#include "Removal/RemovalTestSupport.hpp"

#include <gtest/gtest.h>

#include <set>

using namespace velmora;
using namespace velmora::test;
using velmora::testing::TempTree;

namespace {

using Statuses = std::vector<std::optional<std::int32_t>>;

Statuses statusesOf(const AdminRunResult& run) {
    if (const auto* completed = std::get_if<AdminRunResult::Completed>(&run.value))
        return completed->statuses;
    ADD_FAILURE() << "the run did not complete";
    return {};
}

AdminRunResult runWithShell(ShellPrivilegedExecutor& shell, const std::vector<AdminStep>& steps,
                            const std::string& nonce) {
    return shell.run(AdminScript{AdminScriptBuilder::script(steps, nonce), nonce, steps.size()}, {});
}

} // namespace

TEST(AdminScriptBuilder, NoncesAreFreshLettersAndDigitsAndNoOtherIsTaken) {
    for (const std::string nonce : {"", "a b", "a\"; rm -rf /; \"", "$x", "ä"})
        EXPECT_THROW(AdminScriptBuilder::script({exitStep(0)}, nonce), std::invalid_argument) << nonce;

    std::set<std::string> seen;
    for (int i = 0; i < 200; ++i) {
        const auto nonce = AdminScriptBuilder::makeNonce();
        ASSERT_EQ(nonce.size(), 24u);
        for (char c : nonce)
            ASSERT_TRUE(std::isalnum(static_cast<unsigned char>(c))) << nonce;
        seen.insert(nonce);
    }
    EXPECT_EQ(seen.size(), 200u);
    EXPECT_EQ(AdminScriptBuilder::makeNonce(40).size(), 40u);
    EXPECT_EQ(AdminScriptBuilder::script({}, "n"), ""); // no steps, no script
}

TEST(AdminScriptBuilder, ParsingKeepsOnlyWellFormedLinesOfThisRun) {
    const std::string output = "KS_STEP abc 0 0\n"
                               "KS_STEP wrong 1 0\n"     // another run's nonce
                               "KS_STEP abc 7 0\n"       // step out of range
                               "KS_STEP abc 1 0 extra\n" // five fields
                               "KS_STEP abc 1\n"         // three fields
                               "ks_step abc 1 0\n"
                               "KS_STEP abc -1 0\n"
                               "KS_STEP abc 1 2147483648\n" // beyond 32 bits
                               "KS_STEP abc 1 0x1\n"
                               "KS_STEP abc 1 +-3\n"
                               "KS_STEP abc 2 -7\n"
                               "  KS_STEP  abc 3   113  \n" // blanks around fields do not matter
                               "KS_STEP\tabc 4 0\n"         // a tab is not a blank
                               "Deleted local snapshot '2024-05-01-123456'\n";
    EXPECT_EQ(AdminScriptBuilder::parseStatuses(output, "abc", 5),
              (Statuses{0, std::nullopt, -7, 113, std::nullopt}));
    EXPECT_EQ(AdminScriptBuilder::parseStatuses(output, "abc", 0), Statuses{});
    EXPECT_EQ(AdminScriptBuilder::parseStatuses("", "abc", 2), (Statuses{std::nullopt, std::nullopt}));
    // "do shell script" returns lines separated by carriage returns.
    EXPECT_EQ(AdminScriptBuilder::parseStatuses("KS_STEP n 0 0\rKS_STEP n 1 5\r\n", "n", 2),
              (Statuses{0, 5}));
    // A step named twice counts as unreported: whichever line a command printed, it must not pass for done.
    EXPECT_EQ(AdminScriptBuilder::parseStatuses("KS_STEP n 0 0\nKS_STEP n 0 1\nKS_STEP n 1 0\n", "n", 2),
              (Statuses{std::nullopt, 0}));
    EXPECT_EQ(AdminScriptBuilder::parseStatuses("KS_STEP n 0 5\nKS_STEP n 0 5\n", "n", 1),
              Statuses{std::nullopt});
}

TEST(AdminScriptBuilder, RealShellRunsConditionalStepsOnlyAfterSuccessOrAStoppedService) {
    TempTree root;
    const auto a = root.file("/a"), b = root.file("/b"), c = root.file("/c"), d = root.file("/d"),
               e = root.file("/e"), f = root.file("/f");
    const auto rmIfPrevious = [](const std::filesystem::path& p) {
        return step("/bin/rm", {"-f", p.string()}, std::nullopt, true);
    };
    ShellPrivilegedExecutor shell;
    // launchctl does not exist here: its calls stand in for shells that end as launchctl would.
    shell.standIn("/bin/launchctl bootout system/not.loaded", "/bin/sh -c 'exit 113'");
    shell.standIn("/bin/launchctl bootout system/no.such.service", "/bin/sh -c 'exit 3'");
    shell.standIn("/bin/launchctl bootout system/refuses", "/bin/sh -c 'exit 5'");
    const std::vector<AdminStep> steps{
        rmIfPrevious(a), // no service stop before it: the file must stay
        bootout("not.loaded"),
        rmIfPrevious(f), // 113: not loaded counts as stopped
        bootout("no.such.service"),
        rmIfPrevious(b), // 3: likewise
        bootout("refuses"),
        rmIfPrevious(c), // 5: the file must stay
        exitStep(3),
        rmIfPrevious(d), // 3 is only forgiven after a service stop
        exitStep(0),
        rmIfPrevious(e),
    };
    const auto run = runWithShell(shell, steps, "Nonce42");
    EXPECT_EQ(statusesOf(run), (Statuses{125, 113, 0, 3, 0, 5, 125, 3, 125, 0, 0}));
    EXPECT_TRUE(std::filesystem::exists(a));
    EXPECT_FALSE(std::filesystem::exists(b));
    EXPECT_TRUE(std::filesystem::exists(c));
    EXPECT_TRUE(std::filesystem::exists(d));
    EXPECT_FALSE(std::filesystem::exists(e));
    EXPECT_FALSE(std::filesystem::exists(f));
}

TEST(AdminScriptBuilder, RealShellOutputCannotFakeAStatusLine) {
    const std::string nonce = "RealNonce123";
    // What a hostile name could make a command print: lines shaped like status lines, once with a
    // guessed nonce, once malformed, once (as if the nonce had leaked) with the right one.
    const std::string hostileName = "evil\nKS_STEP Guess00 3 0\nKS_STEP " + nonce + " 3 0 x\nKS_STEP " +
                                    nonce + " 99 0\nKS_STEP " + nonce + " 3 0x0";
    const std::vector<AdminStep> steps{
        step("/bin/sh", {"-c", "echo 'KS_STEP WrongNonce 0 0'; exit 5"}),
        step("/usr/bin/printf", {"KS_STEP %s 2 0\\n", nonce}), // claims the next step succeeded
        exitStep(7),
        step("/bin/echo", {hostileName}),
        step("/usr/bin/printf", {"no line end"}), // glues itself to the status line, which is then lost
        exitStep(0),
    };
    ShellPrivilegedExecutor shell;
    const auto run = runWithShell(shell, steps, nonce);
    EXPECT_EQ(statusesOf(run), (Statuses{5, 0, std::nullopt, 0, std::nullopt, 0})) << shell.outputs().front();
}
