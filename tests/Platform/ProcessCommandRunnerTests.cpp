#include "Platform/ProcessCommandRunner.hpp"
#include "Platform/SystemErrorText.hpp"

#include "Doubles/TempTree.hpp"
#include "Support/Log.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>
#include <tuple>

#include <sys/stat.h>

using namespace velmora;
using namespace std::chrono_literals;

namespace {

const std::filesystem::path sh = "/bin/sh";

std::vector<std::string> script(std::string text) {
    return {"-c", std::move(text)};
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Captures the errors logged, which also keeps the tests out of the machine's log.
struct ErrorLog {
    std::mutex mutex;
    std::vector<std::string> entries;
    Log::ScopedSink sink{[this](Log::Level level, std::string_view category, std::string_view message) {
        std::lock_guard lock(mutex);
        if (level == Log::Level::error)
            entries.push_back(std::string(category) + ": " + std::string(message));
    }};
};

// Children of this process that still exist, zombies included.
std::vector<std::string> childrenOfThisProcess() {
    std::vector<std::string> children;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(task.path() / "children");
        std::string pid;
        while (file >> pid)
            children.push_back(pid);
    }
    std::ranges::sort(children);
    return children;
}

int openDescriptorCount() {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                          std::filesystem::directory_iterator{}));
}

// A process that is gone or a zombie no longer runs anything; given a second to get there.
bool eventuallyNotRunning(pid_t pid) {
    for (int i = 0; i < 50; ++i, std::this_thread::sleep_for(20ms)) {
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string line;
        if (!std::getline(stat, line))
            return true;
        const auto close = line.rfind(')');
        if (close == std::string::npos || close + 2 >= line.size() || line[close + 2] == 'Z')
            return true;
    }
    return false;
}

} // namespace

// No shell between us and the child: spaces, quotes and $ arrive untouched. A signal ends it with
// 128 + its number, as a shell reports it; invalid UTF-8 is repaired on both streams; streams closed long
// before the exit still wait for the exit status; a tool reading its input gets end-of-input at once;
// megabytes on both streams at once are drained without a deadlock.
TEST(ProcessCommandRunner, ReturnsExitStatusAndBothStreamsAsTheChildLeftThem) {
    struct Case {
        std::filesystem::path executable;
        std::vector<std::string> arguments;
        CommandResult expected;
    };
    const std::vector<Case> cases = {
        {sh, script("printf out; printf err >&2; exit 3"), {3, "out", "err"}},
        {sh, {"-c", "printf '%s|' \"$@\"", "sh", "a b", "$HOME", "it's", ""}, {0, "a b|$HOME|it's||", ""}},
        {sh, script("kill -KILL $$"), {128 + SIGKILL, "", ""}},
        {sh,
         script(R"(printf '\377ok\303'; printf 'gr\303\274n\200' >&2)"),
         {0, "\xEF\xBF\xBDok\xEF\xBF\xBD", "gr\xC3\xBCn\xEF\xBF\xBD"}},
        {sh, script("exec >&- 2>&-; sleep 0.3; exit 4"), {4, "", ""}},
        {"/bin/cat", {}, {0, "", ""}},
        {sh,
         script("head -c 5000000 /dev/zero | tr '\\0' a & head -c 6000000 /dev/zero | tr '\\0' b >&2; wait"),
         {0, std::string(5'000'000, 'a'), std::string(6'000'000, 'b')}},
    };
    // Three threads run the whole table at once: no run may see another's output.
    ProcessCommandRunner runner;
    std::vector<JoiningThread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&] {
            for (const auto& [executable, arguments, expected] : cases) {
                const auto result = runner.run(executable, arguments, 60s);
                EXPECT_TRUE(result && *result == expected)
                    << executable << " " << ::testing::PrintToString(arguments) << ": "
                    << (result ? result->standardOutput.substr(0, 80) + " / " +
                                     result->standardError.substr(0, 80)
                               : "error " + std::to_string(static_cast<int>(result.error().kind)));
            }
        });
}

// However a run ends – at its time limit or cancelled, with a child that ignores termination, or with
// helpers it waits for, that ignore termination or that outlive it holding its output pipe – it ends
// promptly, the helpers stop with it, and no child and no descriptor is left behind.
TEST(ProcessCommandRunner, EveryRunEndsPromptlyAndLeavesNothingBehind) {
    ErrorLog log;
    velmora::testing::TempTree temp;
    ProcessCommandRunner runner(
        ProcessCommandRunner::Options{.terminationGrace = 200ms, .extraEnvironment = {}});
    const auto children = childrenOfThisProcess();
    const int descriptors = openDescriptorCount();

    struct Case {
        std::string script; // "$0" is a file for the pid of a helper
        bool cancel;        // cancelled after 300 ms, otherwise stopped by a 300 ms time limit
    };
    const std::vector<Case> cases = {
        {"exec sleep 30", false},
        {"trap '' TERM; sleep 30", false},
        {"sleep 30 & echo $! > \"$0\"; wait", false},
        {"(trap '' TERM; sleep 30) & echo $! > \"$0\"; wait", false},
        {"sleep 30 & echo $! > \"$0\"; exit 0", false},
        {"sleep 30", true},
        {"trap '' TERM; sleep 30 & echo $! > \"$0\"; wait", true},
    };
    for (const auto& [text, cancel] : cases) {
        SCOPED_TRACE(text);
        const auto pidFile = temp / "helper.pid";
        std::filesystem::remove(pidFile);
        StopSource source;
        JoiningThread canceller([&source, cancel = cancel] {
            std::this_thread::sleep_for(300ms);
            if (cancel)
                source.request_stop();
        });
        const auto start = std::chrono::steady_clock::now();
        const auto result =
            runner.run(sh, {"-c", text, pidFile.string()}, cancel ? 60s : 300ms, source.get_token());
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error().kind, cancel ? CommandError::Kind::cancelled : CommandError::Kind::timeout);
        EXPECT_GE(secondsSince(start), 0.25);
        EXPECT_LT(secondsSince(start), 5.0);
        pid_t helper = 0;
        std::ifstream{pidFile} >> helper;
        EXPECT_TRUE(helper <= 0 || eventuallyNotRunning(helper)) << helper;
    }
    // A time limit is logged once per run, naming the program and its pid.
    ASSERT_EQ(log.entries.size(), 5u);
    EXPECT_TRUE(log.entries[0].starts_with("command: ")) << log.entries[0];
    EXPECT_NE(log.entries[0].find("/bin/sh (pid "), std::string::npos) << log.entries[0];

    StopSource alreadyStopped;
    alreadyStopped.request_stop();
    const auto result = runner.run(sh, script("exit 0"), 10s, alreadyStopped.get_token());
    EXPECT_EQ(result.error().kind, CommandError::Kind::cancelled);
    EXPECT_FALSE(runner.run("/nonexistent/tool", {}, 10s).has_value());
    EXPECT_TRUE(runner.run(sh, script("head -c 300000 /dev/zero"), 10s).has_value());

    EXPECT_EQ(childrenOfThisProcess(), children);
    EXPECT_EQ(openDescriptorCount(), descriptors);
}

