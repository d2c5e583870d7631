#include "Removal/RemovalPlan.hpp"
#include "Removal/RemovalTestSupport.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::removaltest;
using namespace std::chrono_literals;

namespace {

std::vector<std::string> ids(const std::vector<RemovalStep>& steps) {
    std::vector<std::string> result;
    for (const auto& step : steps)
        for (const auto& planned : step.items)
            result.push_back(step.finding->id.scannerID + ":" + planned.item.id);
    return result;
}

} // namespace

TEST(RemovalPlan, SortsByMethodLeavesHintsOutAndPreviewsEveryAction) {
    const auto tool = findingOf(
        "brew.cask", RemovalMethod::tool(ToolCommand{"brew", {"uninstall", "--cask", "my app"}, 60s}),
        {itemWithoutPath("my app", 500)});
    const auto trash =
        findingOf("appCaches.a", RemovalMethod::trash(),
                  {itemAt("/Users/anna/Library/Caches/a", 100), itemAt("/Users/anna/Library/Caches/b b", {}),
                   itemAt("/Users/anna/Library/Caches/not chosen", 7)});
    const auto del = findingOf("xcode.derivedData", RemovalMethod::deleteDirectly(),
                               {itemAt("/Users/anna/Library/Developer/Xcode/DerivedData/it's", 1000)});
    const auto admin =
        findingOf("services.daemon",
                  RemovalMethod::admin(
                      {AdminStep{"/bin/launchctl", {"bootout", "system/com.example.d"}, "d", false},
                       AdminStep{"/bin/rm", {"-f", "/Library/LaunchDaemons/com.example.d.plist"}, "d", true},
                       AdminStep{"/bin/rm", {"-f", "/Library/LaunchDaemons/other.plist"}, "other", false}}),
                  {itemAt("d", 4), itemAt("other", 5)});
    const auto hint = findingOf("personal.photos",
                                RemovalMethod::hint(HintAction{HintAction::OpenURL{"https://example.com"}}),
                                {itemAt("/Users/anna/Pictures", 99'000)});
    const auto nothingChosen = findingOf("appCaches.none", RemovalMethod::trash(), {itemAt("/x", 1)});

    const auto plan = RemovalPlan::build(
        {allOf(tool), FindingSelection{trash, {trash.items[0], trash.items[1]}}, allOf(del), allOf(hint),
         FindingSelection{admin, {admin.items[0]}}, FindingSelection{nothingChosen, {}}},
        {.deleteDirectly = true});

    EXPECT_EQ(ids(plan.toolSteps), (std::vector<std::string>{"brew.cask:my app"}));
    EXPECT_EQ(ids(plan.trashSteps), (std::vector<std::string>{"appCaches.a:/Users/anna/Library/Caches/a",
                                                              "appCaches.a:/Users/anna/Library/Caches/b b"}));
    EXPECT_EQ(
        ids(plan.deleteSteps),
        (std::vector<std::string>{"xcode.derivedData:/Users/anna/Library/Developer/Xcode/DerivedData/it's"}));
    EXPECT_EQ(ids(plan.adminSteps), (std::vector<std::string>{"services.daemon:d"}));
    EXPECT_EQ(plan.totalSize, 500 + 100 + 1000 + 4);
    EXPECT_EQ(plan.itemCount(), 5u);
    EXPECT_TRUE(plan.directDeleteCandidates.empty());
    EXPECT_TRUE(plan.options.deleteDirectly);
    EXPECT_FALSE(plan.isEmpty());
    EXPECT_TRUE(RemovalPlan::build({allOf(hint), FindingSelection{nothingChosen, {}}}, {}).isEmpty());

    EXPECT_EQ(plan.commandPreview(), (std::vector<std::string>{
                                         "brew uninstall --cask 'my app'",
                                         "In den Papierkorb: /Users/anna/Library/Caches/a",
                                         "In den Papierkorb: /Users/anna/Library/Caches/b b",
                                         "rm -rf '/Users/anna/Library/Developer/Xcode/DerivedData/it'\\''s'",
                                         "sudo /bin/launchctl bootout system/com.example.d",
                                         "Nur wenn der Dienst gestoppt wurde:",
                                         "sudo /bin/rm -f /Library/LaunchDaemons/com.example.d.plist",
                                     }));
}

TEST(RemovalPlan, OnlyTrashItemsOfKnownSizeAboveTenGigabytesAreDeletedDirectly) {
    const auto trash = findingOf("ai.models", RemovalMethod::trash(),
                                 {itemAt("/m/exact", 10'000'000'000), itemAt("/m/above", 10'000'000'001),
                                  itemAt("/m/unknown", {}), itemAt("/m/huge", 400'000'000'000)});
    const auto alreadyDelete =
        findingOf("xcode.archives", RemovalMethod::deleteDirectly(), {itemAt("/x/a", 20'000'000'000)});

    const auto plain = RemovalPlan::build({allOf(trash), allOf(alreadyDelete)}, {});
    EXPECT_TRUE(plain.directDeleteCandidates.empty());
    EXPECT_EQ(ids(plain.trashSteps).size(), 4u);

    const auto direct = RemovalPlan::build({allOf(trash), allOf(alreadyDelete)}, {.deleteDirectly = true});
    std::vector<std::string> candidates;
    for (const auto& item : direct.directDeleteCandidates)
        candidates.push_back(item.id);
    // An item of a delete finding is deleted anyway and no candidate.
    EXPECT_EQ(candidates, (std::vector<std::string>{"/m/above", "/m/huge"}));
    EXPECT_EQ(ids(direct.trashSteps),
              (std::vector<std::string>{"ai.models:/m/exact", "ai.models:/m/unknown"}));
    EXPECT_EQ(ids(direct.deleteSteps),
              (std::vector<std::string>{"ai.models:/m/above", "ai.models:/m/huge", "xcode.archives:/x/a"}));
    EXPECT_EQ(direct.totalSize, plain.totalSize);
    EXPECT_EQ(direct.commandPreview()[2], "rm -rf /m/above");
}
