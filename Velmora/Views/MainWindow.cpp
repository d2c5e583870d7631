#include "Views/MainWindow.hpp"

#include "Views/CleanupTabView.hpp"
#include "Views/PerformanceTabView.hpp"
#include "Views/RemovalHistoryView.hpp"
#include "Views/RemovalSheet.hpp"
#include "Views/SectionWidgets.hpp"
#include "Views/ServicesTabView.hpp"
#include "Views/SettingsView.hpp"
#include "Views/SystemDataTabView.hpp"

#include <QAction>
#include <QEvent>
#include <QFile>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QStyle>
#include <QTabWidget>
#include <QVBoxLayout>

namespace velmora {

namespace {

using SectionWidgets::qstr;

// The desktop theme's nearest names for the tabs' system symbols.
const char* themeIconName(AppTab tab) {
    switch (tab) {
    case AppTab::storage:
        return "drive-harddisk";
    case AppTab::developer:
        return "applications-development";
    case AppTab::systemData:
        return "utilities-system-monitor";
    case AppTab::services:
        return "preferences-system";
    case AppTab::performance:
        return "speedometer";
    }
    return "";
}

} // namespace

QIcon tabIcon(AppTab tab) {
    const auto resource = QStringLiteral(":/icons/%1.svg").arg(qstr(symbol(tab)));
    if (!QFile::exists(resource))
        return QIcon::fromTheme(QString::fromLatin1(themeIconName(tab)));
    const QIcon icon(resource);
    // Our symbols are drawn in one mid grey, which vanishes on a dark palette; there they take the
    // palette's text colour.
    const QPalette palette = QGuiApplication::palette();
    if (palette.color(QPalette::Window).lightness() >= 128)
        return icon;
    QIcon tinted;
    for (const int size : {16, 24, 32, 48}) {
        QPixmap pixmap = icon.pixmap(size, size);
        QPainter painter(&pixmap);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), palette.color(QPalette::WindowText));
        painter.end();
        tinted.addPixmap(pixmap);
    }
    return tinted;
}

