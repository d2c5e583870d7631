#include "Check/CheckNotificationText.hpp"
#include "Check/CheckRunner.hpp"
#include "Doubles/FakeDiskSpace.hpp"
#include "Doubles/FakeScanner.hpp"
#include "Doubles/TempTree.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::testing;
using velmora::testing::TempTree;

namespace {

constexpr std::int64_t GB = 1'000'000'000;

CheckSnapshot withAlerts(std::vector<CheckAlert> alerts) {
    CheckSnapshot s;
    s.alerts = std::move(alerts);
    return s;
}

} // namespace

namespace velmora {
// Readable failure messages for notifications.
inline void PrintTo(const CheckNotification& n, std::ostream* os) {
    *os << "{" << n.title << ", " << n.body << ", " << rawValue(n.tab) << "}";
}
} // namespace velmora

TEST(CheckNotificationText, FirstApplicableAlertDecidesTheText) {
    EXPECT_EQ(CheckNotificationText::make(withAlerts({})), std::nullopt);
    const CheckAlert growth{CheckAlert::Growth{"xcode.derivedData", "DerivedData", 2 * GB, 9'500'000'000}};
    const CheckAlert cleanable{CheckAlert::Cleanable{4'200'000'000}};
    const CheckAlert lowSpace{CheckAlert::LowSpace{15 * GB, 500 * GB}};
    const CheckAlert orphans{CheckAlert::OrphanedServices{{"a", "b"}}};

    EXPECT_EQ(CheckNotificationText::make(withAlerts({lowSpace, cleanable})),
              (CheckNotification{"Velmora 2", "Nur noch 15 GB frei", AppTab::storage}));
    EXPECT_EQ(
        CheckNotificationText::make(withAlerts({growth, lowSpace, cleanable})),
        (CheckNotification{"Velmora 2", "DerivedData +7,5 GB seit dem letzten Check · 4,2 GB aufräumbar",
                           AppTab::developer}));
    EXPECT_EQ(CheckNotificationText::make(withAlerts({orphans, lowSpace})),
              (CheckNotification{"Velmora 2", "2 neue verwaiste Hintergrunddienste", AppTab::services}));
    EXPECT_EQ(CheckNotificationText::make(withAlerts({CheckAlert{CheckAlert::OrphanedServices{}}, cleanable}))
                  ->body,
              "4,2 GB aufräumbar");
    EXPECT_EQ(CheckNotificationText::orphanedText(1), "1 neuer verwaister Hintergrunddienst");
    EXPECT_EQ(CheckNotificationText::orphanedText(0), "0 neue verwaiste Hintergrunddienste");

    const CheckAlert systemGrowth{CheckAlert::Growth{"systemdata.logs", "Protokolle", 0, 6 * GB}};
    EXPECT_EQ(CheckNotificationText::make(withAlerts({systemGrowth}))->tab, AppTab::systemData);
    EXPECT_EQ(CheckNotificationText::tabForFinding("services/x"), AppTab::services);
}

TEST(CheckRunner, StoresASnapshotWithoutKeptFindingsAndAlertsOnGrowth) {
    TempTree tree;
    auto history = std::make_shared<CheckHistory>(tree / "Velmora2/history.json");
    auto keep = std::make_shared<KeepList>(tree / "Velmora2/keep.json");
    ASSERT_TRUE(keep->add(FindingID{"xcode.archives", ""}));
    std::int64_t derivedSize = 1 * GB;
    auto derived = std::make_shared<FakeScanner>(
        "xcode.derivedData", ScannerPhase::specific, [&](const ScanContext&, StopToken) {
            return std::vector<Finding>{makeFinding("xcode.derivedData", {"/d"}, derivedSize)};
        });
    auto archives =
        FakeScanner::returning("xcode.archives", {makeFinding("xcode.archives", {"/a"}, 50 * GB)});
    auto hint = FakeScanner::returning("toolchains.docker",
                                       {makeFinding("toolchains.docker", {"/v"}, 80 * GB, Risk::hintOnly)});
    auto engine = std::make_shared<const ScanEngine>(
        std::vector<std::shared_ptr<Scanner>>{derived, archives, hint}, std::chrono::seconds{5});
    const CheckRunner runner(engine, keep, history, {},
                             std::make_shared<FakeDiskSpace>(DiskSpace{300 * GB, 1000 * GB}), [] {
                                 return std::optional<std::vector<std::string>>{{"com.z", "com.a"}};
                             });

    ScanContext context;
    context.now = std::chrono::sys_days{std::chrono::year{2026} / 11 / 1};
    // Written under a clock a year ahead: never the previous check.
    CheckSnapshot future;
    future.date = context.now + std::chrono::days{365};
    future.sizes = {{"xcode.derivedData", 9 * GB}};
    ASSERT_TRUE(history->append(future));
    auto first = runner.run(context);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->sizes, (std::map<std::string, std::int64_t>{{"xcode.derivedData", GB}}));
    EXPECT_EQ(first->cleanableTotal, GB);
    EXPECT_EQ(first->orphanedServiceLabels, (std::vector<std::string>{"com.a", "com.z"}));
    EXPECT_EQ(first->alerts, std::vector<CheckAlert>{CheckAlert{CheckAlert::Cleanable{GB}}});

    derivedSize = 7 * GB;
    context.now += std::chrono::days{7};
    auto second = runner.run(context);
    ASSERT_TRUE(second);
    ASSERT_FALSE(second->alerts.empty());
    EXPECT_EQ(second->alerts[0],
              (CheckAlert{CheckAlert::Growth{"xcode.derivedData", "xcode.derivedData", GB, 7 * GB}}));
    EXPECT_EQ(history->all().size(), 3u);
}
