#include "Views/RemovalHistoryView.hpp"

#include "Findings/ByteFormat.hpp"
#include "Removal/JournalText.hpp"
#include "Removal/RemovalReport.hpp"
#include "Views/SectionWidgets.hpp"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <set>

namespace velmora {

namespace {

using SectionWidgets::qstr;
using SectionWidgets::shown;

constexpr int runRole = Qt::UserRole + 1;  // the run id, on every row
constexpr int itemRole = Qt::UserRole + 2; // the item id, on item rows only

QString bytes(std::int64_t value) {
    return qstr(ByteFormat::fileSize(value));
}

} // namespace

Banner::Content restoreResultText(const RestoreReport& report, bool dryRun) {
    Banner::Content text;
    const bool anyLeft = report.count(RestoreOutcome::Kind::left) > 0;
    text.kind = anyLeft ? Banner::Kind::warning : dryRun ? Banner::Kind::info : Banner::Kind::success;
    text.title = qstr(JournalText::restoreSummary(report, dryRun));
    for (const auto& result : report.results)
        if (result.outcome.kind == RestoreOutcome::Kind::left)
            text.lines << shown(result.path.empty() ? result.itemID : result.path) + QStringLiteral(": ") +
                              shown(result.outcome.reason);
    if (report.journalWarning)
        text.lines << shown(*report.journalWarning) +
                          QStringLiteral(" Zurückgelegte Objekte könnten noch einmal angeboten werden.");
    return text;
}

RemovalHistoryView::RemovalHistoryView(AppModel& model, QWidget* parent) : QDialog(parent), model_(model) {
    setWindowTitle(QStringLiteral("Verlauf der Entfernungen"));
    setAccessibleName(windowTitle());
    resize(920, 520);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(SectionWidgets::heading(QStringLiteral("Verlauf der Entfernungen"), this));
    layout->addWidget(SectionWidgets::secondary(
        QStringLiteral(
            "Was Velmora entfernt hat, neueste Läufe zuerst. Was ein Lauf in den Papierkorb gelegt "
            "hat, lässt sich zurücklegen, solange es dort liegt – nie über etwas, das inzwischen "
            "an seinem Ort steht."),
        this));
    result_ = new Banner(Banner::Kind::success, this);
    result_->hide();
    layout->addWidget(result_);
    empty_ = new QLabel(QStringLiteral("Noch keine Entfernung protokolliert."), this);
    empty_->setAlignment(Qt::AlignCenter);
    layout->addWidget(empty_);
    tree_ = new QTreeWidget(this);
    tree_->setAccessibleName(QStringLiteral("Läufe"));
    tree_->setHeaderLabels({QStringLiteral("Lauf / Objekt"), QStringLiteral("Ergebnis"),
                            QStringLiteral("Größe"), QStringLiteral("Papierkorb")});
    tree_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    tree_->setUniformRowHeights(true);
    // Paths are long; their end names the object.
    tree_->setTextElideMode(Qt::ElideMiddle);
    tree_->setColumnWidth(whatColumn, 360);
    tree_->setColumnWidth(resultColumn, 220);
    tree_->setColumnWidth(sizeColumn, 90);
    tree_->headerItem()->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
    connect(tree_, &QTreeWidget::itemSelectionChanged, this, &RemovalHistoryView::updateButtons);
    layout->addWidget(tree_, 1);

    auto* buttons = new QDialogButtonBox(this);
    restore_ = buttons->addButton(QStringLiteral("Zurücklegen"), QDialogButtonBox::ActionRole);
    restore_->setAccessibleName(QStringLiteral("Aus dem Papierkorb zurücklegen"));
    restore_->setToolTip(
        QStringLiteral("Legt die gewählten Objekte (oder alle eines gewählten Laufs) aus dem "
                       "Papierkorb an ihren ursprünglichen Ort zurück."));
    restore_->setAutoDefault(false);
    connect(restore_, &QPushButton::clicked, this, &RemovalHistoryView::restoreChosen);
    auto* close = buttons->addButton(QDialogButtonBox::Close);
    close->setText(QStringLiteral("Schließen"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);

    observation_ = model_.observe([this](AppModel::Property property) {
        using P = AppModel::Property;
        switch (property) {
        case P::removalRuns:
            fill();
            break;
        case P::lastRestore:
        case P::lastError:
            showRestore();
            break;
        case P::isRestoring:
        case P::isRemoving:
        case P::isScanning:
        case P::isMeasuringSystemData:
        case P::isChecking:
        case P::isLoadingServices:
            updateButtons();
            break;
        default:
            break;
        }
    });
    fill();
    model_.loadRemovalRuns();
}

QString RemovalHistoryView::inHome(const std::string& path) const {
    const auto inside = std::filesystem::path(path).lexically_relative(model_.servicesHome());
    if (model_.servicesHome().empty() || inside.empty() || *inside.begin() == "..")
        return shown(path);
    return shown(inside == "." ? std::string("~") : "~/" + inside.string());
}

bool RemovalHistoryView::canGoBack(const JournalRun& run, const JournalItem& item) const {
    return item.trash && !item.restored && !model_.isGoneFromTrash(run.runID, item.itemID);
}

void RemovalHistoryView::fill() {
    // The rows are rebuilt whole; the run the person looked at stays open and chosen.
    std::set<QString> expanded;
    QString current;
    for (int index = 0; index < tree_->topLevelItemCount(); ++index)
        if (tree_->topLevelItem(index)->isExpanded())
            expanded.insert(tree_->topLevelItem(index)->data(0, runRole).toString());
    if (const auto* row = tree_->currentItem())
        current = row->data(0, runRole).toString();
    tree_->clear();
    const auto& runs = model_.removalRuns();
    for (const auto& run : runs) {
        const QString id = qstr(run.runID);
        auto* runRow = new QTreeWidgetItem(tree_);
        runRow->setData(0, runRole, id);
        runRow->setText(whatColumn, SectionWidgets::dateTime(run.time));
        runRow->setText(resultColumn, qstr(countsText(run.counts)));
        runRow->setText(sizeColumn, bytes(run.freedBytes + run.trashedBytes));
        runRow->setToolTip(whatColumn, shown(run.runID));
        runRow->setToolTip(resultColumn, shown(JournalText::runSummary(run)));
        const auto waiting =
            std::ranges::count_if(run.items, [&](const JournalItem& item) { return canGoBack(run, item); });
        const auto restored = std::ranges::count_if(run.items, &JournalItem::restored);
        if (run.trashedBytes > 0 || waiting > 0)
            runRow->setText(trashColumn, bytes(run.trashedBytes) + QStringLiteral(" · ") +
                                             (waiting > 0    ? QStringLiteral("%1 noch dort").arg(waiting)
                                              : restored > 0 ? QStringLiteral("zurückgelegt")
                                                             : QStringLiteral("nicht mehr dort")));
        for (const auto& item : run.items) {
            auto* row = new QTreeWidgetItem(runRow);
            row->setData(0, runRole, id);
            row->setData(0, itemRole, qstr(item.itemID));
            row->setText(whatColumn, item.path.empty() ? shown(item.itemID) : inHome(item.path));
            row->setToolTip(whatColumn, shown(item.path.empty() ? item.itemID : item.path));
            row->setText(resultColumn,
                         shown(JournalText::method(item.method) + " · " + JournalText::outcome(item)));
            row->setToolTip(resultColumn, row->text(resultColumn));
            row->setText(sizeColumn, item.size ? bytes(*item.size) : QStringLiteral("unbekannt"));
            const bool gone = model_.isGoneFromTrash(run.runID, item.itemID);
            row->setText(trashColumn, item.restored ? QStringLiteral("zurückgelegt")
                                      : !item.trash ? QString()
                                      : gone        ? QStringLiteral("nicht mehr dort")
                                                    : QStringLiteral("liegt dort"));
            row->setToolTip(trashColumn,
                            gone ? QStringLiteral("Nicht mehr im Papierkorb – geleert oder verschoben.")
                                 : shown(JournalText::trashState(item)));
        }
        for (int index = -1; index < runRow->childCount(); ++index)
            (index < 0 ? runRow : runRow->child(index))
                ->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
        // At first the newest run is open: it is usually the one the person came for.
        runRow->setExpanded(expanded.contains(id) || (!filled_ && &run == &runs.front()));
        if (id == current)
            tree_->setCurrentItem(runRow);
    }
    filled_ = filled_ || !runs.empty();
    empty_->setVisible(runs.empty());
    tree_->setVisible(!runs.empty());
    updateButtons();
}

std::pair<std::string, std::vector<std::string>> RemovalHistoryView::chosenRestore() const {
    const auto selected = tree_->selectedItems();
    if (selected.isEmpty())
        return {};
    const QString runID = selected.front()->data(0, runRole).toString();
    const auto& runs = model_.removalRuns();
    const auto run = std::ranges::find(runs, runID.toStdString(), &JournalRun::runID);
    if (run == runs.end())
        return {};
    std::set<std::string> named;
    bool wholeRun = false;
    for (const auto* row : selected) {
        // Rows of two runs cannot go back in one step.
        if (row->data(0, runRole).toString() != runID)
            return {};
        if (row->parent())
            named.insert(row->data(0, itemRole).toString().toStdString());
        else
            wholeRun = true;
    }
    std::vector<std::string> items;
    for (const auto& item : run->items)
        if (canGoBack(*run, item) && (wholeRun || named.contains(item.itemID)))
            items.push_back(item.itemID);
    if (items.empty())
        return {};
    // A whole run is asked for as such, so that the journal's own choice of its Trash items holds.
    return {run->runID, wholeRun ? std::vector<std::string>{} : items};
}

void RemovalHistoryView::updateButtons() {
    restore_->setEnabled(!model_.isBusy() && !chosenRestore().first.empty());
    restore_->setText(model_.isRestoring() ? QStringLiteral("Wird zurückgelegt …")
                      : model_.isDryRun()  ? QStringLiteral("Zurücklegen (Trockenlauf)")
                                           : QStringLiteral("Zurücklegen"));
}

void RemovalHistoryView::restoreChosen() {
    auto [runID, items] = chosenRestore();
    if (runID.empty())
        return;
    asked_ = runID;
    model_.dismissError();
    model_.dismissRestore();
    model_.restoreRun(runID, std::move(items));
    updateButtons();
}

void RemovalHistoryView::showRestore() {
    const auto& report = model_.lastRestore();
    if (const auto& error = model_.lastError(); error && !asked_.empty() && !report) {
        result_->setContent({Banner::Kind::error, shown(*error), {}});
        result_->show();
        return;
    }
    if (!report || asked_.empty() || report->runID != asked_) {
        result_->hide();
        return;
    }
    result_->setContent(restoreResultText(*report, model_.lastRestoreWasDryRun()));
    result_->show();
}

} // namespace velmora
