#include "Check/CheckSnapshot.hpp"
#include "Check/GrowthWatcher.hpp"
#include "Support/JsonHelpers.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace velmora;

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

} // namespace

TEST(GrowthWatcher, GrowthNeedsFiveGigabytesOrTwoAndMoreThanDoubling) {
    const auto before = snapshot(
        {{"a", 1'500'000'000}, {"b", 3 * GB}, {"c", 10 * GB}, {"d", 1 * GB}, {"e", 2 * GB}, {"f", 7 * GB}});
    const auto after = snapshot({{"a", 4 * GB},        // +2.5 GB, more than doubled
                                 {"b", 5'500'000'000}, // +2.5 GB, not doubled
                                 {"c", 15 * GB},       // +5 GB exactly
                                 {"d", 3 * GB}, // +2 GB, exactly not more than doubled... 3 > 2: doubled
                                 {"e", 4 * GB}, // +2 GB, exactly twice: not more than doubled
                                 {"f", 6 * GB}, // shrank
                                 {"new", 900 * GB}}); // new: never growth
    const auto alerts = GrowthWatcher::alerts(before, after);
    EXPECT_EQ(growthIDs(alerts), (std::vector<std::string>{"c", "a", "d"}));
    const auto& first = std::get<CheckAlert::Growth>(alerts[0].value);
    EXPECT_EQ(first, (CheckAlert::Growth{"c", "Titel c", 10 * GB, 15 * GB}));
}

TEST(GrowthWatcher, LowerBoundsAndMissingHistoryRaiseNoGrowth) {
    auto before = snapshot({{"xcode.derivedData", 1 * GB}, {"apps.leftovers/com.x", 1 * GB}});
    auto after = snapshot({{"xcode.derivedData", 20 * GB}, {"apps.leftovers/com.x", 20 * GB}});
    before.lowerBoundIDs = {"apps.leftovers"};
    EXPECT_EQ(growthIDs(GrowthWatcher::alerts(before, after)), std::vector<std::string>{"xcode.derivedData"});
    after.lowerBoundIDs = {"xcode.derivedData"};
    EXPECT_TRUE(growthIDs(GrowthWatcher::alerts(before, after)).empty());
    EXPECT_TRUE(growthIDs(GrowthWatcher::alerts(std::nullopt, after)).empty());
}

TEST(GrowthWatcher, SpaceCleanableAndOrphanAlertsInOrder) {
    const auto lowSpace = [](std::int64_t freeBytes, std::int64_t total) {
        for (const auto& alert : GrowthWatcher::alerts(std::nullopt, snapshot({}, freeBytes, total)))
            if (std::holds_alternative<CheckAlert::LowSpace>(alert.value))
                return true;
        return false;
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
    auto alerts = GrowthWatcher::alerts(before, after);
    ASSERT_EQ(alerts.size(), 2u);
    before.orphanedServiceLabels = std::vector<std::string>{"com.old"};
    alerts = GrowthWatcher::alerts(before, after);
    ASSERT_EQ(alerts.size(), 3u);
    EXPECT_EQ(alerts[0], (CheckAlert{CheckAlert::OrphanedServices{{"com.a.agent", "com.b.agent"}}}));
    EXPECT_EQ(alerts[1], (CheckAlert{CheckAlert::LowSpace{10 * GB, 500 * GB}}));
    EXPECT_EQ(alerts[2], (CheckAlert{CheckAlert::Cleanable{GB}}));
    after.cleanableTotal = GB - 1;
    EXPECT_EQ(GrowthWatcher::alerts(before, after).size(), 2u);
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

    const auto old = nlohmann::json::parse(R"({"date": 786000000.5, "cleanableTotal": 1, "freeBytes": 2,
        "totalBytes": 3, "sizes": {}, "titles": {}, "alerts": []})");
    const auto decoded = old.get<CheckSnapshot>();
    EXPECT_TRUE(decoded.lowerBoundIDs.empty());
    EXPECT_FALSE(decoded.orphanedServiceLabels);
    EXPECT_DOUBLE_EQ(referenceDateSeconds(decoded.date), 786000000.5);

    EXPECT_ANY_THROW(
        (void)nlohmann::json::parse(R"({"growth": {}, "cleanable": {"total": 1}})").get<CheckAlert>());
    EXPECT_ANY_THROW((void)nlohmann::json::parse(R"({"shrink": {}})").get<CheckAlert>());
}
