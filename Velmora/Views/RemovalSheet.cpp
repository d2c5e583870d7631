#include "Views/RemovalSheet.hpp"

#include "Findings/ByteFormat.hpp"
#include "Removal/RemovalPlanText.hpp"
#include "Support/Text.hpp"
#include "Views/EmptyTrashPrompt.hpp"
#include "Views/RemovalHistoryView.hpp"
#include "Views/SectionWidgets.hpp"

#include <QCheckBox>
#include <QFile>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStyle>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace velmora {

namespace {

using SectionWidgets::qstr;
using SectionWidgets::shown;

// Long lists stay readable: a finding with thousands of items shows the first ones and a count, the
// result banner the first failures (the rest are in the rows' result column).
constexpr std::size_t shownItemsPerFinding = 200;
constexpr qsizetype shownFailures = 15;
// Findings with more items than this start folded.
constexpr std::size_t unfoldedItems = 8;

enum Column { nameColumn, sizeColumn, resultColumn };

QIcon symbolIcon(std::string_view symbol, const QStyle* style) {
    const auto resource = QStringLiteral(":/icons/%1.svg").arg(qstr(symbol));
    if (QFile::exists(resource))
        return QIcon(resource);
    if (symbol == "exclamationmark.octagon")
        return style->standardIcon(QStyle::SP_MessageBoxWarning);
    return QIcon::fromTheme(QStringLiteral("applications-utilities"));
}

QString moreText(std::size_t count) {
    return count == 1 ? QStringLiteral("… und 1 weiterer Eintrag")
                      : QStringLiteral("… und %1 weitere Einträge").arg(count);
}

QFont relativeFont(QFont font, double factor, bool bold) {
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * factor);
    font.setBold(bold);
    return font;
}

QLabel* wrappingLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

} // namespace

Banner::Content removalResultText(const RemovalReport& report, bool dryRun) {
    Banner::Content text;
    if (dryRun) {
        text.kind = Banner::Kind::info;
        text.title = qstr(RemovalPlanText::dryRunResultTitle);
        text.lines << qstr(RemovalPlanText::dryRunResultText);
        if (const auto summary = report.summary())
            text.lines << qstr(*summary);
    } else {
        // The reconciliation ("13 ausgewählt: …") is the banner's title; the items that stayed are the
        // bullet list below, so its indented lines are left out here.
        for (const auto& line : RemovalPlanText::reportLines(report)) {
            if (line.starts_with("  "))
                continue;
            // The window's own way to the journal, instead of the command the terminal would take.
            if (line.starts_with("Protokolliert als ")) {
                text.lines << QStringLiteral(
                    "Protokolliert – nachzulesen unter „Verlauf der Entfernungen …“.");
                continue;
            }
            (text.title.isEmpty() ? text.title : text.lines.emplace_back()) = qstr(line);
        }
        const bool anyRemoved = std::ranges::any_of(
            report.results, [](const ItemResult& result) { return result.outcome.isRemoved(); });
        text.kind = report.failures.empty() ? Banner::Kind::success
                    : anyRemoved            ? Banner::Kind::warning
                                            : Banner::Kind::error;
        // The run itself went through; only the way back from the Trash is missing.
        if (report.journalWarning) {
            text.lines << QStringLiteral("Warnung: ") + shown(*report.journalWarning) +
                              QStringLiteral(
                                  " Dieser Lauf erscheint nicht im Verlauf und lässt sich hier nicht "
                                  "rückgängig machen.");
            if (text.kind == Banner::Kind::success)
                text.kind = Banner::Kind::warning;
        }
    }
    const auto failures = static_cast<qsizetype>(report.failures.size());
    for (qsizetype i = 0; i < std::min(failures, shownFailures); ++i)
        text.lines << QStringLiteral("• ") + shown(report.failures[static_cast<std::size_t>(i)]);
    if (failures > shownFailures)
        text.lines << moreText(static_cast<std::size_t>(failures - shownFailures));
    return text;
}

