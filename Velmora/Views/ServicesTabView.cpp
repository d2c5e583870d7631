#include "Views/ServicesTabView.hpp"

#include "Services/OrphanedServices.hpp"
#include "Services/ServicesLoad.hpp"
#include "Support/Text.hpp"
#include "Views/SectionWidgets.hpp"

#include <QCheckBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QShowEvent>
#include <QVBoxLayout>

#include <algorithm>
#include <functional>

namespace velmora {

using namespace SectionWidgets;

namespace {

QString outside(std::string_view text) {
    return qstr(Text::printable(text));
}

QString stateText(const LaunchItem& item) {
    return qstr(title(item.startKind)) + QStringLiteral(", ") +
           (item.isRunning ? QStringLiteral("läuft") : QStringLiteral("läuft nicht"));
}

// Asks before anything is removed; Abbrechen is the default, so Return alone removes nothing.
QMessageBox* confirmation(QWidget* parent, const QString& title, const QString& text, bool dryRun,
                          const std::function<void()>& onConfirm) {
    auto* box = new QMessageBox(QMessageBox::Warning, title, text, QMessageBox::NoButton, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    if (dryRun)
        box->setInformativeText(
            QStringLiteral("Trockenlauf – es wird nichts entfernt, nur gezeigt, was geschähe."));
    auto* go = box->addButton(QStringLiteral("Entfernen"), QMessageBox::AcceptRole);
    auto* cancel = box->addButton(QStringLiteral("Abbrechen"), QMessageBox::RejectRole);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    QObject::connect(box, &QMessageBox::buttonClicked, box, [go, onConfirm](QAbstractButton* clicked) {
        if (clicked == go)
            onConfirm();
    });
    box->open();
    return box;
}

} // namespace

ServicesTabView::ServicesTabView(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    auto* outer = new QVBoxLayout(this);

    const auto header =
        tabHeader(QStringLiteral("Was im Hintergrund startet"), QStringLiteral("Wird geladen"), 10,
                  QStringLiteral("Neu laden"), QStringLiteral("Hintergrunddienste neu laden"), this);
    status_ = header.status;
    busy_ = header.progress;
    busy_->setRange(0, 0);
    reload_ = header.action;
    connect(reload_, &QPushButton::clicked, this, [this] { model_.reloadServices(); });
    outer->addLayout(header.layout);

    result_ = new QFrame(this);
    result_->setFrameShape(QFrame::StyledPanel);
    auto* resultLayout = new QHBoxLayout(result_);
    resultText_ = wrapped(QString(), result_);
    resultText_->setAccessibleName(QStringLiteral("Ergebnis"));
    resultLayout->addWidget(resultText_, 1);
    auto* dismiss = new QPushButton(QStringLiteral("Ausblenden"), result_);
    dismiss->setAccessibleName(QStringLiteral("Ergebnis ausblenden"));
    connect(dismiss, &QPushButton::clicked, this, [this] { model_.dismissRemoval(); });
    resultLayout->addWidget(dismiss, 0, Qt::AlignTop);
    outer->addWidget(result_);

    content_ = swappableContent(this);
    outer->addWidget(content_.scroll, 1);

    auto* footer = new QHBoxLayout;
    count_ = new QLabel(this);
    footer->addWidget(count_, 1);
    remove_ = new QPushButton(QStringLiteral("Ausgewählte Dienste entfernen …"), this);
    remove_->setAccessibleName(QStringLiteral("Ausgewählte Dienste entfernen"));
    connect(remove_, &QPushButton::clicked, this, &ServicesTabView::confirmServices);
    footer->addWidget(remove_);
    outer->addLayout(footer);
    setTabOrder(reload_, content_.scroll);
    setTabOrder(content_.scroll, remove_);

    observation_ = model_.observe([this](AppModel::Property property) {
        using P = AppModel::Property;
        switch (property) {
        case P::services:
        case P::loginItemsFailed:
        case P::hasLoadedServices:
        case P::legacyItems:
            showList();
            break;
        case P::selectedServices:
            showSelection();
            break;
        case P::isLoadingServices:
        case P::isRemoving:
        case P::removalProgress:
        case P::lastRemoval:
        case P::lastRemovalWasServices:
        case P::lastRemovalWasLegacy:
        case P::isScanning:
            showActivity();
            break;
        default:
            break;
        }
    });
    showList();
}

void ServicesTabView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!event->spontaneous())
        model_.servicesTabShown();
}

