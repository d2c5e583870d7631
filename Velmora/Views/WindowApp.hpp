// Starting the desktop window: the Qt application, the model wired to the live services of the run
// setting, the main window on the chosen tab, and a first scan.
#pragma once

#include "Cli/CommonOptions.hpp"
#include "Findings/AppTab.hpp"

#include <optional>

namespace velmora {

// True where a window can be shown: always on macOS; elsewhere when a display server (X11, Wayland)
// or a Qt platform plugin is named in the environment.
bool windowCanOpen();

// Runs the window until it is closed; the exit status of the program.
int runWindow(const cli::RunSetting& setting, std::optional<AppTab> tab);

} // namespace velmora
