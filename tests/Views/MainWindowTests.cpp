#include "ViewFixture.hpp"

#include "Views/MainWindow.hpp"
#include "Views/QtMainExecutor.hpp"

#include <QAction>
#include <QCoreApplication>
#include <QTabWidget>

namespace velmora {
namespace {

using testing::qs;

struct MainWindowTest : testing::ViewFixture {};

TEST_F(MainWindowTest, ShowsTheFiveTabsInOrderAndFollowsTheModelBothWays) {
    auto& model = make();
    MainWindow window(model);
    EXPECT_EQ(window.windowTitle(), "Velmora 2");
    ASSERT_EQ(window.tabs()->count(), 5);
    for (std::size_t i = 0; i < allAppTabs.size(); ++i) {
        EXPECT_EQ(window.tabs()->tabText(static_cast<int>(i)), qs(title(allAppTabs[i])));
        EXPECT_FALSE(window.tabs()->tabIcon(static_cast<int>(i)).isNull()) << i;
    }
    window.tabs()->setCurrentIndex(3);
    EXPECT_EQ(model.selectedTab(), AppTab::services);
    model.setSelectedTab(AppTab::developer);
    EXPECT_EQ(window.tabs()->currentIndex(), 1);
}

TEST_F(MainWindowTest, DryRunItemFollowsTheSettingAndIsFixedWhenForced) {
    {
        auto& model = make();
        MainWindow window(model);
        EXPECT_FALSE(window.dryRunAction()->isChecked());
        window.dryRunAction()->trigger();
        EXPECT_TRUE(model.dryRunSetting());
        EXPECT_TRUE(window.dryRunAction()->isEnabled());
    }
    deps.dryRun = [] { return true; };
    auto& forced = make();
    MainWindow window(forced);
    EXPECT_TRUE(window.dryRunAction()->isChecked());
    EXPECT_FALSE(window.dryRunAction()->isEnabled());
    EXPECT_TRUE(window.dryRunAction()->toolTip().contains("erzwungen"));
}

TEST(QtMainExecutor, RunsPostedWorkOnTheEventLoopInOrder) {
    QObject context;
    QtMainExecutor executor(&context);
    std::vector<int> ran;
    std::thread([&] {
        executor.post([&] { ran.push_back(1); });
        executor.post([&] { ran.push_back(2); });
    }).join();
    EXPECT_TRUE(ran.empty());
    QCoreApplication::processEvents();
    EXPECT_EQ(ran, (std::vector<int>{1, 2}));
}

} // namespace
} // namespace velmora