void ServicesTabView::showList() {
    boxes_.clear();
    removeLegacy_ = nullptr;
    auto* fresh = new QWidget;
    auto* layout = new QVBoxLayout(fresh);
    layout->setContentsMargins(0, 0, 0, 0);
    std::size_t orphans = 0;
    if (!model_.hasLoadedServices()) {
        layout->addWidget(secondary(model_.isLoadingServices()
                                        ? QStringLiteral("Die Dienste werden geladen …")
                                        : QStringLiteral("Noch nicht geladen."),
                                    fresh));
    } else {
        if (model_.loginItemsFailed())
            layout->addWidget(banner(BannerKind::warning,
                                     qstr(loginItemsFailedText) +
                                         QStringLiteral(" Die übrigen Dienste sind trotzdem vollständig."),
                                     fresh));
        for (const LaunchScope scope : allLaunchScopes) {
            auto* group = new QGroupBox(qstr(title(scope)), fresh);
            group->setAccessibleName(qstr(title(scope)));
            auto* groupLayout = new QVBoxLayout(group);
            bool any = false;
            for (const auto& item : model_.services()) {
                if (item.scope != scope)
                    continue;
                any = true;
                orphans += item.isOrphaned ? 1 : 0;
                groupLayout->addWidget(serviceRow(item, group));
            }
            if (!any)
                groupLayout->addWidget(secondary(scope == LaunchScope::loginItem && model_.loginItemsFailed()
                                                     ? qstr(loginItemsFailedText)
                                                     : QStringLiteral("Keine Hintergrunddienste dieser Art."),
                                                 group));
            layout->addWidget(group);
        }
    }
    layout->addWidget(legacySection(fresh));
    swapIn(content_, fresh);
    count_->setText(model_.hasLoadedServices() ? qstr(OrphanedServices::countText(orphans)) : QString());
    showSelection();
    showActivity();
}

QWidget* ServicesTabView::serviceRow(const LaunchItem& item, QWidget* parent) {
    auto* row = new QFrame(parent);
    row->setFrameShape(QFrame::StyledPanel);
    row->setAutoFillBackground(true);
    row->setBackgroundRole(QPalette::Base);
    auto* layout = new QVBoxLayout(row);
    const auto reason = model_.serviceBlockReason(item.id);
    const bool selectable = item.isOrphaned && !reason;

    auto* top = new QHBoxLayout;
    const QString name = outside(item.displayName.empty() ? item.label : item.displayName);
    if (item.isOrphaned) {
        // Only orphans can be chosen; a blocked one keeps its box, disabled, with the reason beside it.
        auto* box = new QCheckBox(name, row);
        QFont bold = box->font();
        bold.setBold(true);
        box->setFont(bold);
        box->setAccessibleName(name);
        box->setEnabled(selectable);
        if (reason) {
            box->setToolTip(qstr(*reason));
            box->setAccessibleDescription(qstr(*reason));
        }
        connect(box, &QCheckBox::clicked, this, [this, id = item.id] { model_.toggleService(id); });
        boxes_[item.id] = box;
        top->addWidget(box, 1);
    } else {
        auto* title = new QLabel(name, row);
        QFont bold = title->font();
        bold.setBold(true);
        title->setFont(bold);
        title->setTextFormat(Qt::PlainText);
        top->addWidget(title, 1);
    }
    if (item.isOwnAgent)
        top->addWidget(badge(QStringLiteral("Velmora 2"), row));
    if (item.isOrphaned)
        top->addWidget(badge(QStringLiteral("Verwaist"), row));
    layout->addLayout(top);

    layout->addWidget(secondary(outside(item.label) + QStringLiteral(" · ") + stateText(item), row));
    layout->addWidget(wrapped(outside(item.explanation), row));
    if (item.isOrphaned && reason)
        layout->addWidget(secondary(QStringLiteral("Nicht entfernbar: ") + qstr(*reason), row));
    return row;
}

QWidget* ServicesTabView::legacySection(QWidget* parent) {
    auto* group = new QGroupBox(qstr(LegacyText::heading), parent);
    group->setAccessibleName(qstr(LegacyText::heading));
    auto* layout = new QVBoxLayout(group);
    const auto& legacy = model_.legacyItems();
    if (legacy.empty()) {
        layout->addWidget(secondary(qstr(LegacyText::none), group));
        return group;
    }
    layout->addWidget(wrapped(qstr(LegacyText::explanation), group));
    for (const auto& item : legacy) {
        QStringList lines{QStringLiteral("Startdatei: ") + outside(item.plist.string())};
        if (!item.script.empty())
            lines << QStringLiteral("Skript: ") + outside(item.script.string());
        for (const auto& log : item.logs)
            lines << QStringLiteral("Protokoll: ") + outside(log.string());
        layout->addWidget(wrapped(outside(item.label), group));
        layout->addWidget(secondary(lines.join(QLatin1Char('\n')), group));
    }
    removeLegacy_ = new QPushButton(QStringLiteral("Alte Automatik entfernen …"), group);
    removeLegacy_->setAccessibleName(QStringLiteral("Alte Automatik entfernen"));
    connect(removeLegacy_, &QPushButton::clicked, this, &ServicesTabView::confirmLegacy);
    layout->addWidget(removeLegacy_, 0, Qt::AlignRight);
    return group;
}

