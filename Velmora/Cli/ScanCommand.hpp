// `velmora scan`: runs every scanner over the home folder and prints what could be freed.
#pragma once

#include "Cli/CommonOptions.hpp"

#include <iosfwd>

namespace CLI {
class App;
}

namespace velmora::cli {

struct ScanOptions {
    bool json = false;
};

CLI::App* addScanCommand(CLI::App& app, ScanOptions& options);
int runScanCommand(const ScanOptions& options, const RunSetting& setting, std::ostream& out,
                   std::ostream& err, bool showProgress);

} // namespace velmora::cli