RemovalSheet::RemovalSheet(AppModel& model, QWidget* parent) : QDialog(parent), model_(model) {
    setWindowTitle(QStringLiteral("Auswahl entfernen – Velmora 2"));
    setAccessibleName(QStringLiteral("Auswahl entfernen"));
    setModal(true);

    heading_ = new QLabel(this);
    heading_->setFont(relativeFont(heading_->font(), 1.3, true));

    errorBanner_ = new Banner(Banner::Kind::error, this);
    connect(errorBanner_->addButton(QStringLiteral("Ausblenden")), &QPushButton::clicked, this,
            [this] { model_.dismissError(); });

    dryRunBanner_ = new Banner(Banner::Kind::info, this);
    dryRunBanner_->setTitle(qstr(RemovalPlanText::dryRunNotice));

    appsBanner_ = new Banner(Banner::Kind::warning, this);
    appsBanner_->setTitle(QStringLiteral("Diese Apps sollten vorher beendet sein"));

    tree_ = new QTreeWidget(this);
    tree_->setColumnCount(3);
    tree_->setHeaderLabels({QStringLiteral("Was"), QStringLiteral("Größe"), QStringLiteral("Ergebnis")});
    tree_->headerItem()->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
    tree_->header()->setStretchLastSection(false);
    tree_->header()->setSectionResizeMode(nameColumn, QHeaderView::Stretch);
    tree_->header()->setSectionResizeMode(sizeColumn, QHeaderView::ResizeToContents);
    tree_->header()->setSectionResizeMode(resultColumn, QHeaderView::ResizeToContents);
    tree_->setSelectionMode(QAbstractItemView::NoSelection);
    tree_->setAccessibleName(QStringLiteral("Was entfernt wird"));
    tree_->setMinimumHeight(tree_->fontMetrics().height() * 10);

    total_ = new QLabel(this);
    total_->setFont(relativeFont(total_->font(), 1.0, true));
    total_->setAccessibleName(QStringLiteral("Gesamtgröße"));

    options_ = new QWidget(this);
    deleteDirectly_ = new QCheckBox(qstr(RemovalPlanText::deleteDirectlyOption), options_);
    deleteDirectly_->setAccessibleName(deleteDirectly_->text());
    deleteDirectlyNote_ = wrappingLabel(options_);
    deleteDirectlyNote_->setForegroundRole(QPalette::PlaceholderText);
    zap_ = new QCheckBox(qstr(RemovalPlanText::zapOption), options_);
    zap_->setAccessibleName(zap_->text());
    auto* optionsLayout = new QVBoxLayout(options_);
    optionsLayout->setContentsMargins(0, 0, 0, 0);
    optionsLayout->addWidget(deleteDirectly_);
    optionsLayout->addWidget(deleteDirectlyNote_);
    optionsLayout->addWidget(zap_);
    connect(deleteDirectly_, &QCheckBox::toggled, this, [this] { replan(); });
    connect(zap_, &QCheckBox::toggled, this, [this] { replan(); });

    commands_ = new QPlainTextEdit(this);
    commands_->setReadOnly(true);
    commands_->setLineWrapMode(QPlainTextEdit::NoWrap);
    commands_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    commands_->setAccessibleName(QStringLiteral("Befehle"));
    commands_->setMaximumHeight(commands_->fontMetrics().height() * 9);
    commands_->hide();

    progress_ = new QWidget(this);
    progressText_ = wrappingLabel(progress_);
    progressText_->setAccessibleName(QStringLiteral("Fortschritt"));
    progressBar_ = new QProgressBar(progress_);
    progressBar_->setRange(0, 0); // the runner reports steps, not fractions
    progressBar_->setTextVisible(false);
    progressBar_->setAccessibleName(QStringLiteral("Entfernen läuft"));
    progressLabels_ = wrappingLabel(progress_);
    progressLabels_->setForegroundRole(QPalette::PlaceholderText);
    auto* progressLayout = new QVBoxLayout(progress_);
    progressLayout->setContentsMargins(0, 0, 0, 0);
    progressLayout->addWidget(progressText_);
    progressLayout->addWidget(progressBar_);
    progressLayout->addWidget(progressLabels_);

    resultBanner_ = new Banner(Banner::Kind::success, this);
    undo_ = resultBanner_->addButton(QStringLiteral("Rückgängig"));
    undo_->setToolTip(QStringLiteral("Legt zurück, was dieser Lauf in den Papierkorb gelegt hat – nie über "
                                     "etwas, das inzwischen an seinem Ort steht."));
    connect(undo_, &QPushButton::clicked, this, &RemovalSheet::undo);
    emptyTrash_ = resultBanner_->addButton(QStringLiteral("Papierkorb leeren …"));
    connect(emptyTrash_, &QPushButton::clicked, this, &RemovalSheet::emptyTrash);
    busyNote_ = wrappingLabel(this);
    busyNote_->setForegroundRole(QPalette::PlaceholderText);

    commandsButton_ = new QPushButton(qstr(RemovalPlanText::showCommands), this);
    commandsButton_->setCheckable(true);
    commandsButton_->setAccessibleName(commandsButton_->text());
    connect(commandsButton_, &QPushButton::toggled, this, [this](bool on) {
        commands_->setVisible(on);
        commandsButton_->setText(on ? QStringLiteral("Befehle ausblenden")
                                    : qstr(RemovalPlanText::showCommands));
        commandsButton_->setAccessibleName(commandsButton_->text());
    });
    cancel_ = new QPushButton(QStringLiteral("Abbrechen"), this);
    cancel_->setAccessibleName(cancel_->text());
    confirm_ = new QPushButton(this);
    // Enter must never start a removal by accident: the safe answer is the default one.
    confirm_->setAutoDefault(false);
    cancel_->setDefault(true);
    done_ = new QPushButton(QStringLiteral("Fertig"), this);
    done_->setAccessibleName(done_->text());
    connect(cancel_, &QPushButton::clicked, this, &RemovalSheet::reject);
    connect(confirm_, &QPushButton::clicked, this, [this] { confirm(); });
    connect(done_, &QPushButton::clicked, this, [this] {
        model_.dismissRemoval();
        accept();
    });

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(commandsButton_);
    buttons->addStretch(1);
    buttons->addWidget(cancel_);
    buttons->addWidget(confirm_);
    buttons->addWidget(done_);

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(10);
    layout->addWidget(heading_);
    layout->addWidget(errorBanner_);
    layout->addWidget(dryRunBanner_);
    layout->addWidget(appsBanner_);
    layout->addWidget(tree_, 1);
    layout->addWidget(total_);
    layout->addWidget(options_);
    layout->addWidget(commands_);
    layout->addWidget(progress_);
    layout->addWidget(resultBanner_);
    layout->addWidget(busyNote_);
    layout->addLayout(buttons);

    const auto metrics = fontMetrics();
    resize(metrics.averageCharWidth() * 120, metrics.height() * 44);

    observation_ = model_.observe([this](AppModel::Property property) {
        using P = AppModel::Property;
        switch (property) {
        case P::selection:
        case P::report:
        case P::systemData:
        case P::kept:
        case P::dryRunSetting:
        case P::isDryRunForced:
            if (phase_ == Phase::plan)
                replan();
            break;
        case P::lastRemoval:
            if (phase_ == Phase::running && model_.lastRemoval())
                finishRun();
            break;
        case P::isRemoving:
            if (phase_ == Phase::running && !model_.isRemoving())
                finishRun();
            else if (emptying_ && !model_.isRemoving())
                showEmptied();
            else
                updatePhase();
            break;
        case P::removalProgress:
        case P::removalLabels:
            showProgress();
            break;
        case P::lastError:
            showError();
            break;
        case P::lastRestore:
            if (restoring_ && model_.lastRestore() && model_.lastRestore()->runID == runID_)
                showRestored();
            break;
        case P::isRestoring:
            // Refused or failed before it answered: the error banner says why, the offer stays.
            if (restoring_ && !model_.isRestoring() && !model_.lastRestore())
                restoring_ = false;
            updateTrashActions();
            break;
        case P::isScanning:
        case P::isMeasuringSystemData:
        case P::isChecking:
        case P::isLoadingServices:
            updatePhase();
            break;
        default:
            break;
        }
    });

    showError();
    replan();
}

