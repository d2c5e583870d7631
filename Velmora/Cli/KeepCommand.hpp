// `velmora keep ID…`, `velmora unkeep ID…` and `velmora kept`: the findings to leave alone for good.
#pragma once

#include "Cli/CommonOptions.hpp"

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace velmora {
class KeepList;
}

namespace velmora::cli {

struct KeepOptions {
    std::vector<std::string> ids;
};

struct KeepCommands {
    CLI::App* keep = nullptr;
    CLI::App* unkeep = nullptr;
    CLI::App* kept = nullptr;
};

KeepCommands addKeepCommands(CLI::App& app, KeepOptions& options);
int runKeepCommand(const KeepOptions& options, const RunSetting& setting, std::ostream& out,
                   std::ostream& err);
int runUnkeepCommand(const KeepOptions& options, const RunSetting& setting, std::ostream& out,
                     std::ostream& err);
int runKeptCommand(const RunSetting& setting, std::ostream& out);

// For the commands that remove: when the keep list exists but cannot be decoded, copies it to
// "<file>.bad", says so on `err` (naming both files) and returns true – the caller then removes nothing.
// The file is read afresh, whatever `list` loaded.
bool damagedKeepListStops(const KeepList& list, std::ostream& err);

} // namespace velmora::cli
