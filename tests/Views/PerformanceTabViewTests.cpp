#include "ViewFixture.hpp"

#include "Doubles/FakeProcessSampler.hpp"
#include "Doubles/FakeSystemSampler.hpp"
#include "Views/LiveGraph.hpp"
#include "Views/PerformanceTabView.hpp"

#include <QCoreApplication>
#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>

#include <atomic>

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::qs;

struct PerformanceTabTest : testing::ViewFixture {
    std::shared_ptr<FakeSystemSampler> system = std::make_shared<FakeSystemSampler>();
    std::shared_ptr<FakeProcessSampler> processes = std::make_shared<FakeProcessSampler>();
    std::atomic<long long> seconds{1'700'000'000};
    std::vector<std::string> terminated;
    std::atomic<int> adviceRuns{0};

    AppModel& makeWithSamplers() {
        deps.performance = {
            system, processes, oneAppPerProcess,
            [this] { return std::chrono::system_clock::time_point(std::chrono::seconds(seconds.load())); }};
        deps.terminate = [this](const std::string& id) {
            terminated.push_back(id);
            return false;
        };
        deps.indexingAdvice = [this](StopToken) {
            ++adviceRuns;
            return std::vector<IndexingHint>{{"indexing.spotlight.a", "„node_modules“ wird indexiert",
                                              "Ausschließen unter …", "/home/anna/a/node_modules",
                                              900'000'000}};
        };
        return make();
    }
    // One sample every 20 s (the detector forgets what lies more than 30 s back).
    void sampleUntil(long long end) {
        for (; seconds < end; seconds += 20)
            model->performance().sample();
        model->performance().sample();
        QCoreApplication::processEvents();
    }
};

QStringList cardTitles(const QWidget& view) {
    QStringList titles;
    for (auto* card : view.findChildren<QFrame*>(QStringLiteral("card")))
        titles << card->accessibleName();
    return titles;
}

QList<QPushButton*> visibleQuitButtons(const QWidget& view) {
    QList<QPushButton*> buttons;
    for (auto* button : view.findChildren<QPushButton*>())
        if (button->text() == "Beenden" && button->isVisibleTo(&view))
            buttons << button;
    return buttons;
}

TEST_F(PerformanceTabTest, HintCardsAppearOnceTheDetectorFiresAndOnlyQuittableAppsGetBeenden) {
    auto& model = makeWithSamplers();
    processes->next = {fakeProcess(42, "Blender", 95.0, 3'000'000'000), fakeProcess(7, "kworker", 2.0, 0, 0)};
    system->next = SystemSample{30, 8, 15'000'000'000, 16'000'000'000, 4, 0, 0};
    PerformanceTabView view(model);
    const auto start = seconds.load();

    sampleUntil(start + 160);
    EXPECT_TRUE(cardTitles(view).isEmpty());
    ASSERT_FALSE(view.memoryGraph()->points().empty());
    EXPECT_EQ(view.memoryGraph()->points().back().emphasis, LiveGraph::Emphasis::critical);
    EXPECT_TRUE(view.memoryGraph()->caption().endsWith("Druck: knapp"))
        << view.memoryGraph()->caption().toStdString();
    EXPECT_EQ(view.swapGraph()->caption(), "Nicht eingerichtet");
    EXPECT_EQ(view.processorGraph()->caption(), "30 % ausgelastet · 8 Kerne");

    sampleUntil(start + 180);
    EXPECT_EQ(cardTitles(view), (QStringList{"Blender rechnet seit Minuten stark",
                                             "Der Arbeitsspeicher ist seit Minuten knapp"}));

    // Blender leads both lists; the system's own process is listed without a button.
    const auto buttons = visibleQuitButtons(view);
    ASSERT_EQ(buttons.size(), 2);
    EXPECT_EQ(buttons[0]->accessibleName(), "„Blender“ beenden");
    bool listsKworker = false;
    for (auto* label : view.findChildren<QLabel*>())
        listsKworker |= label->isVisibleTo(&view) && label->text() == "kworker (System)";
    EXPECT_TRUE(listsKworker);
    buttons[0]->click();
    EXPECT_EQ(terminated, std::vector<std::string>{"pid.42"});
    bool told = false;
    for (auto* label : view.findChildren<QLabel*>())
        told |= label->text() == "„Blender“ ließ sich nicht beenden.";
    EXPECT_TRUE(told);

    processes->next = {fakeProcess(42, "Blender", 10.0, 3'000'000'000)};
    system->next = SystemSample{30, 8, 15'000'000'000, 16'000'000'000, 1, 0, 0};
    sampleUntil(seconds + 1);
    EXPECT_TRUE(cardTitles(view).isEmpty());
}

TEST_F(PerformanceTabTest, SamplesOnlyWhileShownAndLooksForIndexedFoldersOnce) {
    auto& model = makeWithSamplers();
    QTabWidget tabs;
    tabs.addTab(new QWidget, "Speicher");
    auto* view = new PerformanceTabView(model);
    tabs.addTab(view, "Leistung");
    tabs.show();
    EXPECT_FALSE(model.performance().isActive());
    EXPECT_EQ(adviceRuns, 0);

    tabs.setCurrentIndex(1);
    EXPECT_TRUE(model.performance().isActive());
    ASSERT_TRUE(executor->runUntil([&] { return model.indexingHints().has_value(); }));
    EXPECT_EQ(cardTitles(*view), QStringList{"„node_modules“ wird indexiert"});

    tabs.setCurrentIndex(0);
    EXPECT_FALSE(model.performance().isActive());
    tabs.setCurrentIndex(1);
    EXPECT_TRUE(model.performance().isActive());
    tabs.hide();
    EXPECT_FALSE(model.performance().isActive());
    executor->runAll();
    EXPECT_EQ(adviceRuns, 1);
}

} // namespace
} // namespace velmora