void RemovalSheet::reject() {
    if (phase_ == Phase::running)
        return;
    if (phase_ == Phase::done)
        model_.dismissRemoval();
    QDialog::reject();
}

RemovalOptions RemovalSheet::chosenOptions() const {
    // Dry run is not the sheet's to choose: the model sets it whenever it is in force.
    return RemovalOptions{deleteDirectly_->isChecked(), zap_->isChecked(), false};
}

bool RemovalSheet::modelBusy() const {
    return model_.isBusy();
}

void RemovalSheet::replan() {
    plan_ = model_.planSelection(chosenOptions());
    fillTree();
    total_->setText(plan_.isEmpty() ? QStringLiteral("Nichts ausgewählt.")
                                    : qstr(RemovalPlanText::total(plan_)));
    fillOptions();
    fillApps();
    QStringList lines;
    for (const auto& line : plan_.commandPreview())
        lines << shown(line);
    commands_->setPlainText(lines.join(QLatin1Char('\n')));
    dryRunBanner_->setTitle(qstr(RemovalPlanText::dryRunNotice));
    updatePhase();
}

void RemovalSheet::fillTree() {
    tree_->clear();
    itemRows_.clear();
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    for (const auto& group : RemovalPlanText::groups(plan_)) {
        auto* head = new QTreeWidgetItem(tree_);
        head->setText(nameColumn, shown(group.heading));
        head->setToolTip(nameColumn, head->text(nameColumn));
        head->setFirstColumnSpanned(true);
        const bool isCommand =
            group.steps.size() == 1 && group.steps.front()->finding->method.kind() == RemovalKind::tool;
        head->setFont(nameColumn, relativeFont(isCommand ? fixed : tree_->font(), 1.0, true));
        if (group.symbol)
            head->setIcon(nameColumn, symbolIcon(*group.symbol, style()));
        for (const RemovalStep* step : group.steps) {
            auto* finding = new QTreeWidgetItem(head);
            finding->setText(nameColumn, shown(step->finding->title));
            finding->setText(sizeColumn, qstr(RemovalPlanText::sizeText(RemovalPlanText::stepSize(*step))));
            finding->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
            const auto shownItems = std::min(step->items.size(), shownItemsPerFinding);
            for (std::size_t i = 0; i < shownItems; ++i) {
                const auto& item = step->items[i].item;
                auto* row = new QTreeWidgetItem(finding);
                row->setText(nameColumn, shown(item.name.empty() ? item.id : item.name));
                if (item.url)
                    row->setToolTip(nameColumn, shown(item.url->string()));
                row->setText(sizeColumn, qstr(RemovalPlanText::sizeText(item.size)));
                row->setTextAlignment(sizeColumn, Qt::AlignRight | Qt::AlignVCenter);
                itemRows_[{step->finding->id.text(), item.id}] = row;
            }
            if (step->items.size() > shownItems) {
                auto* more = new QTreeWidgetItem(finding);
                more->setText(nameColumn, moreText(step->items.size() - shownItems));
            }
            finding->setExpanded(step->items.size() <= unfoldedItems);
        }
        head->setExpanded(true);
    }
    tree_->setCurrentItem(nullptr);
}