void ServicesTabView::showSelection() {
    for (const auto& [id, box] : boxes_)
        box->setChecked(model_.selectedServices().contains(id));
    showActivity();
}

void ServicesTabView::showActivity() {
    const bool loading = model_.isLoadingServices();
    const bool removing = model_.isRemoving();
    const bool busy = loading || removing || model_.isScanning() || model_.isMeasuringSystemData();
    busy_->setVisible(loading || removing);
    status_->setText(removing  ? qstr(model_.removalProgress().value_or(std::string()))
                     : loading ? QStringLiteral("Wird geladen …")
                               : QString());
    reload_->setEnabled(!loading && !removing);
    remove_->setEnabled(!busy && !model_.selectedServices().empty());
    if (removeLegacy_)
        removeLegacy_->setEnabled(!busy);

    const auto& last = model_.lastRemoval();
    const bool ours = last && (model_.lastRemovalWasServices() || model_.lastRemovalWasLegacy());
    result_->setVisible(ours && !removing);
    if (!ours)
        return;
    QStringList lines;
    lines << (model_.lastRemovalWasDryRun()     ? QStringLiteral("Trockenlauf – es wurde nichts entfernt.")
              : model_.lastRemovalWasServices() ? QStringLiteral("Hintergrunddienste: Ergebnis")
                                                : QStringLiteral("Alte Automatik: Ergebnis"));
    for (const auto& result : last->results) {
        const auto found = std::ranges::find(model_.services(), result.itemID, &LaunchItem::id);
        // A removed service has left the reloaded list; its id still ends in the label.
        const std::string name = found != model_.services().end() && !found->displayName.empty()
                                     ? found->displayName
                                     : result.itemID.substr(result.itemID.find('/') + 1);
        lines << outside(name + ": " + result.outcome.text());
    }
    if (const auto summary = last->summary())
        lines << qstr(*summary);
    resultText_->setText(lines.join(QLatin1Char('\n')));
}

void ServicesTabView::confirmServices() {
    QStringList user, admin;
    for (const auto& item : model_.services())
        if (model_.selectedServices().contains(item.id))
            (item.scope == LaunchScope::user ? user : admin)
                << QStringLiteral("• ") +
                       outside(item.displayName.empty() ? item.label : item.displayName).toHtmlEscaped();
    if (user.isEmpty() && admin.isEmpty())
        return;
    // The two groups go different ways (Trash or admin password), so each says what happens to it.
    QStringList parts;
    if (!user.isEmpty())
        parts << QStringLiteral("<b>%1</b><br>%2<br>%3")
                     .arg(qstr(OrphanedServices::title), qstr(OrphanedServices::summary),
                          user.join(QStringLiteral("<br>")));
    if (!admin.isEmpty())
        parts << QStringLiteral("<b>%1</b><br>%2<br>%3")
                     .arg(qstr(OrphanedServices::adminTitle), qstr(OrphanedServices::adminSummary),
                          admin.join(QStringLiteral("<br>")));
    auto* box = confirmation(this, QStringLiteral("Hintergrunddienste entfernen"),
                             parts.join(QStringLiteral("<br><br>")), model_.isDryRun(),
                             [this] { model_.removeSelectedServices(); });
    box->setObjectName(QStringLiteral("confirmServices"));
    box->setTextFormat(Qt::RichText);
}

void ServicesTabView::confirmLegacy() {
    QStringList labels;
    for (const auto& item : model_.legacyItems())
        labels << outside(item.label);
    auto* box = confirmation(
        this, QStringLiteral("Alte Automatik entfernen"),
        QStringLiteral(
            "Der Agent wird gestoppt, Startdatei, Skript und Protokolle kommen in den Papierkorb:\n") +
            labels.join(QLatin1Char('\n')),
        model_.isDryRun(), [this] { model_.removeLegacy(); });
    box->setObjectName(QStringLiteral("confirmLegacy"));
}

} // namespace velmora
