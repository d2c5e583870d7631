#include "Check/CheckNotificationText.hpp"

#include <gtest/gtest.h>

using namespace velmora;

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
