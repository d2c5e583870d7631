// The "Speicher" and "Entwickler" tabs: the disk bar and the findings of the tab's categories, what the
// user ticks for removal, what they keep, and (on "Speicher") the big folders, photos and the Trash.
#pragma once

#include "App/AppModel.hpp"

#include <QStringList>
#include <QTreeWidgetItem>
#include <QWidget>

#include <cstdint>
#include <memory>
#include <vector>

class QComboBox;
class QFrame;
class QGroupBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTreeWidget;

namespace velmora {

class DiskBar;
class RiskPill;

class CleanupTabView : public QWidget {
    Q_OBJECT
public:
    CleanupTabView(AppModel& model, AppTab tab, QWidget* parent = nullptr);

    enum Column { nameColumn, riskColumn, sizeColumn, dateColumn, detailColumn };

    QTreeWidget* tree() const { return tree_; }
    DiskBar* diskBar() const { return diskBar_; }
    QLineEdit* searchField() const { return search_; }
    QComboBox* sortBox() const { return sort_; }
    QPushButton* keepButton() const { return keep_; }
    QPushButton* removeButton() const { return remove_; }
    // "Warum?": the why answer for the current finding or item.
    QPushButton* whyButton() const { return why_; }
    QFrame* fullDiskAccessBanner() const { return fdaBanner_; }
    // The row of a finding shown in this tab, or null.
    QTreeWidgetItem* findingRow(const FindingID& id) const;
    // Builds the item rows of a finding row now (they are otherwise built when it is first expanded).
    void populateItems(QTreeWidgetItem* findingRow);
    // What the whole selection (of every tab) would give back.
    std::int64_t selectionBytes() const;

private:
    struct Entry {
        // A copy: the rows are remembered by it when a new report has already replaced the old one.
        FindingID id;
        const Finding* finding;
        bool kept;
        // Filled on the first search only.
        QString ownText;
        QStringList itemNames;
        bool textReady = false;
    };

    void buildLayout();
    void rebuild();
    void addItemRows(QTreeWidgetItem* findingRow, std::size_t from);
    void refreshChecks();
    void applyFilter();
    void showDetails();
    void showSide();
    void showProgress();
    void showTrash();
    void updateButtons();
    void rowChanged(QTreeWidgetItem* row, int column);
    void toggleKeep();
    void reveal();
    void followHint();
    // "Warum wird das vorgeschlagen?" for the current finding or item row.
    void explainCurrent();
    void emptyTrash();
    void openRemoval();
    const Entry* entryOf(const QTreeWidgetItem* row) const;
    const FindingItem* itemOf(const QTreeWidgetItem* row) const;

    AppModel& model_;
    AppTab tab_;
    std::vector<Entry> entries_;
    AppModel::Observation observation_;

    DiskBar* diskBar_ = nullptr;
    QFrame* fdaBanner_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QLabel* progressText_ = nullptr;
    QLineEdit* search_ = nullptr;
    QComboBox* sort_ = nullptr;
    QTreeWidget* tree_ = nullptr;
    QLabel* emptyText_ = nullptr;

    QLabel* detailTitle_ = nullptr;
    RiskPill* detailPill_ = nullptr;
    QLabel* detailBody_ = nullptr;
    QPushButton* keep_ = nullptr;
    QPushButton* reveal_ = nullptr;
    QPushButton* why_ = nullptr;
    QPushButton* hint_ = nullptr;

    QGroupBox* chunksBox_ = nullptr;
    QTreeWidget* chunks_ = nullptr;
    QLabel* photos_ = nullptr;

    QLabel* trashText_ = nullptr;
    QPushButton* emptyTrash_ = nullptr;
    QLabel* selectionText_ = nullptr;
    QPushButton* remove_ = nullptr;
    // The "Weitere … zeigen" row last taken out of the tree (it may still be handling its click).
    std::unique_ptr<QTreeWidgetItem> takenMoreRow_;
};

} // namespace velmora
