// Runs the command-line front end in-process and captures what it prints, for golden-style tests.
#pragma once

#include "Cli/CliApp.hpp"
#include "Doubles/TempTree.hpp"

#include <gmock/gmock.h>

#include <cstdlib>
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

// A temp tree standing for a whole machine of the platform ("macos" or "linux") with anna's home in it.
struct CliTree {
    explicit CliTree(std::string platform = "macos", cli::ServiceOverrides overrides = {})
        : platform(std::move(platform)), overrides(std::move(overrides)) {}

    CliRun run(std::vector<std::string> words) const {
        return runInTree(std::move(words), tree.root(), platform.c_str(), logicalHome, overrides);
    }
    // Fills the tree with the Mac-shaped home and its tool stand-ins (without the big files).
    bool buildMacShapedHome() const {
        const auto script = std::filesystem::path(VELMORA_FIXTURES) / "../../scripts/mac-shaped-home.sh";
        const auto command = "MAC_SHAPED_WITHOUT_BIG=1 bash '" + script.string() + "' '" +
                             tree.root().string() + "' >/dev/null";
        return std::system(command.c_str()) == 0;
    }

    std::string platform;
    cli::ServiceOverrides overrides;
    TempTree tree;
    std::string logicalHome = platform == "macos" ? "/Users/anna" : "/home/anna";
    std::filesystem::path home = tree.folder(logicalHome);
};

} // namespace velmora::testing
