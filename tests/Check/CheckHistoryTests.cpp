#include "Check/CheckHistory.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

using namespace velmora;
using velmora::testing::contentOf;
using velmora::testing::TempTree;

namespace {

namespace fs = std::filesystem;

CheckSnapshot at(int day, std::int64_t cleanable = 0) {
    CheckSnapshot s;
    s.date = std::chrono::sys_days{std::chrono::year{2026} / 1 / 1} + std::chrono::days{day} +
             std::chrono::hours{10};
    s.cleanableTotal = cleanable;
    s.sizes = {{"xcode.derivedData", day}};
    s.titles = {{"xcode.derivedData", "DerivedData"}};
    return s;
}

} // namespace

TEST(CheckHistory, KeepsTheNewestFiftyTwoFirstReplacesEqualDatesAndNeverTakesTheFutureForTheLatest) {
    using std::chrono::hours;
    TempTree tree;
    CheckHistory history(tree / "Support/Velmora2/history.json");
    EXPECT_FALSE(history.latest(at(3).date));
    for (const int day : {1, 3, 2, 400})
        ASSERT_TRUE(history.append(at(day)));
    // The same date as the file stores it (microseconds) replaces, whatever finer part the clock gave.
    auto again = at(3, 99);
    again.date += std::chrono::nanoseconds{400};
    ASSERT_TRUE(history.append(again));
    ASSERT_TRUE(history.append(again));
    const auto all = history.all();
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all[1].cleanableTotal, 99);
    EXPECT_EQ(all[1].date, at(3).date);
    EXPECT_EQ(all[3].date, at(1).date);
    const auto text = contentOf(history.fileURL());
    EXPECT_TRUE(text.starts_with("[\n  {\n    \"alerts\" : [\n\n    ],\n    \"cleanableTotal\" : 0,"))
        << text;

    const auto latest = [&](std::chrono::system_clock::time_point now) {
        const auto snapshot = history.latest(now);
        return snapshot ? snapshot->date : std::chrono::system_clock::time_point{};
    };
    EXPECT_EQ(latest(at(3).date + hours{1}), at(3).date);
    EXPECT_EQ(latest(at(3).date - hours{23}), at(3).date); // a clock a little behind
    EXPECT_EQ(latest(at(3).date - hours{25}), at(2).date); // more than a day ahead: not the latest
    EXPECT_EQ(latest(at(1).date - hours{48}), std::chrono::system_clock::time_point{});
    EXPECT_EQ(latest(at(400).date), at(400).date); // kept in the file all the same

    // Only the newest fifty-two stay.
    for (int day = 4; day < 54; ++day)
        ASSERT_TRUE(history.append(at(day)));
    EXPECT_EQ(history.all().size(), 52u);
    EXPECT_EQ(history.all().front().date, at(400).date);
    EXPECT_EQ(history.all().back().date, at(3).date);
}

// Reading a corrupt file moves nothing (the command line shows that); the next write sets it aside,
// a second corrupt file replacing the older copy.
TEST(CheckHistory, ACorruptFileIsSetAsideOnTheNextWrite) {
    TempTree tree;
    CheckHistory history(tree / "history.json");
    for (const std::string garbage : {"not json at all", R"([{"date": "yesterday"}])"}) {
        tree.file("history.json", garbage);
        EXPECT_TRUE(history.all().empty());
        ASSERT_TRUE(history.append(at(1)));
        EXPECT_EQ(contentOf(history.quarantineURL()), garbage);
        EXPECT_EQ(history.all().size(), 1u);
    }
}

TEST(CheckHistory, TwoProcessesAppendingAtOnceLoseNothing) {
    TempTree tree;
    const auto file = tree / "Velmora2/history.json";
    constexpr int perProcess = 20;
    std::vector<pid_t> children;
    for (int process = 0; process < 2; ++process) {
        const pid_t pid = ::fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            CheckHistory history(file);
            bool ok = true;
            for (int i = 0; i < perProcess; ++i)
                ok = history.append(at(process * 100 + i)).has_value() && ok;
            ::_exit(ok ? 0 : 1);
        }
        children.push_back(pid);
    }
    for (const pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_EQ(CheckHistory(file).all().size(), 2u * perProcess);
}
