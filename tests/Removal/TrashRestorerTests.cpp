#include "Removal/RemovalTestSupport.hpp"
#include "Removal/TrashRestorer.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

using namespace velmora;
using namespace velmora::removaltest;
using ::testing::HasSubstr;
using velmora::testing::contentOf;
using velmora::testing::memoryBackedTempBase;
using velmora::testing::namesIn;
using velmora::testing::TempTree;
using Kind = RestoreOutcome::Kind;

namespace {

TrashLocation locationOf(const Home& home) {
    return home.layout == PlatformLayout::macOS
               ? TrashLocation::home(home.home)
               : TrashLocation::freedesktop(home.home / ".local/share", home.home);
}

class TrashRestore : public ::testing::TestWithParam<PlatformLayout> {
protected:
    Home home{GetParam()};
    std::shared_ptr<RemovalJournal> journal =
        std::make_shared<RemovalJournal>(home.tree / "appdata/removals.json");
};

TEST_P(TrashRestore, PutsBackByteForByteOnceAndLeavesNothingInTheTrash) {
    home.tree.filledFile(home.cache / "deep/er/blob.bin", 300 * 1024);
    home.tree.file(home.cache / "App/data.db", "rows");
    home.tree.link(home.cache / "current", "App");
    const auto before = snapshot(home.cache);
    auto run = runOf({trashedItem(home, home.cache / "deep/er/blob.bin"),
                      trashedItem(home, home.cache / "App"), trashedItem(home, home.cache / "current")});
    fs::remove_all(home.cache / "deep"); // its folders are made again
    run.items.push_back(
        JournalItem{{"x", ""}, "gone", (home.cache / "gone").string(), "delete", "removed", {}, {}, {}});
    ASSERT_TRUE(journal->append(run));
    const TrashRestorer restorer(locationOf(home), home.guard, journal);

    const auto whole = snapshot(home.tree.root());
    EXPECT_EQ(restorer.restore(run, {}, true).count(Kind::wouldRestore), 3u);
    EXPECT_EQ(snapshot(home.tree.root()), whole);

    const auto done = restorer.restore(run, {}, false);
    EXPECT_EQ(done.count(Kind::restored), 3u);
    EXPECT_EQ(done.results.back().outcome,
              (RestoreOutcome{Kind::notRestorable, "Direkt gelöscht – lässt sich nicht zurücklegen."}));
    EXPECT_EQ(snapshot(home.cache), before);
    EXPECT_TRUE(namesIn(home.trashFiles()).empty());
    EXPECT_TRUE(namesIn(home.trashFolder / "info").empty());

    const auto stored = journal->run(run.runID);
    ASSERT_TRUE(stored);
    EXPECT_FALSE(TrashRestorer::hasItemsToRestore(*stored));
    const auto after = snapshot(home.tree.root());
    const auto again = restorer.restore(*stored, {}, false);
    EXPECT_EQ(again.count(Kind::notRestorable), 4u);
    EXPECT_EQ(again.results.front().outcome.reason, alreadyRestoredText);
    EXPECT_EQ(snapshot(home.tree.root()), after);
}

TEST_P(TrashRestore, LeavesTheItemInTheTrashWhenAnythingIsNotAsTheRunLeftIt) {
    using Change = std::function<void(Home&, JournalItem&)>;
    const auto swapFor = [](std::string content) {
        return Change([content](Home& h, JournalItem& item) {
            fs::remove(item.trash->entry);
            h.tree.file(item.trash->entry, content);
        });
    };
    const std::vector<std::tuple<const char*, Change, std::string_view>> cases{
        {"original taken", [](Home& h, JournalItem&) { h.tree.file(h.cache / "sub/x.bin", "new"); },
         occupiedOriginalText},
        {"another file in the Trash slot", swapFor("other"), trashSlotChangedText},
        {"a byte-identical copy in the slot", swapFor("mine"), trashSlotChangedText},
        {"a link in the slot",
         [](Home& h, JournalItem& item) {
             fs::rename(item.trash->entry, h.tree / "moved");
             h.tree.link(item.trash->entry, h.tree / "moved");
         },
         trashSlotChangedText},
        {"a link on the way back",
         [](Home& h, JournalItem&) {
             fs::remove(h.cache / "sub");
             fs::create_directory_symlink(h.tree.folder(h.cache / "elsewhere"), h.cache / "sub");
         },
         "symbolischer Link"},
        {"a guarded original",
         [](Home& h, JournalItem& item) { item.path = (h.documents / "x.bin").string(); }, "Gesperrt: "},
        {"an entry outside the Trash", [](Home& h, JournalItem& item) { item.trash->entry = h.cache / "y"; },
         "Liegt nicht im Papierkorb"},
    };
    for (const auto& [name, change, reason] : cases) {
        SCOPED_TRACE(name);
        Home h(GetParam());
        h.tree.file(h.cache / "sub/x.bin", "mine");
        auto item = trashedItem(h, h.cache / "sub/x.bin");
        change(h, item);
        const auto trash = snapshot(h.trashFolder);
        const auto report = TrashRestorer(locationOf(h), h.guard, nullptr).restore(runOf({item}), {}, false);
        ASSERT_EQ(report.results.size(), 1u);
        EXPECT_EQ(report.results[0].outcome.kind, Kind::left);
        EXPECT_THAT(report.results[0].outcome.reason, HasSubstr(std::string(reason)));
        EXPECT_EQ(snapshot(h.trashFolder), trash);
        EXPECT_NE(contentOf(h.cache / "sub/x.bin"), "mine");
        EXPECT_FALSE(present(h.cache / "elsewhere/x.bin"));
    }
}

TEST_P(TrashRestore, RefusesAnotherVolumeWithoutCopyingOrLeavingFoldersBehind) {
    home.tree.file(home.cache / "sub/x.bin", "mine");
    auto item = trashedItem(home, home.cache / "sub/x.bin");
    fs::remove(home.cache / "sub");
    const auto before = snapshot(home.tree.root());
    const RestoreOutcome refused{Kind::left, std::string(restoreOtherVolumeText)};
    // What a rename between two mounts of one file system says, although both report the same device.
    const auto exdev = [](int, const char*, int, const char*) { return EXDEV; };
    auto report =
        TrashRestorer(locationOf(home), home.guard, journal, exdev).restore(runOf({item}), {}, false);
    EXPECT_EQ(report.results.at(0).outcome, refused);
    EXPECT_EQ(snapshot(home.tree.root()), before);

    // A Trash on a real second file system, where the machine has one.
    TempTree other(memoryBackedTempBase());
    item.trash = TrashPlacement{other.file("Trash/x.bin", "far"), std::nullopt, {}};
    item.trash->identity = *FileIdentity::of(item.trash->entry);
    if (item.trash->identity.device == FileIdentity::of(home.home)->device)
        GTEST_SKIP() << "no second file system";
    report = TrashRestorer({other.root(), other / "Trash", std::nullopt}, home.guard, nullptr)
                 .restore(runOf({item}), {}, false);
    EXPECT_EQ(report.results.at(0).outcome, refused);
    EXPECT_EQ(snapshot(home.tree.root()), before);
    EXPECT_EQ(contentOf(item.trash->entry), "far");
}

INSTANTIATE_TEST_SUITE_P(Layouts, TrashRestore, ::testing::ValuesIn(allPlatformLayouts), layoutName);

} // namespace
