// The command-line front end: parses the arguments, runs one command, returns its exit status.
#pragma once

#include "Cli/CommonOptions.hpp"
#include "Findings/AppTab.hpp"

#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {
class CommandRunner;
}

namespace velmora::cli {

// Exit statuses shared by every command.
enum ExitStatus : int { exitOK = 0, exitFailure = 1, exitUsage = 2 };

// Opens the desktop window on a tab (or the model's default) and returns the exit status when it closes;
// the program passes one when it was built with the window and a display is there.
using WindowOpener = std::function<int(const RunSetting&, std::optional<AppTab>)>;

// Runs the program with the given arguments (without the program name), writing to the given streams
// so that tests can drive it in-process (with `overrides` for the services they replace). Without a
// command it opens the window through `openWindow`, or prints the help when there is none.
int runCli(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
           const ServiceOverrides& overrides = {}, const WindowOpener& openWindow = {});

} // namespace velmora::cli
