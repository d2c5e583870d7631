#include "ViewFixture.hpp"

#include "Findings/ByteFormat.hpp"
#include "Views/HistoryChart.hpp"
#include "Views/SettingsView.hpp"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

namespace velmora {
namespace {

using testing::qs;
using namespace std::chrono_literals;

struct SettingsViewTest : testing::ViewFixture {
    std::shared_ptr<testing::FakeAgentService> agents = std::make_shared<testing::FakeAgentService>();
    SettingsViewTest() { deps.agentService = agents; }

    // Picks the next or previous schedule the way the keyboard does (which is what the user's choice emits).
    void step(SettingsView& view, Qt::Key key) {
        QTest::keyClick(view.scheduleBox(), key);
        ASSERT_TRUE(settle());
    }
};

TEST_F(SettingsViewTest, ScheduleChoiceRegistersExactlyOneAgentAndShowsItsStatus) {
    auto& model = make();
    SettingsView view(model);
    EXPECT_EQ(view.windowTitle(), "Einstellungen");
    EXPECT_EQ(view.scheduleBox()->currentText(), qs(title(CheckSchedule::off)));
    EXPECT_EQ(view.agentLabel()->text(), qs(statusText(AgentStatus::notRegistered)));

    step(view, Qt::Key_Down);
    EXPECT_EQ(model.checkSchedule(), CheckSchedule::weekly);
    EXPECT_EQ(agents->registered, (std::set<std::string>{"de.tobrenlux.velmora2.check.weekly.plist"}));
    EXPECT_EQ(view.agentLabel()->text(), qs(statusText(AgentStatus::enabled)));

    step(view, Qt::Key_Down);
    EXPECT_EQ(agents->registered, (std::set<std::string>{"de.tobrenlux.velmora2.check.monthly.plist"}));
    EXPECT_EQ(view.scheduleBox()->currentText(), qs(title(CheckSchedule::monthly)));

    step(view, Qt::Key_Up);
    step(view, Qt::Key_Up);
    EXPECT_TRUE(agents->registered.empty());
    EXPECT_EQ(view.agentLabel()->text(), qs(statusText(AgentStatus::notRegistered)));
}

TEST_F(SettingsViewTest, FailedRegistrationIsShownAndTheStatusSaysWhatToDo) {
    agents->refuseRegistering = true;
    auto& model = make();
    SettingsView view(model);
    step(view, Qt::Key_Down);
    bool shown = false;
    for (const auto* label : view.findChildren<QLabel*>())
        shown = shown || (label->text() == qs(scheduleFailureText) && !label->isHidden());
    EXPECT_TRUE(shown);
    EXPECT_EQ(view.agentLabel()->text(), qs(statusText(AgentStatus::notRegistered)));
}

TEST_F(SettingsViewTest, NotificationRowOnlyWhenThereIsSomethingToFix) {
    struct Case {
        NotificationAuthorization status;
        bool rowShown;
    };
    for (const auto& [status, rowShown] :
         {Case{NotificationAuthorization::authorized, false}, Case{NotificationAuthorization::denied, true},
          Case{NotificationAuthorization::notDetermined, true}}) {
        deps.notifier = std::make_shared<testing::FakeNotifier>(status);
        auto& model = make();
        SettingsView view(model);
        // The permission is read on a thread of the model's that no busy flag covers.
        ASSERT_TRUE(executor->runUntil([&] { return model.notificationStatus() == status; }));
        EXPECT_EQ(!view.notificationLabel()->isHidden(), rowShown) << rawValue(status);
        if (const auto text = statusText(status)) {
            EXPECT_EQ(view.notificationLabel()->text(), qs(*text));
        }
    }
}

TEST_F(SettingsViewTest, ForcedDryRunIsShownFixedAndExplained) {
    {
        auto& model = make();
        SettingsView view(model);
        EXPECT_TRUE(view.dryRunBox()->isEnabled());
        view.dryRunBox()->click();
        EXPECT_TRUE(model.dryRunSetting());
        model.setDryRunSetting(false);
        EXPECT_FALSE(view.dryRunBox()->isChecked());
    }
    deps.dryRun = [] { return true; };
    auto& forced = make();
    SettingsView view(forced);
    EXPECT_TRUE(view.dryRunBox()->isChecked());
    EXPECT_FALSE(view.dryRunBox()->isEnabled());
    EXPECT_TRUE(view.dryRunNote()->text().contains("erzwungen"));
    EXPECT_FALSE(forced.dryRunSetting());
}

TEST_F(SettingsViewTest, HistoryListsNewestFirstAndTheChartRunsOldestToNewest) {
    const auto now = std::chrono::system_clock::now();
    CheckHistory history(tree.root() / "history.json");
    for (const auto& [age, free, cleanable] : {std::tuple{14 * 24h, 90'000'000'000LL, 4'000'000'000LL},
                                               std::tuple{7 * 24h, 80'000'000'000LL, 12'500'000'000LL}}) {
        CheckSnapshot snapshot;
        snapshot.date = now - age;
        snapshot.freeBytes = free;
        snapshot.cleanableTotal = cleanable;
        snapshot.totalBytes = 500'000'000'000;
        ASSERT_TRUE(history.append(snapshot));
    }
    auto& model = make();
    SettingsView view(model);
    ASSERT_TRUE(executor->runUntil([&] { return model.checkHistory().size() == 2; }));
    ASSERT_EQ(view.historyList()->topLevelItemCount(), 2);
    const auto* newest = view.historyList()->topLevelItem(0);
    EXPECT_EQ(newest->text(1), qs(ByteFormat::fileSize(80'000'000'000)));
    EXPECT_EQ(newest->text(2), qs(ByteFormat::fileSize(12'500'000'000)));
    EXPECT_EQ(view.historyList()->topLevelItem(1)->text(1), qs(ByteFormat::fileSize(90'000'000'000)));
    EXPECT_TRUE(view.lastCheckLabel()->text().startsWith("Letzter Check "));

    const auto& points = view.historyChart()->points();
    ASSERT_EQ(points.size(), 2u);
    EXPECT_LT(points[0].msecs, points[1].msecs);
    EXPECT_EQ(points[0].freeBytes, 90'000'000'000);
    EXPECT_EQ(view.historyChart()->axisMaximum(), 100'000'000'000);
}

TEST_F(SettingsViewTest, CheckNowAddsToTheHistory) {
    auto& model = scanned();
    SettingsView view(model);
    EXPECT_EQ(view.lastCheckLabel()->text(), "Noch kein Check gelaufen.");
    view.checkNowButton()->click();
    EXPECT_FALSE(view.checkNowButton()->isEnabled());
    ASSERT_TRUE(settle());
    EXPECT_TRUE(view.checkNowButton()->isEnabled());
    EXPECT_EQ(view.historyList()->topLevelItemCount(), 1);
    EXPECT_TRUE(view.lastCheckLabel()->text().startsWith("Letzter Check "));
}

TEST(HistoryChartScale, RoundsUpToOneTwoOrFive) {
    for (const auto& [bytes, top] : std::vector<std::pair<std::int64_t, std::int64_t>>{
             {-5, 0},
             {0, 0},
             {1, 1},
             {7, 10},
             {15, 20},
             {200, 200},
             {201, 500},
             {501, 1000},
             {120'000'000'000, 200'000'000'000},
             {9'000'000'000'000'000'000, 9'000'000'000'000'000'000}})
        EXPECT_EQ(niceAxisMaximum(bytes), top) << bytes;
}

} // namespace
} // namespace velmora
