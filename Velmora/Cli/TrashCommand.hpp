// `velmora trash`: how much the user's Trash holds; `velmora trash --empty` empties it for good after
// asking, as `clean` does.
#pragma once

#include "Cli/CommonOptions.hpp"
#include "Removal/EmptyTrashError.hpp"

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace velmora::cli {

struct TrashOptions {
    bool empty = false;
    bool yes = false;
};

CLI::App* addTrashCommand(CLI::App& app, TrashOptions& options);

// `interactive`: standard input and error are a terminal. Exit 0 when the size was measured or the
// Trash emptied (or the user declined), 1 when it could not be, 2 for wrong usage.
int runTrashCommand(const TrashOptions& options, const RunSetting& setting, std::istream& in,
                    std::ostream& out, std::ostream& err, bool interactive);

} // namespace velmora::cli
