#include "ViewFixture.hpp"

#include "Findings/ByteFormat.hpp"
#include "Views/RemovalSheet.hpp"

#include <QCheckBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <gmock/gmock.h>

namespace velmora {
namespace {

using testing::demoFinding;
using ::testing::HasSubstr;
using testing::qs;
using Phase = RemovalSheet::Phase;

struct RemovalSheetTest : testing::ViewFixture {
    std::vector<std::string> quitAsked;

    RemovalSheetTest() {
        findings[0].blockingApps = {AppRef{"com.spotify.client", "spotify", "Spotify"}};
        findings[3].method = RemovalMethod::deleteDirectly();
        auto cask =
            demoFinding("apps.unused", "Firefox", Risk::review, {"/Applications/Firefox.app"}, 300'000'000);
        cask.method = RemovalMethod::tool(ToolCommand{"brew", {"uninstall", "--cask", "firefox"}, {}});
        findings.push_back(cask);
        findings.push_back(demoFinding("services.orphaned", "Verwaister Dienst", Risk::review,
                                       {"/home/anna/.config/autostart/old.desktop"}, 1'000));
        deps.terminate = [this](const std::string& bundleID) {
            quitAsked.push_back(bundleID);
            return true;
        };
    }

    AppModel& selected(std::initializer_list<std::size_t> which) {
        auto& model = scanned();
        for (const auto& entry : std::set(model.selection())) // what the scan preselected
            model.deselect(entry.finding);
        for (const auto index : which)
            model.select(findings[index].id);
        return model;
    }
};

TEST_F(RemovalSheetTest, ShowsThePlanByMethodAndRunsItOnlyAfterConfirming) {
    auto& model = selected({0, 3});
    RemovalSheet sheet(model);
    const auto* tree = sheet.planTree();
    ASSERT_EQ(tree->topLevelItemCount(), 2);
    const std::vector<std::tuple<QString, QString, QString, int>> groups{
        {"In den Papierkorb", "Spotify-Cache", qs(ByteFormat::fileSize(4'000'000)), 2},
        {"Wird direkt gelöscht – nicht im Papierkorb", "npm-Cache", qs(ByteFormat::fileSize(400'000'000)),
         1}};
    for (int i = 0; i < 2; ++i) {
        const auto& [heading, title, size, items] = groups[static_cast<std::size_t>(i)];
        const auto* group = tree->topLevelItem(i);
        EXPECT_EQ(group->text(0), heading);
        ASSERT_EQ(group->childCount(), 1);
        EXPECT_EQ(group->child(0)->text(0), title);
        EXPECT_EQ(group->child(0)->text(1), size);
        EXPECT_EQ(group->child(0)->childCount(), items);
    }
    EXPECT_EQ(tree->topLevelItem(0)->child(0)->child(1)->text(1), qs(ByteFormat::fileSize(2'000'000)));
    EXPECT_EQ(sheet.totalLabel()->text(),
              qs("Insgesamt: " + ByteFormat::fileSize(404'000'000) + " in 3 Einträgen"));
    EXPECT_FALSE(sheet.dryRunBanner()->isVisibleTo(&sheet));
    EXPECT_FALSE(sheet.deleteDirectlyBox()->isVisibleTo(&sheet));
    EXPECT_EQ(sheet.confirmButton()->text(), "Entfernen");

    EXPECT_FALSE(sheet.commandsView()->isVisibleTo(&sheet));
    sheet.commandsButton()->click();
    EXPECT_TRUE(sheet.commandsView()->isVisibleTo(&sheet));
    EXPECT_THAT(sheet.commandsView()->toPlainText().toStdString(),
                HasSubstr("rm -rf /home/anna/.npm/_cacache"));
    EXPECT_TRUE(remover->seen.empty());

    sheet.confirmButton()->click();
    EXPECT_EQ(sheet.phase(), Phase::running);
    EXPECT_TRUE(sheet.progressLabel()->isVisibleTo(&sheet));
    sheet.reject(); // closing while it runs would hide the outcome
    EXPECT_EQ(sheet.phase(), Phase::running);
    ASSERT_TRUE(settle());
    EXPECT_EQ(sheet.phase(), Phase::done);
    EXPECT_EQ(remover->seen.size(), 3u);
    EXPECT_EQ(remover->dryRuns, std::vector<bool>(3, false));
    EXPECT_TRUE(sheet.resultBanner()->isVisibleTo(&sheet));
    EXPECT_EQ(sheet.resultBanner()->kind(), Banner::Kind::success);
    EXPECT_EQ(sheet.resultBanner()->title(), "3 ausgewählt: 3 entfernt");
    // The npm cache is deleted, the Spotify items go to the Trash: only the first is freed space now.
    EXPECT_EQ(sheet.resultBanner()->lines().value(0),
              qs("Freigegeben: " + ByteFormat::fileSize(400'000'000)));
    EXPECT_TRUE(sheet.resultBanner()->lines().value(1).startsWith(
        qs("Im Papierkorb: " + ByteFormat::fileSize(4'000'000))));
    EXPECT_EQ(tree->topLevelItem(1)->child(0)->child(0)->text(2), "entfernt");

    sheet.doneButton()->click();
    EXPECT_EQ(sheet.result(), QDialog::Accepted);
    EXPECT_FALSE(model.lastRemoval());
}

TEST_F(RemovalSheetTest, CancelOrAnEmptySelectionRunsNothing) {
    auto& model = selected({0});
    {
        RemovalSheet sheet(model);
        sheet.cancelButton()->click();
        EXPECT_EQ(sheet.result(), QDialog::Rejected);
    }
    settle();
    EXPECT_TRUE(remover->seen.empty());
    EXPECT_FALSE(model.lastRemoval());

    model.deselect(findings[0].id);
    RemovalSheet sheet(model);
    EXPECT_EQ(sheet.planTree()->topLevelItemCount(), 0);
    EXPECT_FALSE(sheet.confirmButton()->isEnabled());
    sheet.confirmButton()->click();
    settle();
    EXPECT_TRUE(remover->seen.empty());
    EXPECT_EQ(sheet.phase(), Phase::plan);

    model.select(findings[1].id); // the open sheet follows the selection
    EXPECT_EQ(sheet.planTree()->topLevelItemCount(), 1);
    EXPECT_TRUE(sheet.confirmButton()->isEnabled());
}

TEST_F(RemovalSheetTest, DryRunIsAnnouncedAndTheRunIsADryRun) {
    auto& model = selected({0});
    RemovalSheet sheet(model);
    EXPECT_FALSE(sheet.dryRunBanner()->isVisibleTo(&sheet));
    model.setDryRunSetting(true);
    EXPECT_TRUE(sheet.plan().options.dryRun);
    EXPECT_TRUE(sheet.dryRunBanner()->isVisibleTo(&sheet));
    EXPECT_EQ(sheet.dryRunBanner()->title(), "Trockenlauf – es wird nichts entfernt.");
    EXPECT_EQ(sheet.confirmButton()->text(), "Trockenlauf starten");

    sheet.confirmButton()->click();
    ASSERT_TRUE(settle());
    EXPECT_TRUE(model.lastRemovalWasDryRun());
    EXPECT_EQ(remover->dryRuns, std::vector<bool>(2, true));
    EXPECT_EQ(sheet.resultBanner()->title(), "Trockenlauf aktiv");
    EXPECT_EQ(sheet.resultBanner()->lines().value(0), "Es wird nichts entfernt.");
}

TEST_F(RemovalSheetTest, ARefusedRemovalShowsInTheErrorBanner) {
    auto& model = selected({0, 5});
    RemovalSheet sheet(model);
    EXPECT_FALSE(sheet.errorBanner()->isVisibleTo(&sheet));
    sheet.confirmButton()->click();
    settle();
    EXPECT_TRUE(remover->seen.empty());
    EXPECT_EQ(sheet.phase(), Phase::done);
    EXPECT_TRUE(sheet.errorBanner()->isVisibleTo(&sheet));
    EXPECT_EQ(sheet.errorBanner()->title(), qs(AppModelText::mixedServicesRefused));
    EXPECT_FALSE(sheet.resultBanner()->isVisibleTo(&sheet));
}

TEST_F(RemovalSheetTest, OptionsReplanAndBlockingAppsCanBeAskedToQuit) {
    findings[2].items[0].size = 12'000'000'000; // above the direct-delete threshold
    auto& model = selected({0, 2, 4});
    RemovalSheet sheet(model);
    ASSERT_TRUE(sheet.deleteDirectlyBox()->isVisibleTo(&sheet));
    ASSERT_TRUE(sheet.zapBox()->isVisibleTo(&sheet));
    EXPECT_TRUE(sheet.plan().deleteSteps.empty());
    sheet.deleteDirectlyBox()->click();
    sheet.zapBox()->click();
    ASSERT_EQ(sheet.plan().directDeleteCandidates.size(), 1u);
    EXPECT_EQ(sheet.planTree()->topLevelItem(2)->text(0), "Wird direkt gelöscht – nicht im Papierkorb");
    EXPECT_EQ(sheet.planTree()->topLevelItem(0)->text(0), "brew uninstall --cask --zap firefox");
    EXPECT_THAT(sheet.commandsView()->toPlainText().toStdString(),
                HasSubstr("brew uninstall --cask --zap firefox"));

    ASSERT_TRUE(sheet.appsBanner()->isVisibleTo(&sheet));
    QPushButton* quit = nullptr;
    for (auto* button : sheet.appsBanner()->findChildren<QPushButton*>())
        if (button->text() == "Spotify beenden")
            quit = button;
    ASSERT_NE(quit, nullptr);
    EXPECT_TRUE(quitAsked.empty());
    quit->click();
    EXPECT_EQ(quitAsked, std::vector<std::string>{"com.spotify.client"});
    EXPECT_FALSE(quit->isEnabled());
}

TEST(RemovalResultText, KindTitleAndLinesFollowTheReport) {
    const FindingID id{"appCaches.spotify", ""};
    const ItemResult removed{id, "a", ItemOutcome::removed(5'000'000)};
    const ItemResult failed{id, "b", ItemOutcome::failed("Exit 1")};
    const auto report = [](std::vector<ItemResult> results, std::int64_t freed,
                           std::vector<std::string> failures) {
        RemovalReport made;
        made.results = std::move(results);
        made.freedBytes = freed;
        made.failures = std::move(failures);
        return made;
    };
    auto unrecorded = report({removed}, 5'000'000, {});
    unrecorded.journalWarning = "Nicht gespeichert.";
    struct Case {
        RemovalReport report;
        bool dryRun;
        Banner::Kind kind;
        QString title;
        QStringList lines;
    };
    const std::vector<Case> cases{
        {report({removed}, 5'000'000, {}),
         false,
         Banner::Kind::success,
         "1 ausgewählt: 1 entfernt",
         {qs("Freigegeben: " + ByteFormat::fileSize(5'000'000))}},
        {report({removed, failed}, 5'000'000, {"b: Exit 1"}),
         false,
         Banner::Kind::warning,
         "2 ausgewählt: 1 entfernt, 1 fehlgeschlagen",
         {qs("Freigegeben: " + ByteFormat::fileSize(5'000'000)), "1 Eintrag konnte nicht entfernt werden.",
          "• b: Exit 1"}},
        {report({failed}, 0, {"b: Exit 1"}),
         false,
         Banner::Kind::error,
         "1 ausgewählt: 0 entfernt, 1 fehlgeschlagen",
         {qs("Freigegeben: " + ByteFormat::fileSize(0)), "1 Eintrag konnte nicht entfernt werden.",
          "• b: Exit 1"}},
        {report({}, 0, {}), true, Banner::Kind::info, "Trockenlauf aktiv", {"Es wird nichts entfernt."}},
        {unrecorded,
         false,
         Banner::Kind::warning,
         "1 ausgewählt: 1 entfernt",
         {qs("Freigegeben: " + ByteFormat::fileSize(5'000'000)),
          qs("Warnung: Nicht gespeichert. Dieser Lauf erscheint nicht im Verlauf und lässt sich hier nicht "
             "rückgängig machen.")}},
    };
    for (const auto& c : cases) {
        const auto text = removalResultText(c.report, c.dryRun);
        EXPECT_EQ(text.kind, c.kind) << c.title.toStdString();
        EXPECT_EQ(text.title, c.title);
        EXPECT_EQ(text.lines, c.lines) << c.title.toStdString();
    }
    const auto crowded =
        removalResultText(report({failed}, 0, std::vector<std::string>(20, "x: Exit 1")), false);
    ASSERT_EQ(crowded.lines.size(), 2 + 15 + 1);
    EXPECT_EQ(crowded.lines.back(), "… und 5 weitere Einträge");
}

} // namespace
} // namespace velmora
