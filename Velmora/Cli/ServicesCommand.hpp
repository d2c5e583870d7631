// `velmora services`: lists the background services by scope with their verdicts and the old
// automation of an earlier version; `velmora services remove LABEL…` removes orphaned services and
// `velmora services remove --legacy` the old automation, each after asking.
#pragma once

#include "Cli/CommonOptions.hpp"

#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velmora::cli {

struct ServicesOptions {
    bool json = false;
    bool remove = false;             // the "remove" subcommand was given
    std::vector<std::string> labels; // labels, or ids ("user/<label>") where a label is not unique
    bool legacy = false;             // remove the old automation instead of services
    bool yes = false;
};

CLI::App* addServicesCommand(CLI::App& app, ServicesOptions& options);

// `interactive`: standard input and error are a terminal, so the question is asked there. Exit 0 when
// nothing failed, 1 when a service could not be removed, 2 for wrong usage.
int runServicesCommand(const ServicesOptions& options, const RunSetting& setting, std::istream& in,
                       std::ostream& out, std::ostream& err, bool interactive);

} // namespace velmora::cli
