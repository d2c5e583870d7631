// `velmora --check` (the headless check the scheduler starts) and `velmora check` (the same check in
// the terminal, with what it found and said).
#pragma once

#include "Cli/CommonOptions.hpp"

#include <iosfwd>

namespace CLI {
class App;
}

namespace velmora::cli {

void addHeadlessCheckFlag(CLI::App& app, bool& headless);
CLI::App* addCheckCommand(CLI::App& app);

// Prints nothing but failures. Exit 0, or 1 when the history could not be written.
int runHeadlessCheck(const RunSetting& setting, std::ostream& err);
int runCheckCommand(const RunSetting& setting, std::ostream& out, std::ostream& err);

} // namespace velmora::cli
