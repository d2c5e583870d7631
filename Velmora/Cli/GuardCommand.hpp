// `velmora guard PATH…`: asks the safety guard about paths (read inside the root) and says why not.
#pragma once

#include "Cli/CommonOptions.hpp"

#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velmora::cli {

struct GuardOptions {
    std::vector<std::string> paths;
};

CLI::App* addGuardCommand(CLI::App& app, GuardOptions& options);
// Exit 0 when every path is allowed, 1 otherwise.
int runGuardCommand(const GuardOptions& options, const RunSetting& setting, std::ostream& out);

} // namespace velmora::cli
