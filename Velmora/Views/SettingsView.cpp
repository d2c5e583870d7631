#include "Views/SettingsView.hpp"

#include "Findings/ByteFormat.hpp"
#include "Views/HistoryChart.hpp"
#include "Views/RemovalHistoryView.hpp"
#include "Views/SectionWidgets.hpp"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

namespace velmora {

namespace {

using SectionWidgets::qstr;

QLabel* wrappingLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

// Smaller, dimmed text for the "what to do" lines under a status.
QLabel* hintLabel(QWidget* parent) {
    auto* label = wrappingLabel(parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.92);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

void setTextAndShow(QLabel* label, const QString& text) {
    label->setText(text);
    label->setVisible(!text.isEmpty());
}

// On macOS the system settings open at the right pane; other desktops have no such link, and the
// hint under the status says what to do there instead.
constexpr bool canOpenSystemSettings() {
#ifdef __APPLE__
    return true;
#else
    return false;
#endif
}

QString agentHint(AgentStatus status, CheckSchedule schedule) {
    switch (status) {
    case AgentStatus::enabled:
        return {};
    case AgentStatus::notRegistered:
        return schedule == CheckSchedule::off
                   ? QStringLiteral(
                         "Wähle oben „Wöchentlich“ oder „Monatlich“, dann wird der Check angemeldet.")
                   : QStringLiteral(
                         "Stelle den Check auf „Aus“ und wieder ein, um ihn neu anzumelden; danach "
                         "„Status neu prüfen“.");
    case AgentStatus::requiresApproval:
        return canOpenSystemSettings()
                   ? QStringLiteral("Erlaube „Velmora 2“ unter Systemeinstellungen → Allgemein → "
                                    "Anmeldeobjekte; danach „Status neu prüfen“.")
                   : QStringLiteral(
                         "Der Timer ist gesperrt (maskiert). Gib ihn im Terminal mit „systemctl "
                         "--user unmask velmora2-check-%1.timer“ frei; danach „Status neu prüfen“.")
                         .arg(qstr(rawValue(schedule)));
    case AgentStatus::notFound:
        return canOpenSystemSettings()
                   ? QStringLiteral("Installiere die signierte App in den Ordner „Programme“ und starte sie "
                                    "von dort.")
                   : QStringLiteral("Unter Linux braucht der Check den systemd-Dienst deiner Sitzung "
                                    "(„systemctl --user“); ohne ihn läuft er nicht automatisch.");
    }
    return {};
}

QString notificationHint(NotificationAuthorization status) {
    switch (status) {
    case NotificationAuthorization::authorized:
        return {};
    case NotificationAuthorization::notDetermined:
        return QStringLiteral("Nichts zu tun: Du wirst gefragt, sobald du den Check einschaltest.");
    case NotificationAuthorization::denied:
        return canOpenSystemSettings()
                   ? QStringLiteral("Erlaube Mitteilungen für „Velmora 2“ in den Systemeinstellungen; danach "
                                    "„Erneut prüfen“.")
                   : QStringLiteral(
                         "Installiere „notify-send“ (Paket libnotify-bin) und erlaube Mitteilungen "
                         "in den Einstellungen deines Desktops; danach „Erneut prüfen“.");
    }
    return {};
}

} // namespace

QString dryRunExplanation(bool forced) {
    return forced ? QStringLiteral("Von außen erzwungen (--dry-run oder VELMORA_DRY_RUN=1): es wird nichts "
                                   "entfernt, nur gezeigt, was geschähe.")
                  : QStringLiteral("Nichts entfernen, nur zeigen, was geschähe.");
}

SettingsView::SettingsView(AppModel& model, QWidget* parent) : QDialog(parent), model_(model) {
    setWindowTitle(QStringLiteral("Einstellungen"));
    auto* layout = new QVBoxLayout(this);

    // The automatic check.
    auto* check = new QGroupBox(qstr(automaticCheckTitle), this);
    auto* checkLayout = new QVBoxLayout(check);
    auto* note = wrappingLabel(check);
    note->setText(qstr(automaticCheckNote));
    checkLayout->addWidget(note);

    auto* form = new QFormLayout;
    schedule_ = new QComboBox(check);
    for (const CheckSchedule schedule : allCheckSchedules)
        schedule_->addItem(qstr(title(schedule)), static_cast<int>(schedule));
    schedule_->setAccessibleName(QStringLiteral("Automatischer Check: Häufigkeit"));
    connect(schedule_, &QComboBox::activated, this, [this](int index) {
        if (index >= 0 && index < static_cast<int>(allCheckSchedules.size()))
            model_.setCheckSchedule(allCheckSchedules[static_cast<std::size_t>(index)]);
    });
    auto* scheduleRow = new QHBoxLayout;
    scheduleRow->addWidget(schedule_);
    scheduleState_ = new QLabel(QStringLiteral("Wird angemeldet …"), check);
    scheduleRow->addWidget(scheduleState_);
    scheduleRow->addStretch();
    form->addRow(QStringLiteral("Häufigkeit:"), scheduleRow);
    checkLayout->addLayout(form);

    scheduleError_ = wrappingLabel(check);
    scheduleError_->setStyleSheet(QStringLiteral("color: #d0352b;"));
    checkLayout->addWidget(scheduleError_);

    // Agent: its status, what to do about it, and the way there.
    agent_ = wrappingLabel(check);
    agent_->setAccessibleName(QStringLiteral("Status des Hintergrund-Checks"));
    agentHint_ = hintLabel(check);
    agentFix_ = new QPushButton(check);
    agentFix_->setAccessibleName(qstr(*actionTitle(AgentStatus::requiresApproval)));
    connect(agentFix_, &QPushButton::clicked, this, [] {
        QDesktopServices::openUrl(
            QUrl(QStringLiteral("x-apple.systempreferences:com.apple.LoginItems-Settings.extension")));
    });
    auto* agentRefresh = new QPushButton(QStringLiteral("Status neu prüfen"), check);
    agentRefresh->setAccessibleName(QStringLiteral("Status des Hintergrund-Checks neu prüfen"));
    connect(agentRefresh, &QPushButton::clicked, this, [this] { model_.refreshAgentStatus(); });
    auto* agentButtons = new QHBoxLayout;
    agentButtons->addWidget(agentFix_);
    agentButtons->addWidget(agentRefresh);
    agentButtons->addStretch();
    checkLayout->addWidget(agent_);
    checkLayout->addWidget(agentHint_);
    checkLayout->addLayout(agentButtons);

    // Notifications: only shown when there is something to explain.
    notification_ = wrappingLabel(check);
    notification_->setAccessibleName(QStringLiteral("Mitteilungen"));
    notificationHint_ = hintLabel(check);
    notificationFix_ = new QPushButton(check);
    notificationFix_->setAccessibleName(qstr(*actionTitle(NotificationAuthorization::denied)));
    connect(notificationFix_, &QPushButton::clicked, this, [] {
        QDesktopServices::openUrl(
            QUrl(QStringLiteral("x-apple.systempreferences:com.apple.preference.notifications")));
    });
    auto* notificationRefresh = notificationRefresh_ =
        new QPushButton(QStringLiteral("Erneut prüfen"), check);
    notificationRefresh->setAccessibleName(QStringLiteral("Mitteilungen erneut prüfen"));
    connect(notificationRefresh, &QPushButton::clicked, this, [this] { model_.refreshNotificationStatus(); });
    auto* notificationButtons = new QHBoxLayout;
    notificationButtons->addWidget(notificationFix_);
    notificationButtons->addWidget(notificationRefresh);
    notificationButtons->addStretch();
    checkLayout->addWidget(notification_);
    checkLayout->addWidget(notificationHint_);
    checkLayout->addLayout(notificationButtons);

    // Last check and "Jetzt prüfen".
    lastCheck_ = wrappingLabel(check);
    lastCheck_->setAccessibleName(QStringLiteral("Letzter Check"));
    checkNow_ = new QPushButton(QStringLiteral("Jetzt prüfen"), check);
    checkNow_->setAccessibleName(QStringLiteral("Jetzt prüfen"));
    connect(checkNow_, &QPushButton::clicked, this, [this] { model_.runCheck(); });
    auto* lastRow = new QHBoxLayout;
    lastRow->addWidget(lastCheck_, 1);
    lastRow->addWidget(checkNow_);
    checkLayout->addLayout(lastRow);
    layout->addWidget(check);

    // History: chart and list, newest first.
    auto* historyBox = new QGroupBox(QStringLiteral("Verlauf"), this);
    auto* historyLayout = new QVBoxLayout(historyBox);
    chart_ = new HistoryChart(historyBox);
    historyLayout->addWidget(chart_);
    history_ = new QTreeWidget(historyBox);
    history_->setAccessibleName(QStringLiteral("Verlauf der Checks"));
    history_->setRootIsDecorated(false);
    history_->setColumnCount(3);
    history_->setHeaderLabels(
        {QStringLiteral("Datum"), QStringLiteral("Frei"), QStringLiteral("Aufräumbar")});
    history_->headerItem()->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    history_->headerItem()->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
    history_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    history_->header()->setStretchLastSection(false);
    history_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    history_->header()->setSectionResizeMode(2, QHeaderView::ResizeToContents);
    history_->setMinimumHeight(history_->fontMetrics().height() * 7);
    historyLayout->addWidget(history_);
    layout->addWidget(historyBox, 1);

    // Dry run.
    auto* removal = new QGroupBox(QStringLiteral("Entfernen"), this);
    auto* removalLayout = new QVBoxLayout(removal);
    dryRun_ = new QCheckBox(QStringLiteral("Trockenlauf"), removal);
    dryRun_->setAccessibleName(QStringLiteral("Trockenlauf"));
    connect(dryRun_, &QCheckBox::toggled, this, [this](bool on) {
        if (!model_.isDryRunForced() && on != model_.dryRunSetting())
            model_.setDryRunSetting(on);
    });
    dryRunNote_ = hintLabel(removal);
    removalLayout->addWidget(dryRun_);
    removalLayout->addWidget(dryRunNote_);
    auto* history = new QPushButton(QStringLiteral("Verlauf der Entfernungen …"), removal);
    history->setAutoDefault(false);
    connect(history, &QPushButton::clicked, this, [this] {
        auto* view = new RemovalHistoryView(model_, this);
        view->setAttribute(Qt::WA_DeleteOnClose);
        view->open();
    });
    removalLayout->addWidget(history, 0, Qt::AlignLeft);
    layout->addWidget(removal);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    buttons->button(QDialogButtonBox::Close)->setText(QStringLiteral("Schließen"));
    buttons->button(QDialogButtonBox::Close)->setAccessibleName(QStringLiteral("Einstellungen schließen"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);

    setTabOrder(schedule_, agentFix_);
    setTabOrder(agentFix_, agentRefresh);
    setTabOrder(agentRefresh, notificationFix_);
    setTabOrder(notificationFix_, notificationRefresh);
    setTabOrder(notificationRefresh, checkNow_);
    setTabOrder(checkNow_, history_);
    setTabOrder(history_, dryRun_);

    showSchedule();
    showAgent();
    showNotifications();
    showCheck();
    showHistory();
    showDryRun();
    observation_ = model_.observe([this](AppModel::Property property) {
        using P = AppModel::Property;
        switch (property) {
        case P::checkSchedule:
        case P::isApplyingSchedule:
        case P::checkScheduleError:
            showSchedule();
            showAgent();
            break;
        case P::agentStatus:
            showAgent();
            break;
        case P::notificationStatus:
            showNotifications();
            break;
        case P::isChecking:
        case P::isScanning:
        case P::isRemoving:
        case P::isMeasuringSystemData:
        case P::isLoadingServices:
            showCheck();
            break;
        case P::checkHistory:
            showCheck();
            showHistory();
            break;
        case P::dryRunSetting:
        case P::isDryRunForced:
            showDryRun();
            break;
        default:
            break;
        }
    });
    const int line = fontMetrics().height();
    resize(line * 40, line * 50);
}

void SettingsView::showSchedule() {
    schedule_->setCurrentIndex(static_cast<int>(model_.checkSchedule()));
    scheduleState_->setVisible(model_.isApplyingSchedule());
    setTextAndShow(scheduleError_,
                   model_.checkScheduleError() ? qstr(*model_.checkScheduleError()) : QString());
}

void SettingsView::showAgent() {
    const AgentStatus status = model_.agentStatus();
    agent_->setText(qstr(statusText(status)));
    setTextAndShow(agentHint_, agentHint(status, model_.checkSchedule()));
    const auto action = actionTitle(status);
    agentFix_->setText(action ? qstr(*action) : QString());
    agentFix_->setVisible(action && canOpenSystemSettings());
}

void SettingsView::showNotifications() {
    const NotificationAuthorization status = model_.notificationStatus();
    const auto text = statusText(status);
    setTextAndShow(notification_, text ? qstr(*text) : QString());
    setTextAndShow(notificationHint_, notificationHint(status));
    const auto action = actionTitle(status);
    notificationFix_->setText(action ? qstr(*action) : QString());
    notificationFix_->setVisible(action && canOpenSystemSettings());
    // "Erneut prüfen" belongs to the row: without a problem there is nothing to check again.
    notificationRefresh_->setVisible(status != NotificationAuthorization::authorized);
}

void SettingsView::showCheck() {
    const auto summary = model_.lastCheckSummary();
    const bool checking = model_.isChecking();
    lastCheck_->setText(checking  ? QStringLiteral("Prüft …")
                        : summary ? qstr(*summary)
                                  : QStringLiteral("Noch kein Check gelaufen."));
    checkNow_->setEnabled(!checking && !model_.isScanning() && !model_.isRemoving() &&
                          !model_.isMeasuringSystemData() && !model_.isLoadingServices());
}

void SettingsView::showHistory() {
    const auto& snapshots = model_.checkHistory();
    chart_->setSnapshots(snapshots);
    history_->clear();
    for (const auto& snapshot : snapshots) {
        auto* row = new QTreeWidgetItem(history_);
        row->setText(0, SectionWidgets::dateTime(snapshot.date));
        row->setText(1, qstr(ByteFormat::fileSize(snapshot.freeBytes)));
        row->setText(2, qstr(ByteFormat::fileSize(snapshot.cleanableTotal)));
        row->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
        row->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
    }
}

void SettingsView::showDryRun() {
    const bool forced = model_.isDryRunForced();
    const QSignalBlocker block(dryRun_);
    dryRun_->setChecked(model_.isDryRun());
    dryRun_->setEnabled(!forced);
    dryRunNote_->setText(dryRunExplanation(forced));
}

} // namespace velmora
