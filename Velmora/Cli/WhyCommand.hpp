// `velmora why PATH… [--json]`: explains for each path which finding claims it (or its nearest
// claimed ancestor), whether the safety guard would let it be touched, and whether it is kept.
#pragma once

#include "Cli/CommonOptions.hpp"

#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velmora::cli {

struct WhyOptions {
    std::vector<std::string> paths;
    bool json = false;
};

CLI::App* addWhyCommand(CLI::App& app, WhyOptions& options);
// Exit 0 when every path got a certain answer; 1 when for some path without a finding the answer is
// not certain (not an absolute path, or a scanner that could have claimed it did not deliver).
int runWhyCommand(const WhyOptions& options, const RunSetting& setting, std::ostream& out);

} // namespace velmora::cli
