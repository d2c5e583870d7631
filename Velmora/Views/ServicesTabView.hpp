// The "Hintergrunddienste" tab: every launch agent, daemon and login item by scope with the verdict on
// it; orphaned ones are chosen here and removed on their own, as is the old automation of an earlier
// version.
#pragma once

#include "App/AppModel.hpp"
#include "Views/SectionWidgets.hpp"

#include <QWidget>

#include <map>
#include <string>

class QCheckBox;
class QFrame;
class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace velmora {

class ServicesTabView : public QWidget {
    Q_OBJECT
public:
    ServicesTabView(AppModel& model, QWidget* parent = nullptr);

protected:
    // The list is loaded the first time the tab is shown.
    void showEvent(QShowEvent* event) override;

private:
    void showList();
    void showSelection();
    void showActivity();
    QWidget* serviceRow(const LaunchItem& item, QWidget* parent);
    QWidget* legacySection(QWidget* parent);
    void confirmServices();
    void confirmLegacy();

    AppModel& model_;
    QLabel* status_ = nullptr;
    QProgressBar* busy_ = nullptr;
    QPushButton* reload_ = nullptr;
    QPushButton* remove_ = nullptr;
    QPushButton* removeLegacy_ = nullptr;
    QLabel* count_ = nullptr;
    QFrame* result_ = nullptr;
    QLabel* resultText_ = nullptr;
    SectionWidgets::SwappableContent content_;
    std::map<std::string, QCheckBox*> boxes_; // by launch item id
    AppModel::Observation observation_;
};

} // namespace velmora