void RemovalSheet::fillOptions() {
    const auto offers = RemovalPlanText::directDeleteOffers(plan_);
    deleteDirectly_->setVisible(!offers.empty() || deleteDirectly_->isChecked());
    QStringList note{qstr(RemovalPlanText::deleteDirectlyExplanation)};
    if (!plan_.directDeleteCandidates.empty()) {
        note << qstr(RemovalPlanText::directDeleteHeading);
        for (const auto& item : plan_.directDeleteCandidates)
            note << QStringLiteral("  • %1  %2")
                        .arg(shown(item.name), qstr(RemovalPlanText::sizeText(item.size)));
    }
    deleteDirectlyNote_->setText(note.join(QLatin1Char('\n')));
    deleteDirectlyNote_->setVisible(deleteDirectly_->isVisibleTo(options_));
    zap_->setVisible(RemovalPlanText::offersZap(plan_) || zap_->isChecked());
    options_->setVisible(deleteDirectly_->isVisibleTo(options_) || zap_->isVisibleTo(options_));
}

void RemovalSheet::fillApps() {
    const auto apps = RemovalPlanText::blockingApps(plan_);
    appsBanner_->clearButtons();
    if (apps.empty()) {
        appsBanner_->hide();
        return;
    }
    QStringList names;
    for (const auto& app : apps)
        names << shown(app.displayName.empty() ? app.processName.value_or(app.bundleID.value_or("?"))
                                               : app.displayName);
    appsBanner_->setLines({QStringLiteral("Solange eine von ihnen läuft, bleiben ihre Einträge liegen: %1.")
                               .arg(names.join(QStringLiteral(", ")))});
    for (std::size_t i = 0; i < apps.size(); ++i) {
        // Only an app with a bundle identifier can be asked to quit.
        if (!apps[i].bundleID)
            continue;
        const std::string bundleID = *apps[i].bundleID;
        auto* button =
            appsBanner_->addButton(QStringLiteral("%1 beenden").arg(names[static_cast<qsizetype>(i)]));
        const auto show = [button, name = names[static_cast<qsizetype>(i)]](bool asked) {
            button->setEnabled(false);
            button->setText(asked ? QStringLiteral("%1 wird beendet").arg(name)
                                  : QStringLiteral("%1 ließ sich nicht beenden").arg(name));
            button->setAccessibleName(button->text());
        };
        if (const auto it = quitAsked_.find(bundleID); it != quitAsked_.end())
            show(it->second);
        connect(button, &QPushButton::clicked, this, [this, bundleID, show] {
            const bool asked = model_.terminate(bundleID);
            quitAsked_[bundleID] = asked;
            show(asked);
        });
    }
    appsBanner_->setVisible(phase_ != Phase::done);
}

