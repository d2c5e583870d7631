// The main window "Velmora 2": the five tabs in their order, the menu (dry run, rescan, settings,
// about), kept in step with the model's selected tab, and the error banner over the tabs.
#pragma once

#include "App/AppModel.hpp"

#include <QMainWindow>

#include <array>

class QAction;
class QFrame;
class QLabel;
class QPushButton;
class QTabWidget;

namespace velmora {

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(AppModel& model, QWidget* parent = nullptr);

    QTabWidget* tabs() const { return tabs_; }
    QAction* dryRunAction() const { return dryRun_; }
    QAction* rescanAction() const { return rescan_; }
    QAction* settingsAction() const { return settings_; }
    QAction* historyAction() const { return history_; }
    QAction* aboutAction() const { return about_; }
    QFrame* errorBanner() const { return errorBanner_; }
    QLabel* errorText() const { return errorText_; }
    QPushButton* errorCloseButton() const { return errorClose_; }
    // The page of `tab` (the tab views are built once, with the window).
    QWidget* page(AppTab tab) const;

private:
    void showDryRun();
    void openSettings();
    void openHistory();
    void showAbout();
    // The banner shows lastError while no removal sheet is open (an open sheet shows it itself).
    void showError();
    bool sheetIsOpen() const;

protected:
    bool event(QEvent* event) override;

private:
    AppModel& model_;
    QTabWidget* tabs_ = nullptr;
    QAction* dryRun_ = nullptr;
    QAction* rescan_ = nullptr;
    QAction* settings_ = nullptr;
    QAction* history_ = nullptr;
    QAction* about_ = nullptr;
    QFrame* errorBanner_ = nullptr;
    QLabel* errorText_ = nullptr;
    QPushButton* errorClose_ = nullptr;
    std::array<QWidget*, allAppTabs.size()> pages_{};
    AppModel::Observation observation_;
};

// The icon drawn beside a tab's title: ours from the resources, else the desktop theme's.
QIcon tabIcon(AppTab tab);

} // namespace velmora
