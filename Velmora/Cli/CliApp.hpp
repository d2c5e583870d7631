// The command-line front end: parses the arguments, runs one command, returns its exit status.
#pragma once

#include "Cli/CommonOptions.hpp"

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

// Runs the program with the given arguments (without the program name), writing to the given streams
// so that tests can drive it in-process (with `overrides` for the services they replace).
int runCli(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
           const ServiceOverrides& overrides = {});

} // namespace velmora::cli