void RemovalSheet::confirm() {
    if (phase_ != Phase::plan || plan_.isEmpty() || modelBusy())
        return;
    // What the banners show from now on belongs to this removal.
    model_.dismissError();
    model_.dismissRemoval();
    ranDry_ = plan_.options.dryRun;
    phase_ = Phase::running;
    model_.remove(plan_);
    // Refused before anything ran: with a reason the error banner shows it; without one another
    // operation got in first, and the plan stays on show to be confirmed again.
    if (phase_ == Phase::running && !model_.isRemoving())
        phase_ = model_.lastError() ? Phase::done : Phase::plan;
    showProgress();
    updatePhase();
}

void RemovalSheet::finishRun() {
    phase_ = Phase::done;
    if (const auto& report = model_.lastRemoval()) {
        const auto text = removalResultText(*report, ranDry_);
        resultBanner_->setContent(text);
        markResults(*report);
        // What went to the Trash can still come back, or go for good.
        if (!ranDry_ && report->trashedBytes > 0 && report->runID) {
            runID_ = *report->runID;
            trashOffered_ = true;
        }
    }
    updatePhase();
}

void RemovalSheet::undo() {
    if (!trashOffered_ || restoring_ || emptying_)
        return;
    model_.dismissError();
    model_.dismissRestore();
    restoring_ = true;
    model_.restoreRun(runID_);
    if (!model_.isRestoring())
        restoring_ = false; // something else runs; the offer stays
    updateTrashActions();
}

void RemovalSheet::emptyTrash() {
    if (!trashOffered_ || restoring_ || emptying_)
        return;
    model_.dismissError();
    if (askToEmptyTrash(model_, this))
        emptying_ = model_.isRemoving();
    updateTrashActions();
}

void RemovalSheet::showRestored() {
    restoring_ = false;
    trashOffered_ = false;
    auto text = restoreResultText(*model_.lastRestore(), model_.lastRestoreWasDryRun());
    text.title.prepend(QStringLiteral("Rückgängig: "));
    resultBanner_->setContent(text);
    for (const auto& result : model_.lastRestore()->results)
        if (const auto row = itemRows_.find({result.findingID.text(), result.itemID});
            row != itemRows_.end() && result.outcome.kind == RestoreOutcome::Kind::restored)
            row->second->setText(resultColumn, QStringLiteral("zurückgelegt"));
    updateTrashActions();
}