MainWindow::MainWindow(AppModel& model, QWidget* parent) : QMainWindow(parent), model_(model) {
    setWindowTitle(QStringLiteral("Velmora 2"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/velmora.svg")));
    auto* central = new QWidget(this);
    auto* centralLayout = new QVBoxLayout(central);
    centralLayout->setContentsMargins(0, 0, 0, 0);
    centralLayout->setSpacing(0);

    // A translucent red under palette text reads on light and dark backgrounds alike.
    errorBanner_ = new QFrame(central);
    errorBanner_->setAccessibleName(QStringLiteral("Fehler"));
    auto* bannerMargin = new QHBoxLayout(errorBanner_);
    bannerMargin->setContentsMargins(10, 8, 10, 4);
    auto* box = new QFrame(errorBanner_);
    box->setObjectName(QStringLiteral("errorBox"));
    box->setStyleSheet(QStringLiteral("#errorBox { background: rgba(208, 53, 43, 0.16); "
                                      "border: 1px solid rgba(208, 53, 43, 0.7); border-radius: 8px; }"));
    bannerMargin->addWidget(box);
    auto* bannerLayout = new QHBoxLayout(box);
    auto* bannerIcon = new QLabel(box);
    bannerIcon->setPixmap(
        style()->standardIcon(QStyle::SP_MessageBoxCritical).pixmap(fontMetrics().height()));
    errorText_ = new QLabel(box);
    errorText_->setWordWrap(true);
    errorText_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    errorClose_ = new QPushButton(QStringLiteral("Schließen"), box);
    errorClose_->setAccessibleName(QStringLiteral("Fehlermeldung schließen"));
    connect(errorClose_, &QPushButton::clicked, this, [this] { model_.dismissError(); });
    bannerLayout->addWidget(bannerIcon, 0, Qt::AlignTop);
    bannerLayout->addWidget(errorText_, 1);
    bannerLayout->addWidget(errorClose_, 0, Qt::AlignTop);
    centralLayout->addWidget(errorBanner_);

    tabs_ = new QTabWidget(central);
    tabs_->setDocumentMode(true);
    for (const AppTab tab : allAppTabs) {
        QWidget* page = nullptr;
        switch (tab) {
        case AppTab::storage:
        case AppTab::developer:
            page = new CleanupTabView(model_, tab);
            break;
        case AppTab::systemData:
            page = new SystemDataTabView(model_);
            break;
        case AppTab::services:
            page = new ServicesTabView(model_);
            break;
        case AppTab::performance:
            page = new PerformanceTabView(model_);
            break;
        }
        page->setAccessibleName(qstr(title(tab)));
        pages_[static_cast<std::size_t>(tab)] = page;
        tabs_->addTab(page, tabIcon(tab), qstr(title(tab)));
    }
    tabs_->setCurrentIndex(static_cast<int>(model_.selectedTab()));
    connect(tabs_, &QTabWidget::currentChanged, this, [this](int index) {
        if (index >= 0 && index < static_cast<int>(allAppTabs.size()))
            model_.setSelectedTab(allAppTabs[static_cast<std::size_t>(index)]);
    });
    centralLayout->addWidget(tabs_, 1);
    setCentralWidget(central);

    auto* menu = menuBar()->addMenu(QStringLiteral("&Velmora"));
    dryRun_ = menu->addAction(QStringLiteral("Trockenlauf"));
    dryRun_->setCheckable(true);
    connect(dryRun_, &QAction::toggled, this, [this](bool on) {
        if (!model_.isDryRunForced() && on != model_.dryRunSetting())
            model_.setDryRunSetting(on);
    });
    rescan_ = menu->addAction(QStringLiteral("Erneut scannen"));
    rescan_->setShortcut(QKeySequence::Refresh);
    connect(rescan_, &QAction::triggered, this, [this] { model_.scan(); });
    menu->addSeparator();
    settings_ = menu->addAction(QStringLiteral("Einstellungen …"));
    settings_->setShortcut(QKeySequence::Preferences);
    settings_->setMenuRole(QAction::PreferencesRole);
    connect(settings_, &QAction::triggered, this, &MainWindow::openSettings);
    history_ = menu->addAction(QStringLiteral("Verlauf der Entfernungen …"));
    connect(history_, &QAction::triggered, this, &MainWindow::openHistory);
    about_ = menu->addAction(QStringLiteral("Über Velmora 2"));
    about_->setMenuRole(QAction::AboutRole);
    connect(about_, &QAction::triggered, this, &MainWindow::showAbout);
    menu->addSeparator();
    auto* quit = menu->addAction(QStringLiteral("Beenden"));
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, this, &QWidget::close);

    showDryRun();
    showError();
    observation_ = model_.observe([this](AppModel::Property property) {
        using P = AppModel::Property;
        if (property == P::selectedTab)
            tabs_->setCurrentIndex(static_cast<int>(model_.selectedTab()));
        else if (property == P::dryRunSetting || property == P::isDryRunForced)
            showDryRun();
        else if (property == P::isScanning)
            rescan_->setEnabled(!model_.isScanning());
        else if (property == P::lastError)
            showError();
    });
    resize(1100, 760);
}

QWidget* MainWindow::page(AppTab tab) const {
    return pages_[static_cast<std::size_t>(tab)];
}

void MainWindow::showDryRun() {
    const QSignalBlocker block(dryRun_);
    dryRun_->setChecked(model_.isDryRun());
    dryRun_->setEnabled(!model_.isDryRunForced());
    dryRun_->setToolTip(dryRunExplanation(model_.isDryRunForced()));
}

void MainWindow::openSettings() {
    auto* settings = new SettingsView(model_, this);
    settings->setAttribute(Qt::WA_DeleteOnClose);
    settings->open();
}

void MainWindow::openHistory() {
    // One history window at a time: asking again brings the open one forward.
    if (auto* open = findChild<RemovalHistoryView*>(); open && open->isVisible()) {
        open->raise();
        open->activateWindow();
        return;
    }
    auto* history = new RemovalHistoryView(model_, this);
    history->setAttribute(Qt::WA_DeleteOnClose);
    history->open();
}

void MainWindow::showAbout() {
    QMessageBox box(this);
    box.setWindowTitle(QStringLiteral("Über Velmora 2"));
    box.setIconPixmap(windowIcon().pixmap(64, 64));
    box.setTextFormat(Qt::RichText);
    box.setText(QStringLiteral("<b>Velmora 2</b><br>Version %1").arg(QStringLiteral(VELMORA_VERSION)));
    box.setInformativeText(QStringLiteral("Findet Speicherplatz, den du zurückgewinnen kannst, erklärt jeden "
                                          "Fund und entfernt nur, was du auswählst."));
    box.setStandardButtons(QMessageBox::Ok);
    box.exec();
}

bool MainWindow::sheetIsOpen() const {
    for (const auto* sheet : findChildren<RemovalSheet*>())
        if (sheet->isVisible())
            return true;
    return false;
}

void MainWindow::showError() {
    const auto& error = model_.lastError();
    const bool sheetOpen = sheetIsOpen();
    if (error && sheetOpen) {
        // The sheet shows the error itself; once it closes the banner takes over if it is still there.
        for (auto* sheet : findChildren<RemovalSheet*>())
            connect(sheet, &QDialog::finished, this, &MainWindow::showError,
                    Qt::ConnectionType(Qt::QueuedConnection | Qt::UniqueConnection));
    }
    errorText_->setText(error ? QString::fromStdString(*error) : QString());
    errorBanner_->setVisible(error && !sheetOpen);
}

bool MainWindow::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate)
        showError();
    return QMainWindow::event(event);
}

} // namespace velmora
