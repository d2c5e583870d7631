// The removal sheet: the plan of the current selection, what will run, the person's confirmation, the
// progress and the result. Nothing runs before the person confirms.
#pragma once

#include "App/AppModel.hpp"
#include "Removal/RemovalPlan.hpp"
#include "Removal/RemovalReport.hpp"
#include "Views/Banner.hpp"

#include <QDialog>
#include <QString>
#include <QStringList>

#include <map>
#include <string>
#include <utility>

class QCheckBox;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;
class QWidget;

namespace velmora {

// What the result banner says about a finished removal. The report's own lines (freed bytes, the failure
// summary) come first, then the single failures.
Banner::Content removalResultText(const RemovalReport& report, bool dryRun);

class RemovalSheet : public QDialog {
    Q_OBJECT
public:
    // The sheet first shows the plan; after confirming, the progress; then the result.
    enum class Phase { plan, running, done };

    // Shows the plan of the model's current selection.
    explicit RemovalSheet(AppModel& model, QWidget* parent = nullptr);

    Phase phase() const { return phase_; }
    // The plan on show, which is exactly what runs when the person confirms.
    const RemovalPlan& plan() const { return plan_; }

    QTreeWidget* planTree() const { return tree_; }
    QLabel* totalLabel() const { return total_; }
    Banner* dryRunBanner() const { return dryRunBanner_; }
    Banner* appsBanner() const { return appsBanner_; }
    Banner* resultBanner() const { return resultBanner_; }
    Banner* errorBanner() const { return errorBanner_; }
    QCheckBox* deleteDirectlyBox() const { return deleteDirectly_; }
    QCheckBox* zapBox() const { return zap_; }
    QPushButton* commandsButton() const { return commandsButton_; }
    QPlainTextEdit* commandsView() const { return commands_; }
    QLabel* progressLabel() const { return progressText_; }
    QPushButton* confirmButton() const { return confirm_; }
    QPushButton* cancelButton() const { return cancel_; }
    QPushButton* doneButton() const { return done_; }
    // In the result banner, after a run that moved items to the Trash.
    QPushButton* undoButton() const { return undo_; }
    QPushButton* emptyTrashButton() const { return emptyTrash_; }

public Q_SLOTS:
    // While the removal runs the sheet stays: closing it would hide the outcome.
    void reject() override;

private:
    void replan();
    void fillTree();
    void fillOptions();
    void fillApps();
    void confirm();
    void finishRun();
    void markResults(const RemovalReport& report);
    void undo();
    void emptyTrash();
    void showRestored();
    void showEmptied();
    void updateTrashActions();
    void showProgress();
    void showError();
    void updatePhase();
    bool modelBusy() const;
    RemovalOptions chosenOptions() const;

    AppModel& model_;
    RemovalPlan plan_;
    Phase phase_ = Phase::plan;
    bool ranDry_ = false;
    // The finished run moved items to the Trash: "Rückgängig" and "Papierkorb leeren …" are offered.
    bool trashOffered_ = false;
    std::string runID_;
    bool restoring_ = false;
    bool emptying_ = false;
    // What the person was told after asking an app to quit, by bundle identifier: true when it was asked.
    std::map<std::string, bool> quitAsked_;
    // The tree's row of each planned item, by finding identifier text and item id.
    std::map<std::pair<std::string, std::string>, QTreeWidgetItem*> itemRows_;

    QLabel* heading_ = nullptr;
    Banner* errorBanner_ = nullptr;
    Banner* dryRunBanner_ = nullptr;
    Banner* appsBanner_ = nullptr;
    QTreeWidget* tree_ = nullptr;
    QLabel* total_ = nullptr;
    QWidget* options_ = nullptr;
    QCheckBox* deleteDirectly_ = nullptr;
    QLabel* deleteDirectlyNote_ = nullptr;
    QCheckBox* zap_ = nullptr;
    QPushButton* commandsButton_ = nullptr;
    QPlainTextEdit* commands_ = nullptr;
    QWidget* progress_ = nullptr;
    QLabel* progressText_ = nullptr;
    QProgressBar* progressBar_ = nullptr;
    QLabel* progressLabels_ = nullptr;
    QLabel* busyNote_ = nullptr;
    Banner* resultBanner_ = nullptr;
    QPushButton* confirm_ = nullptr;
    QPushButton* cancel_ = nullptr;
    QPushButton* done_ = nullptr;
    QPushButton* undo_ = nullptr;
    QPushButton* emptyTrash_ = nullptr;
    AppModel::Observation observation_;
};

} // namespace velmora
