// Runs the command-line front end in-process and captures what it prints, for golden-style tests.
#pragma once

#include "Cli/CliApp.hpp"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <vector>

namespace velmora::testing {

// Output is checked for the lines it holds.
using ::testing::HasSubstr;
using ::testing::Not;

struct CliRun {
    int status = -1;
    std::string out;
    std::string err;
};

inline CliRun runVelmora(const std::vector<std::string>& arguments,
                         const cli::ServiceOverrides& overrides = {}) {
    std::ostringstream out, err;
    CliRun run;
    run.status = cli::runCli(arguments, out, err, overrides);
    run.out = out.str();
    run.err = err.str();
    return run;
}

// The command for a temp tree that stands for the whole machine: the words, then the platform, the
// tree as root and the home inside it.
inline CliRun runInTree(std::vector<std::string> words, const std::filesystem::path& root,
                        const char* platform, std::string home, const cli::ServiceOverrides& overrides = {}) {
    words.insert(words.end(), {"--platform", platform, "--root", root.string(), "--home", std::move(home)});
    return runVelmora(words, overrides);
}

} // namespace velmora::testing
