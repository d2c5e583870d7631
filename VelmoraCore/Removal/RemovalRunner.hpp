// Carries out a removal plan group by group – tool commands, Trash, direct deletion, then all
// administrator steps under one password prompt – and collects one result per item into a report.
// Holds no state between runs.
#pragma once

#include "Findings/FindingID.hpp"
#include "Platform/CommandRunner.hpp"
#include "Platform/DiskSpaceProbe.hpp"
#include "Platform/RunningAppsSource.hpp"
#include "Platform/ToolLocator.hpp"
#include "Platform/Trash.hpp"
#include "Removal/AdminRemover.hpp"
#include "Removal/FindingSelection.hpp"
#include "Removal/PrivilegedExecutor.hpp"
#include "Removal/RemovalJournal.hpp"
#include "Removal/RemovalPlan.hpp"
#include "Removal/RemovalReport.hpp"
#include "Removal/Remover.hpp"
#include "Removal/TrashRemover.hpp"
#include "Safety/KeepList.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmora {

class SafetyGuard;

class RemovalRunner {
public:
    using Progress = std::function<void(const std::string&)>;
    // The admin group: AdminRemover::remove, or a stand-in in tests.
    using AdminRemoval =
        std::function<std::vector<ItemResult>(const std::vector<FindingSelection>&, bool dryRun, StopToken)>;
    // The keep list as it is now (KeepList::read).
    using KeepListRead = std::function<KeepList::Contents()>;

    struct Services {
        std::shared_ptr<Remover> trash;
        std::shared_ptr<Remover> delete_;
        std::shared_ptr<Remover> tool; // checks running applications itself (ToolRemover)
        AdminRemoval admin;
        std::shared_ptr<const RunningAppsSource> runningApps; // null: nothing counts as running
        KeepListRead readKeepList;                            // empty: nothing counts as kept
    };

    // What the runner measures and records around a run; every part may be missing.
    struct Accounting {
        std::shared_ptr<const DiskSpaceProbe> diskSpace; // free space before and after (of `home`)
        std::filesystem::path home;
        // Every run that is not a dry run and removed or tried to remove anything is appended here.
        std::shared_ptr<RemovalJournal> journal;
        std::function<std::chrono::system_clock::time_point()> now; // empty: the system clock
    };

    explicit RemovalRunner(Services services, Accounting accounting = {});

    // The runner with the live removers: Trash and delete through `guard`, tools through `commands`
    // and `tools`, admin steps through `executor`, the keep list read afresh as each run starts. Null
    // services are allowed: no guard denies every path, no executor fails the admin items "Nicht ausgeführt",
    // no keep list or running-apps source means nothing is kept or running.
    static RemovalRunner live(std::shared_ptr<Trash> trash, std::shared_ptr<const SafetyGuard> guard,
                              std::shared_ptr<CommandRunner> commands, ToolLocator tools,
                              std::shared_ptr<PrivilegedExecutor> executor,
                              std::shared_ptr<const RunningAppsSource> runningApps,
                              std::shared_ptr<const KeepList> keepList,
                              TrashRemover::OnTrashed onTrashed = {}, Accounting accounting = {});

    static AdminRemoval adminRemoval(std::shared_ptr<AdminRemover> remover);

    // Runs the plan (blocking; call it off the main thread). The keep list is read once as the run
    // starts; when it is damaged, no item goes (each fails "Die Behalten-Liste ist beschädigt – es wird
    // nichts entfernt"). Before each file item: the progress text "Entferne: <name>", then that keep
    // list (kept → skipped "Steht auf der Behalten-Liste – nicht angefasst") and its applications (one
    // running → skipped "<App> läuft – vorher beenden"); then the remover, which asks the guard and checks
    // that the path still names what the plan recorded. A tool finding is handed over whole, with one
    // progress line naming its items. The admin items pass the same checks per admin unit (items whose steps
    // run together stay or go together), then go to the admin remover at once, announced by "Admin-Schritte
    // (eine Passwortabfrage)". In a dry run nothing changes and no password is asked for. After `stop`, every
    // item not yet started is `cancelled`. `progress` is called on this thread.
    // Items moved to the Trash count as trashed, not freed. The free space is read as the run starts and
    // as it ends; a run that is recorded gets its runID, one that could not be recorded a warning.
    RemovalReport run(const RemovalPlan& plan, const Progress& progress = {}, StopToken stop = {}) const;

private:
    void runFiles(const std::vector<RemovalStep>& steps, Remover* remover, const KeepList::IDs& kept,
                  bool dryRun, const Progress& progress, StopToken stop,
                  std::vector<ItemResult>& results) const;
    void runTools(const std::vector<RemovalStep>& steps, const KeepList::IDs& kept, bool dryRun,
                  const Progress& progress, StopToken stop, std::vector<ItemResult>& results) const;
    void runAdmin(const std::vector<RemovalStep>& steps, const KeepList::IDs& kept, bool dryRun,
                  const Progress& progress, StopToken stop, std::vector<ItemResult>& results) const;

    void record(RemovalReport& report) const;

    Services services_;
    Accounting accounting_;
};

inline constexpr std::string_view removingProgressPrefix = "Entferne: ";
inline constexpr std::string_view adminProgress = "Admin-Schritte (eine Passwortabfrage)";

} // namespace velmora
