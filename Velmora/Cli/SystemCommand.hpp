// `velmora system`: explains what the system's "Systemdaten" figure is made of (only reading).
#pragma once

#include "Cli/CommonOptions.hpp"

#include <iosfwd>

namespace CLI {
class App;
}

namespace velmora::cli {

struct SystemOptions {
    bool json = false;
};

CLI::App* addSystemCommand(CLI::App& app, SystemOptions& options);
int runSystemCommand(const SystemOptions& options, const RunSetting& setting, std::ostream& out,
                     std::ostream& err, bool showProgress);

} // namespace velmora::cli
