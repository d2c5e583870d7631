// Wires the live services for one run of a command: the scan context, the scanners, the guard, the
// keep list, the check history, the settings and the scheduling of the automatic check, all for the
// chosen root, home and platform layout. Below a test root every system tool is looked for and started
// inside the root only (SealedRoot), so a tree decides what is installed and no real launchctl,
// systemctl or pkexec is ever reached.
#pragma once

#include "Check/AgentService.hpp"
#include "Check/BackgroundCheck.hpp"
#include "Check/Notifier.hpp"
#include "Cli/CommonOptions.hpp"
#include "Performance/PerformanceDependencies.hpp"
#include "Platform/SealedRoot.hpp"
#include "Platform/SettingsStore.hpp"
#include "Removal/RemovalRunner.hpp"
#include "Safety/KeepList.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/ScanEngine.hpp"
#include "SystemData/SystemDataScan.hpp"

#include <chrono>
#include <memory>

namespace velmora {

class LiveEnvironment {
public:
    static constexpr std::chrono::seconds perScannerTimeout{45};

    explicit LiveEnvironment(cli::RunSetting setting);

    const cli::RunSetting& setting() const { return setting_; }
    // A fresh context for one scan ("now" is taken here).
    ScanContext scanContext() const;
    ScanEngine scanEngine() const;
    SafetyGuard safetyGuard() const;
    // The system data of this machine (or of the tree): diskutil, tmutil and the clean-up tools are
    // taken from inside the root like every other tool.
    SystemDataScan systemDataScan() const;
    // Runs external tools: the live process runner, or the stand-in of the run setting; below a test
    // root it is only ever asked for executables inside the root.
    std::shared_ptr<CommandRunner> commandRunner() const { return runner_; }
    std::filesystem::path appDataFolder() const;
    std::filesystem::path keepListFile() const;
    // The runner with the live removers: the platform's Trash (inside the root), the guard, the
    // owning tools, the administrator prompt and the keep list.
    RemovalRunner removalRunner(std::shared_ptr<const KeepList> keepList) const;
    std::filesystem::path checkHistoryFile() const;
    // Linux layout: ${XDG_CONFIG_HOME:-<home>/.config}.
    std::filesystem::path configFolder() const;

    std::shared_ptr<SettingsStore> settingsStore() const;
    std::shared_ptr<AgentService> agentService() const;
    std::shared_ptr<Notifier> notifier() const;
    // Everything the headless check needs; valid while this environment lives. The orphan detection of
    // the background services is not wired in yet: it contributes nothing.
    CheckDependencies checkDependencies() const;
    // The samplers of this machine for the performance view: they read the running system, whatever
    // the root; desktop apps are named from the entries below the root.
    PerformanceDependencies performanceDependencies() const;

private:
    cli::RunSetting setting_;
    SealedRoot sealed_;
    std::shared_ptr<CommandRunner> runner_;
    std::shared_ptr<const ToolLocator> tools_;
    std::shared_ptr<const SizeMeasurer> sizer_;
    std::shared_ptr<const RunningAppsSource> runningApps_;
};

} // namespace velmora
