// One line that says why a command did not succeed, for the log and the command line.
#pragma once

#include "Platform/CommandRunner.hpp"

#include <expected>
#include <filesystem>
#include <string>

namespace velmora {

// "<executable>: Exit 5 – <first line of standard error>", "<executable>: Zeitüberschreitung",
// "<executable>: abgebrochen" or "<executable>: <why it could not start>". A run that exited with 0
// gives "<executable>: Exit 0".
std::string commandFailureText(const std::filesystem::path& executable,
                               const std::expected<CommandResult, CommandError>& outcome);

} // namespace velmora