TEST(ProcessCommandRunner, WhatCannotBeStartedIsALaunchFailureInGerman) {
    velmora::testing::TempTree temp;
    ::chmod(temp.file("missing-interpreter", "#!/nonexistent/interpreter\n").c_str(), 0755);
    ::chmod(temp.file("garbage", "\x01\x02 not a program\n").c_str(), 0755);
    temp.file("not-executable", "#!/bin/sh\nexit 0\n");
    const std::string notFound = "Programm nicht gefunden";
    const std::string notAllowed = "Keine Berechtigung, das Programm auszuführen";
    // The last three pass every check made before spawning; only exec itself can tell.
    const std::vector<std::tuple<std::filesystem::path, std::vector<std::string>, std::string>> cases = {
        {"/nonexistent/velmora-tool", {}, notFound},
        {temp.root(), {}, notAllowed},
        {temp / "not-executable", {}, notAllowed},
        {temp / "missing-interpreter", {}, notFound},
        {temp / "garbage", {}, "Die Datei ist kein ausführbares Programm"},
        {sh, {std::string(4 * 1024 * 1024, 'x')}, "Zu viele oder zu lange Argumente"},
    };
    ProcessCommandRunner runner;
    for (const auto& [executable, arguments, text] : cases) {
        const auto result = runner.run(executable, arguments, 5s);
        ASSERT_FALSE(result.has_value()) << executable;
        EXPECT_EQ(result.error().kind, CommandError::Kind::launchFailed) << executable;
        EXPECT_EQ(result.error().message, text) << executable;
    }
    // Errors a launch meets only when the machine runs short: German as well, and one we have no words
    // for still names its number rather than the system's English.
    for (const auto& [code, text] :
         {std::pair<int, std::string>{ENOMEM, "Nicht genug Arbeitsspeicher"},
          {EMFILE, "Zu viele offene Dateien"},
          {EDOM, "Start fehlgeschlagen (Systemfehler " + std::to_string(EDOM) + ")"}})
        EXPECT_EQ(launchErrorText(code), text) << code;
}

TEST(ProcessCommandRunner, ChildGetsTheEnvironmentWithAdditionsReplacingByName) {
    ::setenv("HOMEBREW_NO_AUTO_UPDATE", "0", 1);
    ::setenv("VELMORA_TEST_INHERITED", "yes", 1);
    ProcessCommandRunner::Options options;
    options.extraEnvironment = {{"PATH", "/opt/velmora-test/bin:/usr/bin:/bin"}};
    ProcessCommandRunner runner(options);
    ::unsetenv("HOMEBREW_NO_AUTO_UPDATE");
    ::unsetenv("VELMORA_TEST_INHERITED");

    const auto result = runner.run("/usr/bin/env", {}, 10s);
    ASSERT_TRUE(result.has_value());
    std::vector<std::string> ours;
    std::istringstream text(result->standardOutput);
    for (std::string line; std::getline(text, line);)
        if (line.starts_with("HOMEBREW_") || line.starts_with("VELMORA_TEST_") || line.starts_with("PATH="))
            ours.push_back(line);
    std::ranges::sort(ours);
    EXPECT_EQ(ours, (std::vector<std::string>{"HOMEBREW_NO_AUTO_UPDATE=1", "HOMEBREW_NO_ENV_HINTS=1",
                                              "HOMEBREW_NO_INSTALL_CLEANUP=1",
                                              "PATH=/opt/velmora-test/bin:/usr/bin:/bin",
                                              "VELMORA_TEST_INHERITED=yes"}));
    // Replaced by whole name, the last addition winning; the rest kept in order.
    const auto merged = ProcessCommandRunner::mergedEnvironment(
        {"A=1", "PATH=/bin", "PATHX=keep", "B=2", "PATH=/again"}, {{"PATH", "/new"}, {"C", "3"}, {"C", "4"}});
    EXPECT_EQ(merged, (std::vector<std::string>{"A=1", "PATHX=keep", "B=2", "PATH=/new", "C=4"}));
}
