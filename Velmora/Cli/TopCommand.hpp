// `velmora top`: how busy the machine is right now – processor, memory with its pressure, swap, the
// busiest apps and the slowdown hints. A live view on a terminal (refreshed every 2 s, `q` quits),
// otherwise one block per sample; `--once` measures once over half a second.
#pragma once

#include "Cli/CommonOptions.hpp"
#include "Performance/PerformanceModel.hpp"

#include <chrono>
#include <iosfwd>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace velmora::cli {

struct TopOptions {
    bool once = false;
    bool json = false;
    std::optional<int> count; // samples to print before ending; none: until killed
};

CLI::App* addTopCommand(CLI::App& app, TopOptions& options);

// `terminal`: standard input and output are a terminal, so the live view is drawn there. Exit 0, or 1
// when the performance could not be measured.
int runTopCommand(const TopOptions& options, const RunSetting& setting, std::ostream& out, std::ostream& err,
                  bool terminal);

// The German text block for one sample, with up to `appCount` of the busiest apps.
std::string topText(const PerformanceSnapshot& snapshot, std::size_t appCount);
// {"system": {…}, "apps": [{…}], "hints": [{…}]} for one sample.
std::string topJson(const PerformanceSnapshot& snapshot, int indent);

} // namespace velmora::cli
