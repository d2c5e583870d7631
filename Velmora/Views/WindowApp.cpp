#include "Views/WindowApp.hpp"

#include "App/AppModel.hpp"
#include "LiveEnvironment.hpp"
#include "Views/MainWindow.hpp"
#include "Views/QtMainExecutor.hpp"
#include "Views/WindowBench.hpp"

#include <QAction>
#include <QApplication>
#include <QIcon>
#include <QPalette>
#include <QStyleFactory>

#include <cstdlib>
#include <memory>
#include <string_view>

namespace velmora {

bool windowCanOpen() {
#ifdef __APPLE__
    return true;
#else
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        const char* value = std::getenv(name);
        if (value && *value)
            return true;
    }
    return false;
#endif
}

bool wantsDarkAppearance(const char* velmoraDark, const char* gtkTheme, bool platformPaletteIsDark) {
    if (velmoraDark && std::string_view(velmoraDark) == "1")
        return true;
    if (velmoraDark && std::string_view(velmoraDark) == "0")
        return false;
    if (gtkTheme && std::string_view(gtkTheme).ends_with(":dark"))
        return true;
    return platformPaletteIsDark;
}

QPalette darkPalette() {
    const QColor window(45, 45, 48);
    const QColor base(30, 30, 32);
    const QColor text(232, 232, 234);
    const QColor disabled(128, 128, 132);
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor(40, 40, 43));
    palette.setColor(QPalette::ToolTipBase, window);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, QColor(150, 150, 155));
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(58, 58, 62));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, QColor(255, 110, 100));
    palette.setColor(QPalette::Light, QColor(80, 80, 85));
    palette.setColor(QPalette::Midlight, QColor(66, 66, 70));
    palette.setColor(QPalette::Mid, QColor(90, 90, 96));
    palette.setColor(QPalette::Dark, QColor(20, 20, 22));
    palette.setColor(QPalette::Shadow, QColor(0, 0, 0));
    palette.setColor(QPalette::Highlight, QColor(64, 128, 230));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(110, 165, 255));
    palette.setColor(QPalette::LinkVisited, QColor(170, 140, 255));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, disabled);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, QColor(70, 70, 75));
    return palette;
}

void applyAppearance(QApplication& app) {
    const bool platformDark = QApplication::palette().color(QPalette::Window).lightness() < 128;
    if (!wantsDarkAppearance(std::getenv("VELMORA_DARK"), std::getenv("GTK_THEME"), platformDark))
        return;
    // Fusion draws every control from the palette, so the whole window turns dark together.
    if (auto* fusion = QStyleFactory::create(QStringLiteral("Fusion")))
        QApplication::setStyle(fusion);
    app.setPalette(darkPalette());
}

int runWindow(const cli::RunSetting& setting, std::optional<AppTab> tab) {
    // QApplication keeps a reference to argc for its lifetime; the command line was parsed already.
    static int argc = 1;
    static char name[] = "velmora";
    static char* argv[] = {name, nullptr};
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Velmora 2"));
    QApplication::setOrganizationDomain(QStringLiteral("tobrenlux.de"));
    QApplication::setDesktopFileName(QStringLiteral("de.tobrenlux.velmora2"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/velmora.svg")));
    applyAppearance(app);

    LiveEnvironment environment(setting);
    auto executor = std::make_shared<QtMainExecutor>(&app);
    AppModel model(environment.appDependencies(), environment.settingsStore(), executor,
                   AppModel::Options{setting.home, {}});
    if (tab)
        model.setSelectedTab(*tab);
    MainWindow window(model);
    WindowBench::install(window, model);
    window.show();
    // The first scan starts once the window is on screen, so the window never waits for it.
    executor->post([&model] { model.scan(); });
    // For screenshots and review: the settings open over the window at start.
    if (const char* open = std::getenv("VELMORA_OPEN_SETTINGS"); open && std::string_view(open) == "1")
        executor->post([&window] { window.settingsAction()->trigger(); });
    if (const char* open = std::getenv("VELMORA_OPEN_HISTORY"); open && std::string_view(open) == "1")
        executor->post([&window] { window.historyAction()->trigger(); });
    return QApplication::exec();
}

} // namespace velmora
