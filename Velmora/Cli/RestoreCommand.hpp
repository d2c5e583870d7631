// `velmora restore [RUN] [--item ITEM-ID…]`: puts back what a recorded removal run moved into the Trash,
// after asking, as `clean` does.
#pragma once

#include "Cli/CommonOptions.hpp"

#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velmora::cli {

struct RestoreOptions {
    std::string run;                // empty: the newest run with items still in the Trash
    std::vector<std::string> items; // only these item ids of the run
    bool yes = false;
    bool json = false;
};

CLI::App* addRestoreCommand(CLI::App& app, RestoreOptions& options);

// `interactive`: standard input and error are a terminal. Exit 0 when every item that lay in the Trash
// is back (or nothing was to do, or the user declined), 1 when one stayed, 2 for wrong usage.
int runRestoreCommand(const RestoreOptions& options, const RunSetting& setting, std::istream& in,
                      std::ostream& out, std::ostream& err, bool interactive);

} // namespace velmora::cli
