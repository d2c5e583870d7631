// "Einstellungen": the automatic check (schedule, agent, notifications, last check, history with its
// chart) and the dry-run switch. Reads the model and calls its operations; nothing else.
#pragma once

#include "App/AppModel.hpp"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QTreeWidget;

namespace velmora {

class HistoryChart;

class SettingsView : public QDialog {
    Q_OBJECT
public:
    explicit SettingsView(AppModel& model, QWidget* parent = nullptr);

    QComboBox* scheduleBox() const { return schedule_; }
    QLabel* agentLabel() const { return agent_; }
    QPushButton* agentFixButton() const { return agentFix_; }
    QLabel* notificationLabel() const { return notification_; }
    QPushButton* notificationFixButton() const { return notificationFix_; }
    QLabel* lastCheckLabel() const { return lastCheck_; }
    QPushButton* checkNowButton() const { return checkNow_; }
    QTreeWidget* historyList() const { return history_; }
    HistoryChart* historyChart() const { return chart_; }
    QCheckBox* dryRunBox() const { return dryRun_; }
    QLabel* dryRunNote() const { return dryRunNote_; }

private:
    void showSchedule();
    void showAgent();
    void showNotifications();
    void showCheck();
    void showHistory();
    void showDryRun();

    AppModel& model_;
    QComboBox* schedule_ = nullptr;
    QLabel* scheduleState_ = nullptr;
    QLabel* scheduleError_ = nullptr;
    QLabel* agent_ = nullptr;
    QLabel* agentHint_ = nullptr;
    QPushButton* agentFix_ = nullptr;
    QLabel* notification_ = nullptr;
    QLabel* notificationHint_ = nullptr;
    QPushButton* notificationFix_ = nullptr;
    QPushButton* notificationRefresh_ = nullptr;
    QLabel* lastCheck_ = nullptr;
    QPushButton* checkNow_ = nullptr;
    QTreeWidget* history_ = nullptr;
    HistoryChart* chart_ = nullptr;
    QCheckBox* dryRun_ = nullptr;
    QLabel* dryRunNote_ = nullptr;
    AppModel::Observation observation_;
};

// The explanation beside the dry-run switch (and the menu item's tool tip).
QString dryRunExplanation(bool forced);

} // namespace velmora
