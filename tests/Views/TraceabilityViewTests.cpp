#include "ViewFixture.hpp"

#include "Views/CleanupTabView.hpp"
#include "Views/RemovalHistoryView.hpp"
#include "Views/RemovalSheet.hpp"
#include "Views/WhyDialog.hpp"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTextBrowser>
#include <QTreeWidget>
#include <gmock/gmock.h>

namespace velmora {
namespace {

using ::testing::HasSubstr;
using testing::qs;

// Moves nothing, but answers like the Trash: each item "went" to a slot of its own.
struct PlacingRemover final : Remover {
    std::vector<ItemResult> remove(const std::vector<RemovalStep>& steps, bool, StopToken) override {
        std::vector<ItemResult> results;
        for (const auto& step : steps)
            for (const auto& planned : step.items)
                results.push_back(
                    {step.finding->id, planned.item.id,
                     ItemOutcome::removed(planned.item.size, {},
                                          TrashPlacement{"/trash/" + planned.item.name, {}, {}})});
        return results;
    }
};

// A journal in the test tree, and a restore that puts nothing back but says so per item.
struct TraceabilityTest : testing::ViewFixture {
    struct Call {
        std::string runID;
        std::vector<std::string> items;
        bool dryRun;
    };
    std::vector<Call> restores;
    std::vector<std::vector<std::filesystem::path>> asked;
    bool fail = false; // restore and explain throw, as a broken file system call might

    TraceabilityTest() {
        journal = std::make_shared<RemovalJournal>(tree.root() / "removals.json");
        trashRemover = std::make_shared<PlacingRemover>();
        deps.removalRuns = [j = journal] { return j->runs(); };
        deps.restore = [this](const JournalRun& run, const std::vector<std::string>& items, bool dryRun) {
            if (fail)
                throw std::runtime_error("kaputt");
            restores.push_back({run.runID, items, dryRun});
            RestoreReport report{run.runID, {}, {}};
            for (const auto& item : run.items)
                if (item.trash && (items.empty() || std::ranges::find(items, item.itemID) != items.end()))
                    report.results.push_back(
                        {item.findingID, item.itemID, item.path,
                         item.path.ends_with("/b")
                             ? RestoreOutcome{RestoreOutcome::Kind::left, std::string(occupiedOriginalText)}
                             : RestoreOutcome{RestoreOutcome::Kind::restored, {}}});
            return report;
        };
        deps.explain = [this](const std::vector<std::filesystem::path>& paths, StopToken) {
            if (fail)
                throw std::runtime_error("kaputt");
            asked.push_back(paths);
            std::vector<PathExplanation> answers;
            for (const auto& path : paths) {
                PathExplanation answer;
                answer.path = path;
                answer.presence = PathPresence::present;
                answer.guard = SafetyVerdict::denied("Systemordner\x1b[2J");
                answers.push_back(answer);
            }
            return answers;
        };
    }

    // Runs a removal of the Spotify cache (two items to the Trash) through the sheet.
    JournalRun removedThroughSheet(RemovalSheet& sheet) {
        sheet.confirmButton()->click();
        EXPECT_TRUE(settle());
        const auto runs = journal->runs();
        EXPECT_EQ(runs.size(), 1u);
        return runs.empty() ? JournalRun{} : runs.front();
    }

