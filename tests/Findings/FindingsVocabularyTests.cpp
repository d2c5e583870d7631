#include "Findings/AppTab.hpp"
#include "Findings/Category.hpp"
#include "Findings/FindingID.hpp"
#include "Findings/FindingItem.hpp"
#include "Findings/Risk.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unordered_set>

using namespace velmora;

TEST(Category, ScannerIdentifierPrefixesUseShortFamilyNamesAndRawValuesRoundTrip) {
    // Only the first dot splits; the raw value "systemData" is not a prefix, nor is a long form.
    const std::vector<std::pair<std::string, std::optional<Category>>> ids = {
        {"xcode.derivedData", Category::xcode},
        {"sim.runtimes", Category::simulators},
        {"simulators.caches", Category::simulators},
        {"ai.huggingFace", Category::aiLeftovers},
        {"personal.mailDownloads", Category::personalData},
        {"brew.casks", Category::homebrew},
        {"sysdata.x", Category::systemData},
        {"systemdata", Category::systemData},
        {"services.orphaned", Category::services},
        {"languages.a.b", Category::languages},
        {"systemData.x", std::nullopt},
        {"aiLeftovers.x", std::nullopt},
        {"", std::nullopt},
        {"unknown.thing", std::nullopt}};
    for (const auto& [id, category] : ids)
        EXPECT_EQ(categoryForScannerID(id), category) << id;

    for (Category c : allCategories)
        EXPECT_EQ(categoryFromRawValue(rawValue(c)), c);
    EXPECT_EQ(categoryFromRawValue("System"), std::nullopt);
    for (AppTab t : allAppTabs)
        EXPECT_EQ(appTabFromRawValue(rawValue(t)), t);
    EXPECT_EQ(appTabFromRawValue("Storage"), std::nullopt);
    EXPECT_EQ(riskFromRawValue("hintOnly"), Risk::hintOnly);
    EXPECT_EQ(title(Category::languages), "Sprachen & Paketmanager");
    EXPECT_EQ(label(Risk::review), "Prüfen");
}

// Equality, hashing and the JSON form show in the keep list's file; the text form in the keep command.
TEST(FindingID, TextFormNeedsAScannerID) {
    EXPECT_EQ(FindingID::fromText("/key"), std::nullopt);
}

TEST(FindingItem, JsonLeavesOutAbsentFieldsAndRoundTrips) {
    FindingItem bare{"id1",        std::nullopt, "Name",       std::nullopt,
                     std::nullopt, std::nullopt, std::nullopt, std::nullopt};
    EXPECT_EQ(nlohmann::json(bare).dump(), R"({"id":"id1","name":"Name"})");

    FindingItem full = bare;
    full.url = "/Users/anna/Library/Caches/x y";
    full.size = 4096;
    full.date = std::chrono::sys_days{std::chrono::year{2026} / 11 / 22} + std::chrono::hours{13};
    full.detail = "Detail";
    full.blockingApp = AppRef{"com.apple.dt.Xcode", std::nullopt, "Xcode"};
    const auto j = nlohmann::json(full);
    EXPECT_EQ(j["url"], "/Users/anna/Library/Caches/x y");
    EXPECT_EQ(j["date"], "2026-11-22T13:00:00Z");
    EXPECT_EQ(j["blockingApp"].dump(), R"({"bundleID":"com.apple.dt.Xcode","displayName":"Xcode"})");
    EXPECT_EQ(j.get<FindingItem>(), full);
    EXPECT_NE(std::hash<FindingItem>{}(full), std::hash<FindingItem>{}(bare));

    auto badDate = j;
    badDate["date"] = "yesterday";
    EXPECT_ANY_THROW((void)badDate.get<FindingItem>());
}
