// Everything a scanner may use during one scan. Services are shared pointers because a scanner that
// timed out is abandoned, not waited for, and keeps what it uses alive until it returns.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Platform/PlatformLayout.hpp"
#include "Platform/RunningAppsSource.hpp"
#include "Platform/SizeMeasurer.hpp"
#include "Platform/ToolLocator.hpp"
#include "Scanning/PathClaims.hpp"

#include <chrono>
#include <filesystem>
#include <memory>
#include <vector>

namespace velmora {

class SafetyGuard;

struct ScanContext {
    // home, userCacheDir and userTempDir are paths on the real file system, i.e. already below
    // rootPrefix; rootPrefix stands for "/" when a rule names an absolute system path.
    std::filesystem::path home;
    std::filesystem::path userCacheDir;
    std::filesystem::path userTempDir;
    // Where pnpm keeps its store on Linux: $PNPM_HOME, else ${XDG_DATA_HOME:-<home>/.local/share}/pnpm.
    std::filesystem::path pnpmHome;
    // Where pyenv and rbenv keep their versions when $PYENV_ROOT / $RBENV_ROOT move them; empty: the
    // default folders in the home.
    std::filesystem::path pyenvRoot;
    std::filesystem::path rbenvRoot;
    std::filesystem::path rootPrefix = "/";
    std::shared_ptr<CommandRunner> runner;
    std::shared_ptr<const ToolLocator> tools;
    std::shared_ptr<const SizeMeasurer> sizer;
    std::shared_ptr<const RunningAppsSource> runningApps;
    std::shared_ptr<PathClaims> claims = std::make_shared<PathClaims>();
    // What the phases before the running one reported, set by the engine for each phase: a scanner that
    // accounts for everything else (the big-folder sweep) needs the sizes, not only the claimed places.
    std::shared_ptr<const std::vector<Finding>> earlierFindings =
        std::make_shared<const std::vector<Finding>>();
    std::chrono::system_clock::time_point now = std::chrono::system_clock::now();
    bool hasFullDiskAccess = true;
    bool includeSlowChecks = false;
    PlatformLayout layout = hostLayout();
    // The guard removal will ask. Scanners that offer system locations ask it first, so that they
    // never offer what removal would refuse; without one, nothing they find counts as removable.
    std::shared_ptr<const SafetyGuard> safety;

    // An absolute system path ("/Library/Developer") as it lies below the root prefix.
    std::filesystem::path underRoot(const std::filesystem::path& absolute) const {
        return rootPrefix / absolute.relative_path();
    }
};

} // namespace velmora