    AppModel& spotifyOnly() {
        auto& model = scanned();
        for (const auto& entry : std::set(model.selection()))
            model.deselect(entry.finding);
        model.select(findings[0].id);
        return model;
    }
};

TEST_F(TraceabilityTest, TheResultOfATrashRunOffersUndoWhichRestoresThatRunAndSaysWhatStayed) {
    auto& model = spotifyOnly();
    RemovalSheet sheet(model);
    const auto run = removedThroughSheet(sheet);
    ASSERT_EQ(run.trashedBytes, 4'000'000);
    EXPECT_TRUE(sheet.undoButton()->isVisibleTo(&sheet));
    EXPECT_TRUE(sheet.emptyTrashButton()->isVisibleTo(&sheet));
    EXPECT_THAT(sheet.resultBanner()->text().toStdString(), HasSubstr("Im Papierkorb"));

    sheet.undoButton()->click();
    EXPECT_TRUE(settle());
    ASSERT_EQ(restores.size(), 1u);
    EXPECT_EQ(restores[0].runID, run.runID);
    EXPECT_TRUE(restores[0].items.empty());
    EXPECT_FALSE(restores[0].dryRun);
    EXPECT_EQ(sheet.resultBanner()->kind(), Banner::Kind::warning);
    EXPECT_EQ(sheet.resultBanner()->title(), qs("Rückgängig: 1 zurückgelegt, 1 im Papierkorb gelassen"));
    EXPECT_THAT(sheet.resultBanner()->text().toStdString(), HasSubstr(std::string(occupiedOriginalText)));
    EXPECT_FALSE(sheet.undoButton()->isVisibleTo(&sheet));
    // The runs on show were read again after the run and after the restore.
    EXPECT_EQ(model.removalRuns().size(), 1u);
}

TEST_F(TraceabilityTest, NothingIsOfferedAfterADryRunOrARunWithoutTrashItems) {
    for (const bool dry : {true, false}) {
        if (!dry)
            findings[0].method = RemovalMethod::deleteDirectly();
        auto& model = spotifyOnly();
        model.setDryRunSetting(dry);
        RemovalSheet sheet(model);
        sheet.confirmButton()->click();
        ASSERT_TRUE(settle());
        EXPECT_EQ(sheet.phase(), RemovalSheet::Phase::done);
        EXPECT_FALSE(sheet.undoButton()->isVisibleTo(&sheet)) << dry;
        EXPECT_FALSE(sheet.emptyTrashButton()->isVisibleTo(&sheet)) << dry;
        model.setDryRunSetting(false);
    }
}

TEST_F(TraceabilityTest, TheHistoryListsRunsNewestFirstAndRestoresTheChosenRunOrItems) {
    findings[3].method = RemovalMethod::deleteDirectly(); // npm: nothing of it to put back
    deps.stillInTrash = [](const TrashPlacement& placement) { return placement.entry != "/trash/a"; };
    auto& model = spotifyOnly();
    model.remove(model.planSelection({}));
    ASSERT_TRUE(settle());
    model.select(findings[3].id);
    model.remove(model.planSelection({}));
    ASSERT_TRUE(settle());
    const auto runs = journal->runs();
    ASSERT_EQ(runs.size(), 2u);

    RemovalHistoryView view(model);
    ASSERT_TRUE(settle());
    auto* list = view.runList();
    ASSERT_EQ(list->topLevelItemCount(), 2);
    EXPECT_FALSE(view.emptyLabel()->isVisibleTo(&view));
    auto* older = list->topLevelItem(1); // the Trash run
    ASSERT_EQ(older->childCount(), 2);
    EXPECT_EQ(older->child(0)->text(RemovalHistoryView::trashColumn), qs("nicht mehr dort"));
    EXPECT_EQ(older->child(1)->text(RemovalHistoryView::trashColumn), qs("liegt dort"));

    list->topLevelItem(0)->setSelected(true);
    EXPECT_FALSE(view.restoreButton()->isEnabled()) << "a run with nothing in the Trash";
    list->clearSelection();
    older->child(0)->setSelected(true);
    EXPECT_EQ(view.chosenRestore().first, "") << "gone from the Trash";
    list->clearSelection();
    older->child(1)->setSelected(true);
    EXPECT_EQ(view.chosenRestore(),
              (std::pair{runs[1].runID, std::vector<std::string>{runs[1].items[1].itemID}}));
    older->setSelected(true);
    EXPECT_EQ(view.chosenRestore(), (std::pair{runs[1].runID, std::vector<std::string>{}}));
    list->topLevelItem(0)->setSelected(true);
    EXPECT_EQ(view.chosenRestore().first, "") << "rows of two runs";
    list->topLevelItem(0)->setSelected(false);

    view.restoreButton()->click();
    ASSERT_TRUE(settle());
    ASSERT_EQ(restores.size(), 1u);
    EXPECT_EQ(restores[0].runID, runs[1].runID);
    EXPECT_TRUE(view.resultBanner()->isVisibleTo(&view));
    EXPECT_THAT(view.resultBanner()->title().toStdString(), HasSubstr("1 zurückgelegt"));

    model.restoreRun("gibt-es-nicht");
    ASSERT_TRUE(settle());
    EXPECT_EQ(model.lastError(), std::string(AppModelText::unknownRun));
    EXPECT_EQ(restores.size(), 1u);

    fail = true; // the thread survives and says so
    model.restoreRun(runs[1].runID);
    ASSERT_TRUE(settle());
    EXPECT_EQ(model.lastError(), std::string(AppModelText::restoreFailed));
}

TEST_F(TraceabilityTest, WhyAsksAboutTheFindingsPathsOrOneItemAndShowsTheAnswerEscaped) {
    auto many = testing::demoFinding("appCaches.many", "Viele", Risk::safe, {}, 1);
    for (int i = 0; i < 52; ++i)
        many.items.push_back(FindingItem{std::to_string(i),
                                         "/home/anna/.cache/many/" + std::to_string(i),
                                         std::to_string(i),
                                         1,
                                         {},
                                         {},
                                         {},
                                         {}});
    auto tool = testing::demoFinding("languages.go", "Go-Cache", Risk::safe, {}, 1);
    tool.method = RemovalMethod::tool(ToolCommand{"go", {"clean", "-cache"}, {}});
    tool.items.push_back(FindingItem{"cache", {}, "cache", 5, {}, {}, {}, {}});
    findings.push_back(many);
    findings.push_back(tool);
    auto& model = scanned();

    {
        WhyDialog dialog(model, findings[0].id);
        ASSERT_TRUE(settle());
        ASSERT_EQ(asked.size(), 1u);
        EXPECT_EQ(asked[0], (std::vector<std::filesystem::path>{"/home/anna/.cache/spotify/a",
                                                                "/home/anna/.cache/spotify/b"}));
        const auto html = dialog.answerView()->toHtml().toStdString();
        EXPECT_THAT(html, HasSubstr("/home/anna/.cache/spotify/b"));
        EXPECT_THAT(html, HasSubstr("gesperrt (Systemordner\\x1b[2J)"));
        EXPECT_EQ(html.find('\x1b'), std::string::npos);
        EXPECT_FALSE(dialog.progressBar()->isVisibleTo(&dialog));
    }
    EXPECT_FALSE(model.explanation()) << "closing the dialog drops its answer";

    WhyDialog item(model, findings[0].id, "/home/anna/.cache/spotify/b");
    ASSERT_TRUE(settle());
    EXPECT_EQ(asked.back(), (std::vector<std::filesystem::path>{"/home/anna/.cache/spotify/b"}));

    WhyDialog capped(model, many.id);
    ASSERT_TRUE(settle());
    EXPECT_EQ(asked.back().size(), AppModel::explanationLimit);
    EXPECT_EQ(model.explanation()->omitted, 2u);
    EXPECT_THAT(capped.answerView()->toPlainText().toStdString(), HasSubstr("2 weitere"));

    const auto before = asked.size();
    WhyDialog pathless(model, tool.id);
    ASSERT_TRUE(settle());
    EXPECT_EQ(asked.size(), before);
    EXPECT_THAT(pathless.answerView()->toPlainText().toStdString(),
                HasSubstr("Dieser Fund nennt keinen Pfad"));

    fail = true;
    WhyDialog failed(model, findings[0].id);
    ASSERT_TRUE(settle());
    EXPECT_EQ(failed.answerView()->toPlainText(), qs(AppModelText::explainFailed));
    fail = false;

    // The tab asks about the row on show.
    CleanupTabView tab(model, AppTab::storage);
    EXPECT_FALSE(tab.whyButton()->isEnabled());
    tab.tree()->setCurrentItem(tab.findingRow(findings[1].id));
    ASSERT_TRUE(tab.whyButton()->isEnabled());
    tab.whyButton()->click();
    ASSERT_TRUE(settle());
    EXPECT_EQ(asked.back(), (std::vector<std::filesystem::path>{"/home/anna/.local/share/old"}));
    EXPECT_NE(tab.findChild<WhyDialog*>(), nullptr);
}

} // namespace
} // namespace velmora
