// Runs the command-line front end in-process and captures what it prints, for golden-style tests.
#pragma once

#include "Cli/CliApp.hpp"

#include <sstream>
#include <string>
#include <vector>

namespace velmora::testing {

struct CliRun {
    int status = -1;
    std::string out;
    std::string err;
};

// `hooks`: a scripted command runner and a user id in place of the machine's.
inline CliRun runVelmora(const std::vector<std::string>& arguments, const cli::CliHooks& hooks = {}) {
    std::ostringstream out, err;
    CliRun run;
    run.status = cli::runCli(arguments, out, err, hooks);
    run.out = out.str();
    run.err = err.str();
    return run;
}

} // namespace velmora::testing
