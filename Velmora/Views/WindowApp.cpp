#include "Views/WindowApp.hpp"

#include "App/AppModel.hpp"
#include "LiveEnvironment.hpp"
#include "Views/MainWindow.hpp"
#include "Views/QtMainExecutor.hpp"
#include "Views/WindowBench.hpp"

#include <QApplication>
#include <QIcon>

#include <cstdlib>
#include <memory>

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
    return QApplication::exec();
}

} // namespace velmora
