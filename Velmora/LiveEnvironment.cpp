#include "LiveEnvironment.hpp"

#include "App/AppModel.hpp"
#include "Check/AppleScriptNotifier.hpp"
#include "Check/LaunchAgentService.hpp"
#include "Check/NotifySendNotifier.hpp"
#include "Check/SystemdTimerService.hpp"
#include "Performance/ActivityAggregator.hpp"
#include "Performance/LiveProcessSampler.hpp"
#include "Performance/LiveSystemSampler.hpp"
#include "Platform/AppDataLocation.hpp"
#include "Platform/DefaultsSettingsStore.hpp"
#include "Platform/DiskInfo.hpp"
#include "Platform/ExecutablePath.hpp"
#include "Platform/FreedesktopTrash.hpp"
#include "Platform/FullDiskAccess.hpp"
#include "Platform/HomeTrash.hpp"
#include "Platform/JsonSettingsStore.hpp"
#include "Platform/ProcessCommandRunner.hpp"
#include "Platform/SizeMeter.hpp"
#include "Platform/WorkspaceRunningApps.hpp"
#include "Removal/AppleScriptPrivilegedExecutor.hpp"
#include "Removal/FinderTrashEmptier.hpp"
#include "Removal/FreedesktopTrashEmptier.hpp"
#include "Removal/PkexecPrivilegedExecutor.hpp"
#include "Scanning/Catalog.hpp"
#include "Scanning/PathExplainer.hpp"
#include "Scanning/Scanners/PhotosScanner.hpp"
#include "Services/ServiceRemoval.hpp"
#include "Services/WorkspaceAppLocator.hpp"
#include "SystemData/LinuxVolumeInventory.hpp"
#include "SystemData/Scanners/SystemCleanupScanners.hpp"
#include "SystemData/VolumeInventory.hpp"

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