void RemovalSheet::showEmptied() {
    emptying_ = false;
    // A failure is in the error banner; the offer stays for another try.
    if (!model_.lastError()) {
        trashOffered_ = false;
        if (const auto& report = model_.lastRemoval())
            resultBanner_->setLines(
                resultBanner_->lines()
                << (model_.lastRemovalWasDryRun()
                        ? QStringLiteral("Trockenlauf – der Papierkorb wurde nicht geleert.")
                        : QStringLiteral("Papierkorb geleert – %1 freigegeben.")
                              .arg(qstr(ByteFormat::fileSize(report->freedBytes)))));
    }
    updatePhase();
}

void RemovalSheet::updateTrashActions() {
    const bool offered = phase_ == Phase::done && trashOffered_;
    undo_->setVisible(offered);
    emptyTrash_->setVisible(offered);
    const bool idle = !restoring_ && !emptying_ && !modelBusy();
    undo_->setEnabled(idle);
    emptyTrash_->setEnabled(idle);
    undo_->setText(restoring_ ? QStringLiteral("Wird zurückgelegt …") : QStringLiteral("Rückgängig"));
    emptyTrash_->setText(emptying_ ? QStringLiteral("Papierkorb wird geleert …")
                                   : QStringLiteral("Papierkorb leeren …"));
}

void RemovalSheet::markResults(const RemovalReport& report) {
    const QColor failed = Banner::accent(Banner::Kind::error);
    for (const auto& result : report.results) {
        const auto it = itemRows_.find({result.findingID.text(), result.itemID});
        if (it == itemRows_.end())
            continue;
        it->second->setText(resultColumn, shown(result.outcome.text()));
        if (result.outcome.isFailed())
            it->second->setForeground(resultColumn, failed);
    }
}

void RemovalSheet::showProgress() {
    if (phase_ != Phase::running)
        return;
    progressText_->setText(qstr(model_.removalProgress().value_or(std::string(AppModelText::preparing))));
    QStringList labels;
    for (const auto& label : model_.removalLabels())
        labels << shown(label);
    progressLabels_->setText(
        labels.isEmpty() ? QString() : QStringLiteral("Betrifft: ") + labels.join(QStringLiteral(", ")));
}

void RemovalSheet::showError() {
    const auto& error = model_.lastError();
    errorBanner_->setTitle(error ? shown(*error) : QString());
    errorBanner_->setVisible(error.has_value());
}

void RemovalSheet::updatePhase() {
    const bool planning = phase_ == Phase::plan;
    const bool running = phase_ == Phase::running;
    const bool finished = phase_ == Phase::done;
    const bool dry = planning ? plan_.options.dryRun : ranDry_;
    if (planning)
        heading_->setText(dry ? QStringLiteral("Trockenlauf: Das würde entfernt")
                              : QStringLiteral("Das wird entfernt"));
    else if (running)
        heading_->setText(dry ? QStringLiteral("Trockenlauf läuft …") : QStringLiteral("Wird entfernt …"));
    else
        heading_->setText(dry ? QStringLiteral("Trockenlauf beendet") : QStringLiteral("Entfernen beendet"));

    dryRunBanner_->setVisible(dry && !finished);
    if (finished)
        appsBanner_->hide();
    options_->setEnabled(planning);
    options_->setVisible(planning && (deleteDirectly_->isVisibleTo(options_) || zap_->isVisibleTo(options_)));
    progress_->setVisible(running);
    resultBanner_->setVisible(finished && model_.lastRemoval().has_value());
    tree_->setColumnHidden(resultColumn, !finished || !model_.lastRemoval());

    confirm_->setText(dry ? QStringLiteral("Trockenlauf starten") : QStringLiteral("Entfernen"));
    confirm_->setAccessibleName(confirm_->text());
    confirm_->setVisible(planning);
    confirm_->setEnabled(planning && !plan_.isEmpty() && !modelBusy());
    cancel_->setVisible(planning);
    done_->setVisible(!planning);
    done_->setEnabled(finished);

    QString note;
    if (planning && plan_.isEmpty())
        note = QStringLiteral("Wähle zuerst aus, was entfernt werden soll.");
    else if (planning && modelBusy())
        note = QStringLiteral("Gerade läuft noch etwas anderes – Entfernen geht, sobald es fertig ist.");
    busyNote_->setText(note);
    busyNote_->setVisible(!note.isEmpty());
    updateTrashActions();
}

} // namespace velmora
