#include "ViewFixture.hpp"

#include "Findings/ByteFormat.hpp"
#include "Views/CleanupTabView.hpp"
#include "Views/DiskBar.hpp"

#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

namespace velmora {
namespace {

using testing::qs;

const FindingID spotify{"appCaches.spotify", ""};
const FindingID xcode{"xcode.derivedData", ""};

struct CleanupTabViewTest : testing::ViewFixture {
    CleanupTabViewTest() {
        // Reported last, shown first: the tab keeps the categories' own order.
        auto unmeasured =
            testing::demoFinding("ai.models", "KI-Modelle", Risk::review, {"/home/anna/.ollama"}, 0);
        unmeasured.size.reset();
        findings.push_back(unmeasured);
        auto hint =
            testing::demoFinding("personal.photos", "Fotos", Risk::hintOnly, {"/home/anna/Bilder"}, 9);
        hint.method = RemovalMethod::hint(HintAction{HintAction::OpenURL{"https://example.org"}});
        findings.push_back(hint);
        auto together = testing::demoFinding("brew.cache", "Homebrew-Cache", Risk::review,
                                             {"/home/anna/brew/a", "/home/anna/brew/b"}, 7'000);
        together.itemsSelectable = false;
        findings.push_back(together);
    }
    static QStringList topLevelTexts(const CleanupTabView& view) {
        QStringList texts;
        for (int i = 0; i < view.tree()->topLevelItemCount(); ++i)
            if (!view.tree()->topLevelItem(i)->isHidden())
                texts << view.tree()->topLevelItem(i)->text(0);
        return texts;
    }
    static bool shown(CleanupTabView& view, const FindingID& id) {
        const QTreeWidgetItem* row = view.findingRow(id);
        return row && !row->isHidden() && !row->parent()->isHidden();
    }
};

TEST_F(CleanupTabViewTest, ListsTheTabsCategoriesInTheirOrderWithTitleSizeAndPill) {
    auto& model = scanned();
    CleanupTabView storage(model, AppTab::storage);
    CleanupTabView developer(model, AppTab::developer);
    EXPECT_EQ(topLevelTexts(storage), (QStringList{"KI-Reste", "App-Caches", "Persönliche Daten", "Apps"}));
    EXPECT_EQ(topLevelTexts(developer), (QStringList{"Xcode", "Homebrew", "Sprachen & Paketmanager"}));

    const struct {
        CleanupTabView& view;
        FindingID id;
        const char* title;
        std::string size;
        const char* pill;
        bool checkable;
    } rows[] = {
        {storage, spotify, "Spotify-Cache", ByteFormat::fileSize(4'000'000), "Sicher", true},
        {storage, {"ai.models", ""}, "KI-Modelle", "Größe unbekannt", "Prüfen", true},
        {storage, {"personal.photos", ""}, "Fotos", ByteFormat::fileSize(9), "Nur Hinweis", false},
        {developer, xcode, "Xcode DerivedData", ByteFormat::fileSize(3'000'000'000), "Sicher", true},
    };
    for (const auto& expected : rows) {
        const QTreeWidgetItem* row = expected.view.findingRow(expected.id);
        ASSERT_NE(row, nullptr) << expected.title;
        EXPECT_EQ(row->text(CleanupTabView::nameColumn), expected.title);
        EXPECT_EQ(row->text(CleanupTabView::sizeColumn), qs(expected.size)) << expected.title;
        EXPECT_EQ(row->text(CleanupTabView::riskColumn), expected.pill) << expected.title;
        EXPECT_EQ(bool(row->flags() & Qt::ItemIsUserCheckable), expected.checkable) << expected.title;
        EXPECT_TRUE(row->text(CleanupTabView::detailColumn).contains("Erklärung zu")) << expected.title;
    }
    EXPECT_EQ(storage.findingRow(xcode), nullptr);
    EXPECT_EQ(developer.findingRow(spotify), nullptr);
}

TEST_F(CleanupTabViewTest, TickingFindingsAndItemsChangesTheSelectionAndWhatTheDiskBarWouldFree) {
    auto& model = scanned();
    CleanupTabView view(model, AppTab::storage);
    // The safe findings of both tabs come preselected.
    const std::int64_t preselected = 4'000'000 + 3'000'000'000;
    EXPECT_EQ(view.diskBar()->wouldFree(), preselected);
    EXPECT_TRUE(view.diskBar()->caption().contains(qs(ByteFormat::fileSize(preselected))));

    QTreeWidgetItem* row = view.findingRow(spotify);
    row->setCheckState(0, Qt::Unchecked);
    EXPECT_FALSE(model.isSelected(spotify));
    EXPECT_EQ(view.diskBar()->wouldFree(), 3'000'000'000);

    view.populateItems(row);
    ASSERT_EQ(row->childCount(), 2);
    row->child(1)->setCheckState(0, Qt::Checked);
    EXPECT_EQ(model.selection().count(SelectionEntry{spotify, "/home/anna/.cache/spotify/b"}), 1u);
    EXPECT_EQ(row->checkState(0), Qt::PartiallyChecked);
    EXPECT_EQ(view.diskBar()->wouldFree(), 3'002'000'000);
    EXPECT_TRUE(view.removeButton()->text().contains(qs(ByteFormat::fileSize(3'002'000'000))));

    // Items that only go together have no boxes of their own.
    CleanupTabView developer(model, AppTab::developer);
    QTreeWidgetItem* brew = developer.findingRow({"brew.cache", ""});
    developer.populateItems(brew);
    ASSERT_EQ(brew->childCount(), 2);
    EXPECT_FALSE(brew->child(0)->flags() & Qt::ItemIsUserCheckable);
    EXPECT_TRUE(developer.findingRow(xcode)->checkState(0) == Qt::Checked);
    model.deselect(xcode);
    EXPECT_EQ(developer.findingRow(xcode)->checkState(0), Qt::Unchecked);
    EXPECT_EQ(developer.diskBar()->wouldFree(), 2'000'000);
}

TEST_F(CleanupTabViewTest, KeepingTakesAFindingOutOfTheSelectionAndOffersToUndoIt) {
    auto& model = scanned();
    CleanupTabView view(model, AppTab::storage);
    view.tree()->setCurrentItem(view.findingRow(spotify));
    EXPECT_EQ(view.keepButton()->text(), "Behalten");
    QTest::mouseClick(view.keepButton(), Qt::LeftButton);
    EXPECT_TRUE(model.kept().contains(spotify));
    EXPECT_FALSE(model.isSelected(spotify));
    EXPECT_EQ(view.keepButton()->text(), "Nicht mehr behalten");
    EXPECT_FALSE(view.findingRow(spotify)->flags() & Qt::ItemIsUserCheckable);
    EXPECT_EQ(view.diskBar()->wouldFree(), 3'000'000'000);
    model.select(spotify);
    EXPECT_FALSE(model.isSelected(spotify));

    QTest::mouseClick(view.keepButton(), Qt::LeftButton);
    EXPECT_FALSE(model.kept().contains(spotify));
    EXPECT_EQ(view.keepButton()->text(), "Behalten");
    EXPECT_TRUE(view.findingRow(spotify)->flags() & Qt::ItemIsUserCheckable);
}

TEST_F(CleanupTabViewTest, SearchFiltersTitlesSummariesAndItemNamesIgnoringCase) {
    auto& model = scanned();
    CleanupTabView storage(model, AppTab::storage);
    CleanupTabView developer(model, AppTab::developer);
    QTest::keyClicks(storage.searchField(), "SPOTIFY");
    EXPECT_TRUE(shown(storage, spotify));
    EXPECT_FALSE(shown(storage, {"apps.leftovers", ""}));
    EXPECT_EQ(topLevelTexts(storage), QStringList{"App-Caches"});

    const struct {
        const char* text;
        bool xcodeShown;
        bool npmShown;
    } searches[] = {{"erklärung zu xcode", true, false}, {"_CACACHE", false, true}, {"", true, true}};
    for (const auto& search : searches) {
        developer.searchField()->setText(search.text);
        EXPECT_EQ(shown(developer, xcode), search.xcodeShown) << search.text;
        EXPECT_EQ(shown(developer, {"languages.npm", ""}), search.npmShown) << search.text;
    }
    // A finding found through one of its entries opens with that entry showing.
    developer.searchField()->setText("_cacache");
    EXPECT_TRUE(developer.findingRow({"languages.npm", ""})->isExpanded());
}

TEST_F(CleanupTabViewTest, ManyEntriesComeAPageAtATime) {
    std::vector<std::filesystem::path> paths;
    for (int i = 0; i < 450; ++i)
        paths.push_back("/home/anna/.cache/many/" + std::to_string(i));
    findings.push_back(testing::demoFinding("appCaches.many", "Viele", Risk::review, paths, 10));
    CleanupTabView view(scanned(), AppTab::storage);
    QTreeWidgetItem* row = view.findingRow({"appCaches.many", ""});
    row->setExpanded(true);
    ASSERT_EQ(row->childCount(), 301);
    QTreeWidgetItem* more = row->child(300);
    EXPECT_EQ(more->text(0), "Weitere 150 Einträge zeigen …");
    Q_EMIT view.tree()->itemClicked(more, 0);
    EXPECT_EQ(row->childCount(), 450);
    EXPECT_EQ(row->child(449)->text(0), "449");
}

} // namespace
} // namespace velmora