namespace velmora {

namespace fs = std::filesystem;

namespace {

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

#ifdef __APPLE__
fs::path darwinFolder(int name) {
    char buffer[PATH_MAX];
    const size_t length = ::confstr(name, buffer, sizeof buffer);
    return length > 0 && length <= sizeof buffer ? fs::path(buffer) : fs::path();
}
#endif

// Below a test root the caller's own variables would point outside the tree.
fs::path absoluteVariable(const cli::RunSetting& setting, const char* name) {
    const auto value = setting.isLiveRoot() ? environment(name) : std::nullopt;
    return value && fs::path(*value).is_absolute() ? fs::path(*value) : fs::path();
}

fs::path pnpmHome(const cli::RunSetting& setting) {
    if (auto home = absoluteVariable(setting, "PNPM_HOME"); !home.empty())
        return home;
    const auto data = absoluteVariable(setting, "XDG_DATA_HOME");
    return (data.empty() ? setting.home / ".local/share" : data) / "pnpm";
}

} // namespace

LiveEnvironment::LiveEnvironment(cli::RunSetting setting)
    : setting_(std::move(setting)), sealed_(setting_.rootPrefix) {
    const bool onLinux = setting_.layout == PlatformLayout::linux;
    auto locator =
        sealed_.locator(ToolLocator::live(setting_.home, onLinux, onLinux ? pnpmHome(setting_) : fs::path()));
    ProcessCommandRunner::Options options;
    // Below a test root the caller's own PATH would lead a located tool's children out of the root.
    options.extraEnvironment = {{"PATH", sealed_.isLive() ? locator.pathVariable() + ":" +
                                                                environment("PATH").value_or("/usr/bin:/bin")
                                                          : locator.pathVariable()}};
    runner_ = sealed_.runner(setting_.overrides.runner ? setting_.overrides.runner
                                                       : std::make_shared<ProcessCommandRunner>(options));
    tools_ = std::make_shared<const ToolLocator>(std::move(locator));
    sizer_ = std::make_shared<const SizeMeter>();
    // The runner outlives this source: both are held by every copy of the environment.
    runningApps_ = std::make_shared<WorkspaceRunningApps>(runner_.get());
}

ScanContext LiveEnvironment::scanContext() const {
    ScanContext context;
    context.home = setting_.home;
    context.rootPrefix = setting_.rootPrefix;
    context.layout = setting_.layout;
    if (setting_.layout == PlatformLayout::linux) {
        const auto cache = absoluteVariable(setting_, "XDG_CACHE_HOME");
        context.userCacheDir = cache.empty() ? setting_.home / ".cache" : cache;
        context.pnpmHome = pnpmHome(setting_);
    }
#ifdef __APPLE__
    if (setting_.layout == PlatformLayout::macOS && setting_.isLiveRoot()) {
        context.userCacheDir = darwinFolder(_CS_DARWIN_USER_CACHE_DIR);
        context.userTempDir = darwinFolder(_CS_DARWIN_USER_TEMP_DIR);
    }
#endif
    context.pyenvRoot = absoluteVariable(setting_, "PYENV_ROOT");
    context.rbenvRoot = absoluteVariable(setting_, "RBENV_ROOT");
    context.runner = runner_;
    context.tools = tools_;
    context.sizer = sizer_;
    context.runningApps = runningApps_;
    // The clean-up scanners offer for removal only what the guard would let go.
    context.safety = std::make_shared<const SafetyGuard>(safetyGuard());
    context.claims = std::make_shared<PathClaims>();
    context.now = std::chrono::system_clock::now();
    context.hasFullDiskAccess = FullDiskAccess(setting_.layout).hasFullDiskAccess(setting_.home);
    return context;
}

ScanEngine LiveEnvironment::scanEngine() const {
    return ScanEngine(Catalog::scanners(setting_.layout), perScannerTimeout);
}

SafetyGuard LiveEnvironment::safetyGuard() const {
    return SafetyGuard::live(setting_.layout, setting_.rootPrefix, setting_.logicalHome);
}

std::shared_ptr<const PathExplainer> LiveEnvironment::pathExplainer() const {
    const auto self = std::make_shared<const LiveEnvironment>(*this);
    return std::make_shared<const PathExplainer>(PathExplainer::Services{
        std::make_shared<const ScanEngine>(scanEngine()), Catalog::rules(setting_.layout),
        [self] { return self->scanContext(); }, std::make_shared<const SafetyGuard>(safetyGuard()),
        std::make_shared<const KeepList>(keepListFile())});
}

SystemDataScan LiveEnvironment::systemDataScan() const {
    SystemDataScan::Dependencies dependencies;
    if (setting_.layout == PlatformLayout::macOS) {
        dependencies.volumes = std::make_shared<const VolumeInventory>(
            runner_, sealed_.toolPath(std::string("/usr/sbin/diskutil")));
        dependencies.snapshots =
            std::make_shared<const LocalSnapshots>(runner_, sealed_.toolPath(std::string("/usr/bin/tmutil")));
    } else {
        dependencies.volumes =
            std::make_shared<const LinuxVolumeInventory>(setting_.rootPrefix, setting_.home);
    }
    dependencies.measurer = std::make_shared<const SystemDataMeasurer>(sizer_);
    dependencies.cleanup = std::make_shared<const ScanEngine>(
        SystemCleanupScanners::forLayout(setting_.layout), perScannerTimeout);
    return SystemDataScan(std::move(dependencies));
}

fs::path LiveEnvironment::appDataFolder() const {
    // Below a test root the caller's own XDG_DATA_HOME would point outside the tree.
    return velmora::appDataFolder(setting_.layout, setting_.home,
                                  setting_.isLiveRoot() ? environment("XDG_DATA_HOME") : std::nullopt);
}

fs::path LiveEnvironment::keepListFile() const {
    return KeepList::defaultFile(appDataFolder());
}

RemovalRunner LiveEnvironment::removalRunner(std::shared_ptr<const KeepList> keepList) const {
    std::shared_ptr<Trash> trash;
    std::shared_ptr<PrivilegedExecutor> executor;
    if (setting_.layout == PlatformLayout::macOS) {
        trash = std::make_shared<HomeTrash>(setting_.home);
        executor = std::make_shared<AppleScriptPrivilegedExecutor>(runner_);
    } else {
        const auto xdgDataHome = setting_.isLiveRoot() ? std::getenv("XDG_DATA_HOME") : nullptr;
        trash = std::make_shared<FreedesktopTrash>(
            FreedesktopTrash::dataHomeFor(setting_.home, xdgDataHome),
            [] { return std::chrono::system_clock::now(); }, setting_.home);
        executor = std::make_shared<PkexecPrivilegedExecutor>(runner_);
    }
    RemovalRunner::Accounting accounting{
        std::make_shared<const DiskInfo>(), setting_.home, removalJournal(), {}};
    return RemovalRunner::live(std::move(trash), std::make_shared<const SafetyGuard>(safetyGuard()), runner_,
                               *tools_, std::move(executor), runningApps_, std::move(keepList), {},
                               std::move(accounting));
}

std::shared_ptr<RemovalJournal> LiveEnvironment::removalJournal() const {
    return std::make_shared<RemovalJournal>(RemovalJournal::defaultFile(appDataFolder()));
}

TrashRestorer LiveEnvironment::trashRestorer() const {
    auto journal = removalJournal();
    auto guard = std::make_shared<const SafetyGuard>(safetyGuard());
    if (setting_.layout == PlatformLayout::macOS)
        return TrashRestorer(TrashLocation::home(setting_.home), std::move(guard), std::move(journal));
    const auto xdgDataHome = setting_.isLiveRoot() ? std::getenv("XDG_DATA_HOME") : nullptr;
    return TrashRestorer(
        TrashLocation::freedesktop(FreedesktopTrash::dataHomeFor(setting_.home, xdgDataHome), setting_.home),
        std::move(guard), std::move(journal));
}

fs::path LiveEnvironment::checkHistoryFile() const {
    return CheckHistory::defaultFile(appDataFolder());
}

fs::path LiveEnvironment::configFolder() const {
    return velmora::configFolder(setting_.home,
                                 setting_.isLiveRoot() ? environment("XDG_CONFIG_HOME") : std::nullopt);
}

std::shared_ptr<SettingsStore> LiveEnvironment::settingsStore() const {
    if (setting_.layout == PlatformLayout::macOS)
        return std::make_shared<DefaultsSettingsStore>(
            runner_, sealed_.toolPath(std::string(DefaultsSettingsStore::defaultsTool)));
    return std::make_shared<JsonSettingsStore>(JsonSettingsStore::defaultFile(configFolder()));
}

std::shared_ptr<AgentService> LiveEnvironment::agentService() const {
    auto executable =
        setting_.overrides.executablePath ? setting_.overrides.executablePath : currentExecutablePath();
    if (setting_.layout == PlatformLayout::macOS)
        return std::make_shared<LaunchAgentService>(LaunchAgentService::Setup{
            runner_, sealed_.toolPath(std::string(LaunchAgentService::launchctlTool)),
            setting_.home / "Library" / "LaunchAgents", std::move(executable), ::getuid()});
    return std::make_shared<SystemdTimerService>(SystemdTimerService::Setup{
        runner_, tools_->locate("systemctl"), configFolder() / "systemd" / "user", std::move(executable)});
}

std::shared_ptr<Notifier> LiveEnvironment::notifier() const {
    if (setting_.layout == PlatformLayout::macOS)
        return std::make_shared<AppleScriptNotifier>(
            runner_, sealed_.toolPath(std::string(AppleScriptNotifier::osascriptTool)));
    return std::make_shared<NotifySendNotifier>(
        runner_, tools_->locate("notify-send"),
        setting_.overrides.executablePath ? setting_.overrides.executablePath : currentExecutablePath());
}

CheckDependencies LiveEnvironment::checkDependencies(const AppDependencies& dependencies) {
    CheckDependencies check;
    check.engine = dependencies.engine;
    check.keepList = dependencies.keepList;
    check.history = dependencies.history;
    check.measureSystemRoots = dependencies.measureSystemRoots;
    check.diskSpace = dependencies.diskSpace;
    check.makeContext = dependencies.makeContext;
    check.notifier = dependencies.notifier;
    check.orphanedServices = dependencies.orphanedServices;
    return check;
}

std::uint32_t LiveEnvironment::uid() const {
    return setting_.overrides.uid.value_or(::getuid());
}

std::shared_ptr<const LaunchItemScanner> LiveEnvironment::launchItemScanner(const fs::path& home) const {
    auto sources =
        LaunchItemScanner::Sources::live(setting_.rootPrefix, home, uid(), runner_, setting_.layout);
    // Login items come from a macOS tool; Linux has none to read.
    sources.includeLoginItems = setting_.layout == PlatformLayout::macOS;
    return std::make_shared<const LaunchItemScanner>(std::move(sources));
}

std::shared_ptr<const TrashEmptier> LiveEnvironment::trashEmptier() const {
    if (setting_.layout == PlatformLayout::macOS)
        return std::make_shared<const FinderTrashEmptier>(
            runner_, sealed_.toolPath(std::string(FinderTrashEmptier::osascript)), setting_.home / ".Trash",
            sizer_);
    const auto xdgDataHome = setting_.isLiveRoot() ? std::getenv("XDG_DATA_HOME") : nullptr;
    return std::make_shared<const FreedesktopTrashEmptier>(
        FreedesktopTrash::dataHomeFor(setting_.home, xdgDataHome) / "Trash", setting_.home, sizer_);
}

LegacyAutomation LiveEnvironment::legacyAutomation(std::shared_ptr<const KeepList> keepList) const {
    return LegacyAutomation({setting_.rootPrefix, setting_.home, uid(), setting_.layout, runner_},
                            removalRunner(std::move(keepList)));
}

AppDependencies LiveEnvironment::appDependencies() const {
    // Every closure shares this copy, so that the bundle stays valid after the caller's environment is gone.
    const auto self = std::make_shared<const LiveEnvironment>(*this);
    AppDependencies deps;
    deps.engine = std::make_shared<const ScanEngine>(scanEngine());
    deps.keepList = std::make_shared<KeepList>(keepListFile());
    deps.runner = std::make_shared<const RemovalRunner>(removalRunner(deps.keepList));
    deps.diskSpace = std::make_shared<const DiskInfo>();
    deps.makeContext = [self] { return self->scanContext(); };
    // The lead fills this from the big-folder scanner's findings once the storage scanners land.
    deps.bigChunks = [](const ScanReport& report) { return report.bigChunks; };
    deps.photos = [](const ScanContext& context) { return photosInfo(context); };
    const auto trash = trashEmptier();
    deps.trash = [trash] { return trash->size(); };
    deps.fullDiskAccess = std::make_shared<const FullDiskAccess>(setting_.layout);
    deps.emptyTrash = [trash](bool dryRun, StopToken stop) { return trash->empty(dryRun, std::move(stop)); };
    deps.measureSystemData = [self](const ScanContext& context, StopToken stop,
                                    const std::function<void(double)>& progress) {
        return self->systemDataScan().run(context, std::move(stop), progress);
    };
    deps.dryRun = [dryRun = setting_.dryRun] { return dryRun; };
    // The source asks through the runner, which `self` keeps alive.
    deps.terminate = [apps = runningApps_, self](const std::string& bundleID) {
        return self && apps->terminateApplications(bundleID);
    };
    deps.history = std::make_shared<CheckHistory>(checkHistoryFile());
    deps.measureSystemRoots = [self](const ScanContext& context, StopToken stop) {
        const auto report = self->systemDataScan().run(context, std::move(stop));
        CheckRunner::SystemRoots roots;
        roots.findings = report.findings;
        for (const auto& area : report.areas) {
            // The home and the apps are not system data; their growth is the user's own doing.
            if (!area.size || area.area.kind != AreaKind::system)
                continue;
            roots.areaSizes[area.area.id] = *area.size;
            roots.areaTitles[area.area.id] = area.area.title;
            if (area.lowerBound)
                roots.lowerBoundIDs.insert(area.area.id);
        }
        for (const auto& failure : report.failures)
            roots.lowerBoundIDs.insert(failure.scannerID);
        return roots;
    };
    deps.notifier = notifier();
    deps.agentService = agentService();
    deps.loadServices = [self](const fs::path& home, StopToken stop) {
        return self->launchItemScanner(home)->load(std::move(stop));
    };
    const auto services = launchItemScanner(setting_.home);
    deps.loadLaunchItems = [services](StopToken stop) { return services->scan(std::move(stop)); };
    // The check only needs the start files: login items are never orphaned, and sfltool is slow.
    auto quickSources =
        LaunchItemScanner::Sources::live(setting_.rootPrefix, setting_.home, uid(), runner_, setting_.layout);
    quickSources.includeLoginItems = false;
    const auto quick = std::make_shared<const LaunchItemScanner>(std::move(quickSources));
    deps.orphanedServices = [quick]() -> std::optional<std::vector<std::string>> {
        std::vector<std::string> labels;
        for (const auto& item : quick->scan())
            if (item.isOrphaned)
                labels.push_back(item.label);
        std::ranges::sort(labels);
        return labels;
    };
    deps.performance =
        setting_.overrides.performance ? *setting_.overrides.performance : performanceDependencies();
    deps.indexingAdvice = [layout = setting_.layout, home = setting_.home, sizes = sizer_,
                           apps = runningApps_](StopToken stop) {
        IndexingAdvice::Setup setup{.layout = layout, .home = home, .sizes = sizes};
        for (const auto& app : apps->runningApplications())
            setup.runningPrograms.push_back(app.name);
        return IndexingAdvice::find(setup, std::move(stop));
    };
    const auto legacy = std::make_shared<const LegacyAutomation>(legacyAutomation(deps.keepList));
    deps.legacyItems = [legacy] { return legacy->find(); };
    deps.removeLegacy = [legacy](const std::vector<LegacyItem>& items, bool dryRun,
                                 const std::function<void(const std::string&)>& progress, StopToken stop) {
        return legacy->remove(items, dryRun, progress, std::move(stop));
    };
    const auto removal =
        std::make_shared<const ServiceRemoval>(services, runner_, removalRunner(deps.keepList));
    deps.removeServices = [removal](const std::vector<LaunchItem>& items, bool dryRun,
                                    const std::function<void(const std::string&)>& progress, StopToken stop) {
        // ServiceRemoval tests every service afresh first; the line the model showed for that ends here.
        if (progress)
            progress(std::string(AppModelText::removingServices));
        return removal->remove(items, dryRun, std::move(stop));
    };
    const auto journal = removalJournal();
    deps.removalRuns = [journal] { return journal->runs(); };
    deps.stillInTrash = &TrashRestorer::isStillInTrash;
    const auto restorer = std::make_shared<const TrashRestorer>(trashRestorer());
    deps.restore = [restorer](const JournalRun& run, const std::vector<std::string>& itemIDs, bool dryRun) {
        return restorer->restore(run, itemIDs, dryRun);
    };
    // The window's own keep list, so that an answer knows what was kept a moment ago.
    const auto explainer = std::make_shared<const PathExplainer>(PathExplainer::Services{
        deps.engine, Catalog::rules(setting_.layout), [self] { return self->scanContext(); },
        std::make_shared<const SafetyGuard>(safetyGuard()), deps.keepList});
    deps.explain = [explainer](const std::vector<fs::path>& paths, StopToken stop) {
        return explainer->explain(paths, std::move(stop));
    };
    return deps;
}

PerformanceDependencies LiveEnvironment::performanceDependencies() const {
    ActivityAggregator::Setup setup;
    setup.layout = setting_.layout;
    setup.ownUid = setting_.overrides.uid.value_or(::getuid());
    setup.ownPid = ::getpid();
    if (setting_.layout == PlatformLayout::linux) {
        auto apps =
            std::make_shared<const WorkspaceAppLocator>(setting_.rootPrefix, setting_.home, setting_.layout);
        setup.desktopName = [apps](const std::string& appID) -> std::optional<std::string> {
            const auto app = apps->find(appID);
            return app ? std::optional(app->name) : std::nullopt;
        };
    }
    PerformanceDependencies dependencies;
    dependencies.system = std::make_shared<LiveSystemSampler>();
    dependencies.processes = std::make_shared<LiveProcessSampler>();
    dependencies.aggregate = [setup](const std::vector<ProcessSample>& processes) {
        return ActivityAggregator::aggregate(processes, setup);
    };
    dependencies.now = [] { return std::chrono::system_clock::now(); };
    return dependencies;
}

} // namespace velmora
