// "Verlauf der Entfernungen": every recorded removal run, newest first, with its items and where each
// one is now; what a run moved to the Trash can be put back from here.
#pragma once

#include "App/AppModel.hpp"
#include "Views/Banner.hpp"

#include <QDialog>
#include <QString>
#include <QStringList>

#include <string>
#include <vector>

class QLabel;
class QPushButton;
class QTreeWidget;

namespace velmora {

// What a banner says about a finished restore: the summary, then each item that stayed with its reason.
Banner::Content restoreResultText(const RestoreReport& report, bool dryRun);

class RemovalHistoryView : public QDialog {
    Q_OBJECT
public:
    enum Column { whatColumn, resultColumn, sizeColumn, trashColumn };

    // Reads the journal afresh when it opens.
    explicit RemovalHistoryView(AppModel& model, QWidget* parent = nullptr);

    QTreeWidget* runList() const { return tree_; }
    QPushButton* restoreButton() const { return restore_; }
    Banner* resultBanner() const { return result_; }
    QLabel* emptyLabel() const { return empty_; }

    // The run and items the restore button would put back for the current selection: a run row means
    // all of its Trash items, item rows of one run just those. Empty run id when nothing can go back.
    std::pair<std::string, std::vector<std::string>> chosenRestore() const;

private:
    void fill();
    void updateButtons();
    void restoreChosen();
    void showRestore();
    // "~/Downloads/x.dmg" for a path in the home, else the path as it is.
    QString inHome(const std::string& path) const;
    // In the Trash as the run left it and not put back yet.
    bool canGoBack(const JournalRun& run, const JournalItem& item) const;

    AppModel& model_;
    // The restore this view asked for; another one's result is not shown here.
    std::string asked_;
    bool filled_ = false; // runs were on show once
    QTreeWidget* tree_ = nullptr;
    QLabel* empty_ = nullptr;
    Banner* result_ = nullptr;
    QPushButton* restore_ = nullptr;
    AppModel::Observation observation_;
};

} // namespace velmora
