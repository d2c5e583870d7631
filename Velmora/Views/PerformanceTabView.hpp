// The "Leistung" tab: live load, memory and swap, the busiest apps and the detector's hints, and the
// developer folders the desktop search indexes. It samples only while it is shown.
#pragma once

#include "App/AppModel.hpp"

#include <QWidget>

#include <atomic>
#include <cstddef>
#include <vector>

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace velmora {

class LiveGraph;

class PerformanceTabView : public QWidget {
    Q_OBJECT
public:
    PerformanceTabView(AppModel& model, QWidget* parent = nullptr);
    ~PerformanceTabView() override;

    LiveGraph* processorGraph() const { return processor_; }
    LiveGraph* memoryGraph() const { return memory_; }
    LiveGraph* swapGraph() const { return swap_; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    // One line of a busiest-apps list; the widgets stay while the apps in them change, so that keyboard
    // focus on a "Beenden" button survives the next sample.
    struct AppRow {
        QLabel* name = nullptr;
        QLabel* value = nullptr;
        QPushButton* quit = nullptr;
        ActivityEntry entry;
    };
    enum class Ranking { processor, memory };

    QWidget* makeAppList(const QString& title, std::vector<AppRow>& rows);
    void refresh();
    void showGraphs(const PerformanceSnapshot& snapshot);
    void showHints(const std::vector<SlowdownHint>& hints);
    void showApps(const std::vector<ActivityEntry>& apps, Ranking ranking, std::vector<AppRow>& rows);
    void showIndexing();
    void quit(const ActivityEntry& entry);

    AppModel& model_;
    PerformanceModel& performance_;
    AppModel::Observation observation_;
    std::size_t performanceObserver_ = 0;
    // Samples arrive on the sampling thread; one queued refresh at a time carries them to the window.
    std::atomic<bool> refreshQueued_{false};

    QLabel* error_ = nullptr;
    LiveGraph* processor_ = nullptr;
    LiveGraph* memory_ = nullptr;
    LiveGraph* swap_ = nullptr;
    QVBoxLayout* hintCards_ = nullptr;
    QLabel* noHints_ = nullptr;
    std::vector<SlowdownHint> shownHints_;
    std::vector<AppRow> byProcessor_;
    std::vector<AppRow> byMemory_;
    QLabel* quitStatus_ = nullptr;
    QVBoxLayout* indexingCards_ = nullptr;
    QLabel* indexingStatus_ = nullptr;
};

} // namespace velmora
