// `velmora clean`: scans, selects findings or single items, shows the plan, asks, and removes.
#pragma once

#include "Cli/CommonOptions.hpp"

#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velmora::cli {

struct CleanOptions {
    std::vector<std::string> ids;   // whole findings, by identifier text
    std::vector<std::string> items; // single items, by item id
    bool safe = false;              // every finding rated safe
    bool yes = false;
    bool showCommands = false;
    bool deleteDirectly = false;
    bool zap = false;
    bool json = false; // the run as JSON on standard output; only with --yes or a dry run
};

CLI::App* addCleanCommand(CLI::App& app, CleanOptions& options);

// `interactive`: standard input and error are a terminal, so the question is asked there and
// progress is shown. Exit 0 when nothing failed, 1 when an item failed, 2 for wrong usage. A failure to
// record the run in the journal is a warning on `err`, never a failed run.
int runCleanCommand(const CleanOptions& options, const RunSetting& setting, std::istream& in,
                    std::ostream& out, std::ostream& err, bool interactive);

} // namespace velmora::cli
