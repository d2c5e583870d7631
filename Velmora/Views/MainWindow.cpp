#include "Views/MainWindow.hpp"

#include "Views/CleanupTabView.hpp"
#include "Views/PerformanceTabView.hpp"
#include "Views/ServicesTabView.hpp"
#include "Views/SettingsView.hpp"
#include "Views/SystemDataTabView.hpp"

#include <QAction>
#include <QFile>
#include <QIcon>
#include <QMenuBar>
#include <QMessageBox>
#include <QTabWidget>

namespace velmora {

namespace {

QString qstr(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

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
    if (QFile::exists(resource))
        return QIcon(resource);
    return QIcon::fromTheme(QString::fromLatin1(themeIconName(tab)));
}

MainWindow::MainWindow(AppModel& model, QWidget* parent) : QMainWindow(parent), model_(model) {
    setWindowTitle(QStringLiteral("Velmora 2"));
    tabs_ = new QTabWidget(this);
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
    setCentralWidget(tabs_);

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
    auto* about = menu->addAction(QStringLiteral("Über Velmora 2"));
    about->setMenuRole(QAction::AboutRole);
    connect(about, &QAction::triggered, this, &MainWindow::showAbout);
    menu->addSeparator();
    auto* quit = menu->addAction(QStringLiteral("Beenden"));
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, this, &QWidget::close);

    showDryRun();
    observation_ = model_.observe([this](AppModel::Property property) {
        using P = AppModel::Property;
        if (property == P::selectedTab)
            tabs_->setCurrentIndex(static_cast<int>(model_.selectedTab()));
        else if (property == P::dryRunSetting || property == P::isDryRunForced)
            showDryRun();
        else if (property == P::isScanning)
            rescan_->setEnabled(!model_.isScanning());
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
    dryRun_->setToolTip(model_.isDryRunForced()
                            ? QStringLiteral("Von außen erzwungen (--dry-run oder VELMORA_DRY_RUN=1): "
                                             "es wird nichts entfernt, nur gezeigt, was geschähe.")
                            : QStringLiteral("Nichts entfernen, nur zeigen, was geschähe."));
}

void MainWindow::openSettings() {
    auto* settings = new SettingsView(model_, this);
    settings->setAttribute(Qt::WA_DeleteOnClose);
    settings->open();
}

void MainWindow::showAbout() {
    QMessageBox::about(this, QStringLiteral("Über Velmora 2"),
                       QStringLiteral("<b>Velmora 2</b> %1<br>Findet Speicherplatz, den du zurückgewinnen "
                                      "kannst, erklärt jeden Fund und entfernt nur, was du auswählst.")
                           .arg(QStringLiteral(VELMORA_VERSION)));
}

} // namespace velmora
