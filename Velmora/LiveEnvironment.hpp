// Wires the live services for one run of a command: the scan context, the scanners, the guard, the
// keep list, the check history, the settings and the scheduling of the automatic check, all for the
// chosen root, home and platform layout. Below a test root every system tool is looked for and started
// inside the root only (SealedRoot), so a tree decides what is installed and no real launchctl,
// systemctl or pkexec is ever reached.
#pragma once

#include "App/AppDependencies.hpp"
#include "Check/AgentService.hpp"
#include "Check/BackgroundCheck.hpp"
#include "Check/Notifier.hpp"
#include "Cli/CommonOptions.hpp"
#include "Performance/PerformanceDependencies.hpp"
#include "Platform/SealedRoot.hpp"
#include "Platform/SettingsStore.hpp"
#include "Removal/RemovalJournal.hpp"
#include "Removal/RemovalRunner.hpp"
#include "Removal/TrashEmptier.hpp"
#include "Removal/TrashRestorer.hpp"
#include "Safety/KeepList.hpp"
#include "Safety/SafetyGuard.hpp"
#include "Scanning/ScanContext.hpp"
#include "Scanning/ScanEngine.hpp"
#include "Services/LaunchItemScanner.hpp"
#include "Services/LegacyAutomation.hpp"
#include "SystemData/SystemDataScan.hpp"

#include <chrono>
#include <cstdint>
#include <memory>

namespace velmora {

class PathExplainer;

class LiveEnvironment {
public:
    static constexpr std::chrono::seconds perScannerTimeout{45};

    explicit LiveEnvironment(cli::RunSetting setting);

    const cli::RunSetting& setting() const { return setting_; }
    // A fresh context for one scan ("now" is taken here).
    ScanContext scanContext() const;
    ScanEngine scanEngine() const;
    SafetyGuard safetyGuard() const;
    // Answers "why" for paths with the scanners, rules, guard and keep list a scan uses.
    std::shared_ptr<const PathExplainer> pathExplainer() const;
    // The system data of this machine (or of the tree): diskutil, tmutil and the clean-up tools are
    // taken from inside the root like every other tool.
    SystemDataScan systemDataScan() const;
    // Runs external tools: the live process runner, or the stand-in of the run setting; below a test
    // root it is only ever asked for executables inside the root.
    std::shared_ptr<CommandRunner> commandRunner() const { return runner_; }
    std::filesystem::path appDataFolder() const;
    std::filesystem::path keepListFile() const;
    // The runner with the live removers: the platform's Trash (inside the root), the guard, the
    // owning tools, the administrator prompt and the keep list; it measures the free space of the home and
    // records each run in the removal journal.
    RemovalRunner removalRunner(std::shared_ptr<const KeepList> keepList) const;
    // removals.json beside the keep list: every run that removed or tried something.
    std::shared_ptr<RemovalJournal> removalJournal() const;
    std::filesystem::path checkHistoryFile() const;
    // Puts Trash items of recorded removal runs back: the platform's Trash inside the root, the guard
    // and the journal of removals beside the keep list.
    TrashRestorer trashRestorer() const;
    // Linux layout: ${XDG_CONFIG_HOME:-<home>/.config}.
    std::filesystem::path configFolder() const;

    std::shared_ptr<SettingsStore> settingsStore() const;
    std::shared_ptr<AgentService> agentService() const;
    std::shared_ptr<Notifier> notifier() const;
    // Everything the headless check needs, taken from one bundle.
    static CheckDependencies checkDependencies(const AppDependencies& dependencies);
    // Every service the window and the commands use, for this root, home and platform. The closures
    // hold their own copy of this environment, so the bundle outlives it.
    AppDependencies appDependencies() const;
    // The user's launchd session (gui/<uid>).
    std::uint32_t uid() const;
    // The background services below `home` (a real path), with login items where the platform has them.
    std::shared_ptr<const LaunchItemScanner> launchItemScanner(const std::filesystem::path& home) const;
    // The home's Trash: ~/.Trash emptied by the Finder, or the desktops' Trash emptied through
    // descriptors.
    std::shared_ptr<const TrashEmptier> trashEmptier() const;
    LegacyAutomation legacyAutomation(std::shared_ptr<const KeepList> keepList) const;
    // The samplers of this machine for the performance view: they read the running system, whatever
    // the root; desktop apps are named from the entries below the root.
    PerformanceDependencies performanceDependencies() const;

private:
    cli::RunSetting setting_;
    SealedRoot sealed_;
    std::shared_ptr<CommandRunner> runner_;
    std::shared_ptr<const ToolLocator> tools_;
    std::shared_ptr<const SizeMeasurer> sizer_;
    std::shared_ptr<RunningAppsSource> runningApps_;
};

} // namespace velmora
