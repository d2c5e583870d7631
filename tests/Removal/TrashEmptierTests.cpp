#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "Removal/FinderTrashEmptier.hpp"
#include "Removal/FreedesktopTrashEmptier.hpp"

#include <gtest/gtest.h>

#include <deque>

namespace velmora::test {
namespace {

namespace fs = std::filesystem;
using velmora::testing::TempTree;
using Kind = EmptyTrashError::Kind;

// Answers each measurement with the next of the given sizes, as if the Finder had emptied in between.
struct SizeSequence final : SizeMeasurer {
    mutable std::deque<std::int64_t> sizes;
    explicit SizeSequence(std::deque<std::int64_t> s) : sizes(std::move(s)) {}
    std::int64_t size(const fs::path&, StopToken) const override {
        const auto next = sizes.front();
        sizes.pop_front();
        return next;
    }
};

TEST(FinderTrashEmptier, RunsTheFinderLineOnceAndMapsEveryFailure) {
    TempTree tree;
    const auto trash = tree.folder("Users/anna/.Trash");
    const std::string rest(249, 'x');
    using Answer = ScriptedCommandRunner::Outcome;
    const auto failed = [](std::string text) { return std::unexpected(EmptyTrashError{Kind::failed, text}); };
    // What osascript answers, the size after it (before: 5000), what emptying returns.
    const std::vector<std::tuple<Answer, std::int64_t, std::expected<std::int64_t, EmptyTrashError>>> cases{
        {CommandResult{0, "", ""}, 1000, 4000},
        {CommandResult{0, "", ""}, 6000, 0}, // grew meanwhile: never below 0
        {CommandResult{1, "", "execution error: Not authorised (-1743)"}, 0,
         std::unexpected(EmptyTrashError{Kind::automationDenied, ""})},
        {CommandResult{1, "", ""}, 0, failed("Exit 1")},
        {CommandResult{2, "", "\n  Finder antwortet nicht \n"}, 0, failed("Finder antwortet nicht")},
        {CommandResult{1, "", "ü" + rest}, 0, failed("ü" + rest.substr(0, 199) + "…")},
        {std::unexpected(CommandError{CommandError::Kind::timeout, ""}), 0, failed("Zeitüberschreitung")},
    };
    for (const auto& [answer, after, want] : cases) {
        auto runner = std::make_shared<ScriptedCommandRunner>();
        runner->unscripted(answer);
        const FinderTrashEmptier emptier(
            runner, "/usr/bin/osascript", trash,
            std::make_shared<SizeSequence>(std::deque<std::int64_t>{5000, after}));
        EXPECT_EQ(emptier.empty(false), want) << (answer ? answer->standardError : "timeout");
        ASSERT_EQ(
            runner->commandLines(),
            std::vector<std::string>{"/usr/bin/osascript -e 'tell application \"Finder\" to empty trash'"});
        EXPECT_EQ(runner->calls()[0].timeout, std::chrono::seconds(600));
    }
    auto runner = std::make_shared<ScriptedCommandRunner>();
    EXPECT_EQ(
        FinderTrashEmptier(runner, "/usr/bin/osascript", trash, std::make_shared<SizeMeter>()).empty(true),
        0);
    EXPECT_TRUE(runner->calls().empty()); // a dry run asks nobody
}

// A Trash holding a file, a folder and a link that leads out of it, each with its record; beside it a
// file the link names, which must survive.
struct DesktopTrash {
    TempTree tree;
    fs::path home = tree.folder("home/anna");
    fs::path trash = home / ".local/share/Trash";
    fs::path outside = tree.file("home/anna/Dokumente/brief.txt", "bleibt");
    FreedesktopTrashEmptier emptier{trash, home, std::make_shared<SizeMeter>()};

    DesktopTrash() {
        tree.filledFile(trash / "files/a.bin", 64 * 1024);
        tree.filledFile(trash / "files/ordner/tief/b.bin", 64 * 1024);
        tree.link(trash / "files/verweis", outside);
        for (const char* name : {"a.bin", "ordner", "verweis"})
            tree.file(trash / "info" / (std::string(name) + ".trashinfo"), "[Trash Info]\n");
    }
};

TEST(FreedesktopTrashEmptier, EmptiesFilesAndRecordsWithoutFollowingALinkAndMeasuresWhatWent) {
    DesktopTrash t;
    const auto before = t.emptier.size();
    ASSERT_TRUE(before && *before >= 128 * 1024);
    EXPECT_EQ(t.emptier.empty(true), 0);
    EXPECT_EQ(t.emptier.size(), before); // dry run
    const auto freed = t.emptier.empty(false);
    ASSERT_TRUE(freed) << freed.error().message;
    EXPECT_EQ(*freed, *before);
    EXPECT_TRUE(velmora::testing::namesIn(t.trash / "files").empty());
    EXPECT_TRUE(velmora::testing::namesIn(t.trash / "info").empty());
    EXPECT_EQ(velmora::testing::contentOf(t.outside), "bleibt");
    EXPECT_EQ(t.emptier.size(), 0);
}

TEST(FreedesktopTrashEmptier,
     AFilesFolderThatIsALinkFailsBeforeAnythingIsTouchedAndAStayingItemKeepsItsRecord) {
    DesktopTrash t;
    fs::remove_all(t.trash / "files");
    const auto elsewhere = t.tree.file("home/anna/Dokumente/wichtig/x.txt", "bleibt");
    t.tree.link(t.trash / "files", elsewhere.parent_path());
    const auto result = t.emptier.empty(false);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, Kind::failed);
    EXPECT_TRUE(fs::exists(elsewhere));
    EXPECT_EQ(velmora::testing::namesIn(t.trash / "info").size(), 3u);

    DesktopTrash locked;
    velmora::testing::FrozenFolder frozen(locked.trash / "files/ordner/tief");
    if (!frozen.active())
        GTEST_SKIP() << "cannot make a folder refuse changes here";
    EXPECT_FALSE(locked.emptier.empty(false));
    EXPECT_EQ(velmora::testing::namesIn(locked.trash / "info"), std::vector<std::string>{"ordner.trashinfo"});
    EXPECT_EQ(velmora::testing::namesIn(locked.trash / "files"), std::vector<std::string>{"ordner"});
}

} // namespace
} // namespace velmora::test
