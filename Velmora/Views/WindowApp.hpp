// Starting the desktop window: the Qt application, the model wired to the live services of the run
// setting, the main window on the chosen tab, and a first scan.
#pragma once

#include "Cli/CommonOptions.hpp"
#include "Findings/AppTab.hpp"

#include <optional>

class QApplication;
class QPalette;

namespace velmora {

// True where a window can be shown: always on macOS; elsewhere when a display server (X11, Wayland)
// or a Qt platform plugin is named in the environment.
bool windowCanOpen();

// Light or dark. VELMORA_DARK=1 asks for dark, VELMORA_DARK=0 for light; otherwise the window follows
// the desktop: dark when the platform's palette is dark or GTK_THEME names a ":dark" variant (GNOME
// and others that tell Qt 6.4 nothing about their colour scheme).
bool wantsDarkAppearance(const char* velmoraDark, const char* gtkTheme, bool platformPaletteIsDark);
// A dark palette for the Fusion style; the accents (risk pills, banners) stay as they are.
QPalette darkPalette();
// Fusion with the dark palette when wantsDarkAppearance() says so; the platform's look otherwise.
void applyAppearance(QApplication& app);

// Runs the window until it is closed; the exit status of the program.
int runWindow(const cli::RunSetting& setting, std::optional<AppTab> tab);

} // namespace velmora
