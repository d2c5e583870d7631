// `velmora removals [RUN] [--json]`: the removal runs in the journal, newest first, or the items of one
// run with where each Trash item lies; and the JSON form of a finished run that `clean --json` prints.
#pragma once

#include "Cli/CommonOptions.hpp"
#include "Removal/RemovalReport.hpp"

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace velmora::cli {

struct RemovalsOptions {
    std::string run; // empty: list the runs
    bool json = false;
};

CLI::App* addRemovalsCommand(CLI::App& app, RemovalsOptions& options);
// Exit 1 for a RUN the journal does not hold.
int runRemovalsCommand(const RemovalsOptions& options, const RunSetting& setting, std::ostream& out,
                       std::ostream& err);

// {"runID", "results": [{"findingID", "itemID", "path", "method", "outcome", "reason", "size"}], "counts",
// "freedBytes", "trashedBytes", "freeBefore", "freeAfter"}, indented; runID null when not recorded.
std::string cleanRunJSON(const RemovalReport& report);

} // namespace velmora::cli
