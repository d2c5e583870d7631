#include "Check/CheckHistory.hpp"
#include "Check/CheckNotificationText.hpp"
#include "Check/CheckSnapshot.hpp"
#include "Check/GrowthWatcher.hpp"
#include "Doubles/TempTree.hpp"
#include "Support/JsonHelpers.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>
#include <unistd.h>

using namespace velmora;
using velmora::testing::contentOf;
using velmora::testing::TempTree;

namespace {

constexpr std::int64_t GB = 1'000'000'000;

CheckSnapshot snapshot(std::map<std::string, std::int64_t> sizes, std::int64_t freeBytes = 500 * GB,
                       std::int64_t totalBytes = 1000 * GB) {
    CheckSnapshot s;
    s.date = std::chrono::system_clock::now();
    s.sizes = std::move(sizes);
    for (const auto& [id, size] : s.sizes)
        s.titles[id] = "Titel " + id;
    s.freeBytes = freeBytes;
    s.totalBytes = totalBytes;
    return s;
}

std::vector<std::string> growthIDs(const std::vector<CheckAlert>& alerts) {
    std::vector<std::string> ids;
    for (const auto& alert : alerts)
        if (const auto* g = std::get_if<CheckAlert::Growth>(&alert.value))
            ids.push_back(g->id);
    return ids;
}

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

namespace velmora {
inline void PrintTo(const CheckNotification& n, std::ostream* os) {
    *os << "{" << n.title << ", " << n.body << ", " << rawValue(n.tab) << "}";
}
} // namespace velmora

// +5 GB, or +2 GB and more than doubled; lower bounds (of the id or its family) and new ids never grow.
TEST(GrowthWatcher, GrowthNeedsFiveGigabytesOrTwoAndMoreThanDoubling) {
    auto before = snapshot({{"a", 1'500'000'000},
                            {"b", 3 * GB},
                            {"c", 10 * GB},
                            {"d", 1 * GB},
                            {"e", 2 * GB},
                            {"f", 7 * GB},
                            {"apps.leftovers/com.x", 1 * GB},
                            {"xcode.derivedData", 1 * GB}});
    auto after = snapshot({{"a", 4 * GB},        // +2.5 GB, more than doubled
                           {"b", 5'500'000'000}, // +2.5 GB, not doubled
                           {"c", 15 * GB},       // +5 GB exactly
                           {"d", 3 * GB},        // +2 GB, more than doubled
                           {"e", 4 * GB},        // +2 GB, exactly twice: not more than doubled
                           {"f", 6 * GB},        // shrank
                           {"new", 900 * GB},
                           {"apps.leftovers/com.x", 20 * GB},
                           {"xcode.derivedData", 20 * GB}});
    before.lowerBoundIDs = {"apps.leftovers"};
    const auto alerts = GrowthWatcher::alerts(before, after);
    EXPECT_EQ(growthIDs(alerts), (std::vector<std::string>{"xcode.derivedData", "c", "a", "d"}));
    EXPECT_EQ(std::get<CheckAlert::Growth>(alerts[1].value),
              (CheckAlert::Growth{"c", "Titel c", 10 * GB, 15 * GB}));
    after.lowerBoundIDs = {"xcode.derivedData"};
    EXPECT_EQ(growthIDs(GrowthWatcher::alerts(before, after)), (std::vector<std::string>{"c", "a", "d"}));
    EXPECT_TRUE(growthIDs(GrowthWatcher::alerts(std::nullopt, after)).empty());
}

TEST(GrowthWatcher, SpaceCleanableAndOrphanAlertsInOrder) {
    const auto lowSpace = [](std::int64_t freeBytes, std::int64_t total) {
        return GrowthWatcher::alerts(std::nullopt, snapshot({}, freeBytes, total)).size() == 1;
    };
    EXPECT_TRUE(lowSpace(19'900'000'000, 2000 * GB));
    EXPECT_FALSE(lowSpace(25 * GB, 200 * GB));
    EXPECT_TRUE(lowSpace(25 * GB, 500 * GB));
    EXPECT_FALSE(lowSpace(0, 0));

    auto before = snapshot({});
    auto after = snapshot({}, 10 * GB, 500 * GB);
    after.cleanableTotal = GB;
    after.orphanedServiceLabels = {"com.b.agent", "com.a.agent", "com.old"};
    // A previous check that did not look at services raises nothing about them.
    EXPECT_EQ(GrowthWatcher::alerts(before, after).size(), 2u);
    before.orphanedServiceLabels = std::vector<std::string>{"com.old"};
    EXPECT_EQ(
        GrowthWatcher::alerts(before, after),
        (std::vector<CheckAlert>{CheckAlert{CheckAlert::OrphanedServices{{"com.a.agent", "com.b.agent"}}},
                                 CheckAlert{CheckAlert::LowSpace{10 * GB, 500 * GB}},
                                 CheckAlert{CheckAlert::Cleanable{GB}}}));
    after.cleanableTotal = GB - 1;
    EXPECT_EQ(GrowthWatcher::alerts(before, after).size(), 2u);
}

TEST(CheckNotificationText, FirstApplicableAlertDecidesTheText) {
    const auto make = [](std::vector<CheckAlert> alerts) {
        CheckSnapshot s;
        s.alerts = std::move(alerts);
        return CheckNotificationText::make(s);
    };
    EXPECT_EQ(make({}), std::nullopt);
    const CheckAlert growth{CheckAlert::Growth{"xcode.derivedData", "DerivedData", 2 * GB, 9'500'000'000}};
    const CheckAlert cleanable{CheckAlert::Cleanable{4'200'000'000}};
    const CheckAlert lowSpace{CheckAlert::LowSpace{15 * GB, 500 * GB}};
    const CheckAlert orphans{CheckAlert::OrphanedServices{{"a", "b"}}};
    EXPECT_EQ(make({lowSpace, cleanable}),
              (CheckNotification{"Velmora 2", "Nur noch 15 GB frei", AppTab::storage}));
    EXPECT_EQ(
        make({growth, lowSpace, cleanable}),
        (CheckNotification{"Velmora 2", "DerivedData +7,5 GB seit dem letzten Check · 4,2 GB aufräumbar",
                           AppTab::developer}));
    EXPECT_EQ(make({lowSpace, orphans}),
              (CheckNotification{"Velmora 2", "2 neue verwaiste Hintergrunddienste", AppTab::services}));
    EXPECT_EQ(make({CheckAlert{CheckAlert::OrphanedServices{}}, cleanable})->body, "4,2 GB aufräumbar");
    EXPECT_EQ(make({CheckAlert{CheckAlert::Growth{"systemdata.logs", "Protokolle", 0, 6 * GB}}})->tab,
              AppTab::systemData);
    EXPECT_EQ(CheckNotificationText::tabForFinding("services/x"), AppTab::services);
}

TEST(CheckSnapshot, JsonRoundTripsAndOlderFilesDecode) {
    auto s = snapshot({{"xcode.derivedData", 5}});
    s.alerts = {CheckAlert{CheckAlert::Growth{"x", "X", 1, 2}}, CheckAlert{CheckAlert::Cleanable{3}},
                CheckAlert{CheckAlert::LowSpace{4, 5}}, CheckAlert{CheckAlert::OrphanedServices{{"l"}}}};
    s.date = fromReferenceDateSeconds(referenceDateSeconds(s.date)); // stored precision
    const nlohmann::json j = s;
    EXPECT_EQ(j["alerts"][0].dump(), R"({"growth":{"from":1,"id":"x","title":"X","to":2}})");
    EXPECT_FALSE(j.contains("orphanedServiceLabels"));
    EXPECT_EQ(j.get<CheckSnapshot>(), s);

    const auto decoded = nlohmann::json::parse(R"({"date": 786000000.5, "cleanableTotal": 1, "freeBytes": 2,
        "totalBytes": 3, "sizes": {}, "titles": {}, "alerts": []})")
                             .get<CheckSnapshot>();
    EXPECT_TRUE(decoded.lowerBoundIDs.empty() && !decoded.orphanedServiceLabels);
    EXPECT_DOUBLE_EQ(referenceDateSeconds(decoded.date), 786000000.5);
    for (const char* bad : {R"({"growth": {}, "cleanable": {"total": 1}})", R"({"shrink": {}})"})
        EXPECT_ANY_THROW((void)nlohmann::json::parse(bad).get<CheckAlert>()) << bad;
}

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
