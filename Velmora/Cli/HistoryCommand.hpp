// `velmora history [--json]`: the past automatic checks, newest first, under the summary of the last one.
#pragma once

#include "Cli/CommonOptions.hpp"

#include <chrono>
#include <iosfwd>

namespace CLI {
class App;
}

namespace velmora::cli {

struct HistoryOptions {
    bool json = false;
};

CLI::App* addHistoryCommand(CLI::App& app, HistoryOptions& options);
int runHistoryCommand(const HistoryOptions& options, const RunSetting& setting, std::ostream& out,
                      std::chrono::system_clock::time_point now = std::chrono::system_clock::now());

} // namespace velmora::cli
