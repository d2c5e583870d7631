// The options every command shares (--root, --home, --platform, --dry-run) and the run setting they
// describe once checked.
#pragma once

#include "Performance/PerformanceDependencies.hpp"
#include "Platform/PlatformLayout.hpp"

#include <chrono>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace velmora {
class CommandRunner;
}

namespace velmora::cli {

// Services put in place of the live ones for one run of the program: tests pass a scripted command
// runner (so that no real systemctl, launchctl or notify-send is started) and a fixed program path.
struct ServiceOverrides {
    std::shared_ptr<CommandRunner> runner;
    std::optional<std::filesystem::path> executablePath;       // what a scheduled check starts
    std::optional<std::uint32_t> uid;                          // instead of getuid() (launchd domains)
    std::optional<PerformanceDependencies> performance = {};   // samplers and clock for `velmora top`
    std::function<void(std::chrono::milliseconds)> pause = {}; // how `velmora top` waits between samples
};

struct CommonOptions {
    std::string root = "/";
    std::string home;     // read inside the root; empty: the user's home
    std::string platform; // "macos" or "linux"; empty: the machine's own
    bool dryRun = false;
};

// Where and how one command works, after the options were checked.
struct RunSetting {
    PlatformLayout layout = hostLayout();
    std::filesystem::path rootPrefix = "/";
    std::filesystem::path logicalHome; // as seen inside the root, e.g. /Users/anna
    std::filesystem::path home;        // on the real file system (root prefix + logical home)
    bool dryRun = false;
    ServiceOverrides overrides;

    bool isLiveRoot() const { return rootPrefix == "/"; }
    // A path as seen inside the root, on the real file system.
    std::filesystem::path real(const std::filesystem::path& logical) const;
};

void addCommonOptions(CLI::App& app, CommonOptions& options);

// Checks the options; the error is a German message for a usage error (exit status 2).
// `environmentDryRun` is the value of VELMORA_DRY_RUN.
std::expected<RunSetting, std::string> resolveSetting(const CommonOptions& options,
                                                      const std::optional<std::string>& environmentDryRun);

} // namespace velmora::cli
