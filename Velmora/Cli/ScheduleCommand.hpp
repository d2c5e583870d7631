// `velmora schedule [off|weekly|monthly]`: shows the schedule of the automatic check, or changes it
// (stored in the settings, applied to the system's scheduler), with the registration and notification
// status.
#pragma once

#include "Cli/CommonOptions.hpp"

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace velmora::cli {

struct ScheduleOptions {
    std::string schedule; // empty: only show
};

CLI::App* addScheduleCommand(CLI::App& app, ScheduleOptions& options);
int runScheduleCommand(const ScheduleOptions& options, const RunSetting& setting, std::ostream& out,
                       std::ostream& err);

} // namespace velmora::cli
