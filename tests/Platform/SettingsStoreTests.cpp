#include "Check/CheckSchedule.hpp"
#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/DefaultsSettingsStore.hpp"
#include "Platform/JsonSettingsStore.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace velmora;
using velmora::test::ScriptedCommandRunner;
using velmora::testing::TempTree;

TEST(JsonSettingsStore, RoundTripsKeepsOtherKeysSetsGarbageAsideAndSurvivesAFailedWrite) {
    TempTree tree;
    JsonSettingsStore store(JsonSettingsStore::defaultFile(tree / ".config"));
    EXPECT_EQ(store.file(), tree / ".config/velmora2/settings.json");
    EXPECT_EQ(store.stringValue(checkScheduleKey), std::nullopt);
    EXPECT_EQ(store.boolValue(dryRunKey), std::nullopt);

    tree.file(".config/velmora2/settings.json", R"({"theme": "dunkel", "dryRun": 1})");
    EXPECT_EQ(store.boolValue(dryRunKey), true);
    ASSERT_TRUE(store.setString(checkScheduleKey, "monthly"));
    ASSERT_TRUE(store.setBool(dryRunKey, false));
    EXPECT_EQ(store.stringValue(checkScheduleKey), "monthly");
    EXPECT_EQ(store.boolValue(dryRunKey), false);
    EXPECT_EQ(store.stringValue(dryRunKey), std::nullopt); // another type reads as absent
    // Another store on the same file (another process) sees the change at once.
    EXPECT_EQ(JsonSettingsStore(store.file()).stringValue(checkScheduleKey), "monthly");
    EXPECT_EQ(nlohmann::json::parse(velmora::testing::contentOf(store.file())),
              nlohmann::json::parse(R"({"checkSchedule": "monthly", "dryRun": false, "theme": "dunkel"})"));

    // A file that is no settings object is set aside, not overwritten.
    for (const std::string& garbage :
         std::vector<std::string>{"[1, 2", "[\"weekly\"]", std::string("\xff\xfe\0", 3)}) {
        tree.file(".config/velmora2/settings.json", garbage);
        EXPECT_EQ(store.stringValue(checkScheduleKey), std::nullopt);
        ASSERT_TRUE(store.setString(checkScheduleKey, "weekly"));
        EXPECT_EQ(velmora::testing::contentOf(store.quarantineFile()), garbage);
        EXPECT_EQ(store.stringValue(checkScheduleKey), "weekly");
    }

    // A failed write leaves the stored value.
    velmora::testing::FrozenFolder frozen(tree / ".config/velmora2");
    if (!frozen.active())
        GTEST_SKIP() << "cannot make a folder unchangeable here";
    const auto failed = store.setString(checkScheduleKey, "off");
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().message(), "Konnte die Einstellung nicht speichern.");
    frozen.thaw();
    EXPECT_EQ(store.stringValue(checkScheduleKey), "weekly");
}

TEST(DefaultsSettingsStore, ReadsAndWritesTheDefaultsDomainThroughTheDefaultsTool) {
    auto runner = std::make_shared<ScriptedCommandRunner>();
    DefaultsSettingsStore store(runner, "/usr/bin/defaults");
    const std::string domain = "de.tobrenlux.velmora2";
    runner->expect("/usr/bin/defaults", {"read", domain, "checkSchedule"}).returns(0, "weekly\n").once();
    runner->expect("/usr/bin/defaults", {"read", domain, "checkSchedule"})
        .returns(1, "", "The domain/default pair of (de.tobrenlux.velmora2, checkSchedule) does not exist\n");
    runner->expect("/usr/bin/defaults", {"read", domain, "dryRun"}).returns(0, "1\n").once();
    runner->expect("/usr/bin/defaults", {"read", domain, "dryRun"}).returns(0, "NO\n").once();
    runner->expect("/usr/bin/defaults", {"read", domain, "dryRun"}).returns(0, "(\n    1\n)\n").once();
    EXPECT_EQ(store.stringValue(checkScheduleKey), "weekly");
    EXPECT_EQ(store.stringValue(checkScheduleKey), std::nullopt);
    EXPECT_EQ(store.boolValue(dryRunKey), true);
    EXPECT_EQ(store.boolValue(dryRunKey), false);
    EXPECT_EQ(store.boolValue(dryRunKey), std::nullopt); // an array is no switch

    runner->expect("/usr/bin/defaults", {"write", domain, "checkSchedule", "-string", "monthly"}).returns(0);
    runner->expect("/usr/bin/defaults", {"write", domain, "dryRun", "-bool", "true"}).returns(0);
    EXPECT_TRUE(store.setString(checkScheduleKey, "monthly"));
    EXPECT_TRUE(store.setBool(dryRunKey, true));
    runner->expect("/usr/bin/defaults").returns(1, "", "Could not write domain\n");
    const auto failed = store.setBool(dryRunKey, false);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().detail, "/usr/bin/defaults: Exit 1 – Could not write domain");
}
