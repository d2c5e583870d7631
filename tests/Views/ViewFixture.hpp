// A model with fake services for the widget tests: a scan that reports a few findings of both cleanup
// tabs, a recording remover, a fixed disk and Trash. A test may change `deps` or `findings` before make().
#pragma once

#include "App/AppModel.hpp"
#include "Doubles/FakeAgentService.hpp"
#include "Doubles/FakeDiskSpace.hpp"
#include "Doubles/FakeNotifier.hpp"
#include "Doubles/FakeScanner.hpp"
#include "Doubles/ManualExecutor.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/JsonSettingsStore.hpp"
#include "Removal/Remover.hpp"

#include <QApplication>
#include <QString>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace velmora::testing {

// Removes nothing; every item it is handed counts as removed with its recorded size.
struct RecordingRemover final : Remover {
    std::vector<RemovalStep> seen;
    std::vector<bool> dryRuns; // the dry-run flag of each step in `seen`
    std::vector<ItemResult> remove(const std::vector<RemovalStep>& steps, bool dryRun, StopToken) override {
        std::vector<ItemResult> results;
        for (const auto& step : steps) {
            seen.push_back(step);
            dryRuns.push_back(dryRun);
            for (const auto& planned : step.items)
                results.push_back(
                    {step.finding->id, planned.item.id, ItemOutcome::removed(planned.item.size)});
        }
        return results;
    }
};

inline Finding demoFinding(const std::string& scannerID, const std::string& title, Risk risk,
                           std::vector<std::filesystem::path> paths, std::int64_t itemSize) {
    auto finding = makeFinding(scannerID, std::move(paths), itemSize, risk);
    finding.title = title;
    finding.summary = "Erklärung zu " + title + ".";
    return finding;
}

struct ViewFixture : ::testing::Test {
    TempTree tree;
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();
    std::shared_ptr<RecordingRemover> remover = std::make_shared<RecordingRemover>();
    std::shared_ptr<Remover> trashRemover = remover;
    std::vector<Finding> findings = {
        demoFinding("appCaches.spotify", "Spotify-Cache", Risk::safe,
                    {"/home/anna/.cache/spotify/a", "/home/anna/.cache/spotify/b"}, 2'000'000),
        demoFinding("apps.leftovers", "Reste gelöschter Apps", Risk::review, {"/home/anna/.local/share/old"},
                    5'000'000),
        demoFinding("xcode.derivedData", "Xcode DerivedData", Risk::safe,
                    {"/Users/anna/Library/Developer/Xcode/DerivedData/App-x"}, 3'000'000'000),
        demoFinding("languages.npm", "npm-Cache", Risk::review, {"/home/anna/.npm/_cacache"}, 400'000'000),
    };
    AppDependencies deps;
    // When set, every run that is not a dry run is recorded here (and gets a run id).
    std::shared_ptr<RemovalJournal> journal;
    std::unique_ptr<AppModel> model;

    // Builds the model; the constructor's background reads are settled before it returns.
    AppModel& make() {
        deps.engine = std::make_shared<ScanEngine>(
            std::vector<std::shared_ptr<Scanner>>{FakeScanner::returning("demo", findings)},
            std::chrono::seconds(10));
        deps.keepList = std::make_shared<KeepList>(tree.root() / "keep.json");
        deps.runner = std::make_shared<RemovalRunner>(
            RemovalRunner::Services{trashRemover, remover, remover, {}, {}, {}},
            RemovalRunner::Accounting{{}, {}, journal, [minutes = 0]() mutable {
                                          // A minute apart, so that the journal orders the runs.
                                          return std::chrono::system_clock::time_point(
                                              std::chrono::minutes(29'000'000 + minutes++));
                                      }});
        if (!deps.diskSpace)
            deps.diskSpace = std::make_shared<FakeDiskSpace>(DiskSpace{120'000'000'000, 500'000'000'000});
        deps.makeContext = [this] {
            ScanContext context;
            context.home = tree.root();
            return context;
        };
        if (!deps.bigChunks)
            deps.bigChunks = [](const ScanReport&) { return std::vector<BigChunk>{}; };
        if (!deps.trash)
            deps.trash = [] { return std::optional<std::int64_t>(750'000'000); };
        if (!deps.emptyTrash)
            deps.emptyTrash = [](bool, StopToken) { return std::expected<std::int64_t, EmptyTrashError>(0); };
        if (!deps.dryRun)
            deps.dryRun = [] { return false; };
        deps.history = std::make_shared<CheckHistory>(tree.root() / "history.json");
        if (!deps.agentService)
            deps.agentService = std::make_shared<FakeAgentService>();
        if (!deps.notifier)
            deps.notifier = std::make_shared<FakeNotifier>(NotificationAuthorization::authorized);
        model = std::make_unique<AppModel>(deps, std::make_shared<JsonSettingsStore>(tree.root() / "s.json"),
                                           executor, AppModel::Options{tree.root(), {}});
        settle();
        return *model;
    }
    // Runs what the model's threads posted until nothing is busy and no thread is left (or 10 s pass).
    bool settle() {
        return executor->runUntil([this] {
            return !model->isScanning() && !model->isRemoving() && !model->isMeasuringSystemData() &&
                   !model->isLoadingServices() && !model->isChecking() && !model->isApplyingSchedule() &&
                   !model->isRestoring() && !model->isExplaining() && !model->hasPendingWork();
        });
    }
    AppModel& scanned() {
        make();
        model->scan();
        EXPECT_TRUE(settle());
        return *model;
    }
};

inline QString qs(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace velmora::testing
