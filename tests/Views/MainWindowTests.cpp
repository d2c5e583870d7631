#include "ViewFixture.hpp"

#include "Views/MainWindow.hpp"
#include "Views/QtMainExecutor.hpp"
#include "Views/RemovalSheet.hpp"
#include "Views/WindowApp.hpp"

#include <QAction>
#include <QCoreApplication>
#include <QFrame>
#include <QLabel>
#include <QPalette>
#include <QPushButton>
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

TEST_F(MainWindowTest, ErrorBannerShowsLastErrorUnlessASheetIsOpenAndClosesIt) {
    deps.dryRun = [] { return true; };
    auto& model = make();
    MainWindow window(model);
    window.show();
    EXPECT_TRUE(window.errorBanner()->isHidden());
    model.remove(RemovalPlan{}); // not a dry run while one is forced: refused with an error
    ASSERT_TRUE(model.lastError());
    EXPECT_FALSE(window.errorBanner()->isHidden());
    EXPECT_EQ(window.errorText()->text(), qs(AppModelText::dryRunPlanRefused));
    window.errorCloseButton()->click();
    EXPECT_FALSE(model.lastError());
    EXPECT_TRUE(window.errorBanner()->isHidden());

    auto* sheet = new RemovalSheet(model, window.page(AppTab::storage));
    sheet->show();
    model.remove(RemovalPlan{});
    EXPECT_TRUE(window.errorBanner()->isHidden());
    sheet->close();
    QCoreApplication::processEvents();
    EXPECT_FALSE(window.errorBanner()->isHidden());
}

TEST(WindowAppearance, DarkWhenAskedOrWhenTheDesktopIsDark) {
    struct Case {
        const char* velmoraDark;
        const char* gtkTheme;
        bool platformDark;
        bool dark;
    };
    for (const auto& c : {Case{"1", nullptr, false, true}, Case{"0", "Adwaita:dark", true, false},
                          Case{nullptr, "Adwaita:dark", false, true}, Case{nullptr, "Adwaita", false, false},
                          Case{"", nullptr, true, true}, Case{"yes", nullptr, false, false}})
        EXPECT_EQ(wantsDarkAppearance(c.velmoraDark, c.gtkTheme, c.platformDark), c.dark)
            << (c.velmoraDark ? c.velmoraDark : "-") << " " << (c.gtkTheme ? c.gtkTheme : "-");
    const QPalette dark = darkPalette();
    EXPECT_LT(dark.color(QPalette::Window).lightness(), 80);
    EXPECT_GT(dark.color(QPalette::WindowText).lightness(), 180);
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
