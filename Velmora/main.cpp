// Entry point of the velmora executable: a command, the headless check, or the window.
#include "Cli/CliApp.hpp"

#ifdef VELMORA_WITH_WINDOW
#include "Views/WindowApp.hpp"
#endif

#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    velmora::cli::WindowOpener openWindow;
#ifdef VELMORA_WITH_WINDOW
    if (velmora::windowCanOpen())
        openWindow = velmora::runWindow;
#endif
    return velmora::cli::runCli(arguments, std::cout, std::cerr, {}, openWindow);
}
