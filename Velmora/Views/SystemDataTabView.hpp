// The "Systemdaten" tab: what the system's share of the disk is made of – a chart of the volumes and
// measured areas, the areas by size with their verdicts – and the system clean-up findings to remove.
#pragma once

#include "App/AppModel.hpp"
#include "Views/SectionWidgets.hpp"

#include <QWidget>

#include <vector>

class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace velmora {

class SystemDataChart;

class SystemDataTabView : public QWidget {
    Q_OBJECT
public:
    SystemDataTabView(AppModel& model, QWidget* parent = nullptr);

protected:
    // The measurement starts the first time the tab is shown, not when the window opens.
    void showEvent(QShowEvent* event) override;

private:
    struct SelectionBox {
        SelectionEntry entry;
        QCheckBox* box = nullptr;
    };

    void showProgress();
    void showReport();
    void showSelection();
    QWidget* areaRow(const MeasuredArea& area, QWidget* parent);
    QWidget* findingRow(const Finding& finding, QWidget* parent);
    QCheckBox* selectionBox(const QString& text, const SelectionEntry& entry, bool selectable,
                            QWidget* parent);
    void openRemovalSheet();

    AppModel& model_;
    QLabel* status_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QPushButton* remeasure_ = nullptr;
    QPushButton* remove_ = nullptr;
    SectionWidgets::SwappableContent content_;
    SystemDataChart* chart_ = nullptr;
    std::vector<SelectionBox> boxes_;
    AppModel::Observation observation_;
};

} // namespace velmora
