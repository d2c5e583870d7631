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
using namespace velmora::testing;
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

TEST(FreedesktopTrashEmptier, KeepsTheRecordOfAStayingItemFollowsNoLinkAndMeasuresWhatWent) {
    DesktopTrash t;
    EXPECT_EQ(t.emptier.empty(true), 0);
    EXPECT_EQ(namesIn(t.trash / "info").size(), 3u); // dry run
    if (FrozenFolder frozen(t.trash / "files/ordner/tief"); frozen.active()) {
        EXPECT_FALSE(t.emptier.empty(false));
        EXPECT_EQ(namesIn(t.trash / "info"), std::vector<std::string>{"ordner.trashinfo"});
        EXPECT_EQ(namesIn(t.trash / "files"), std::vector<std::string>{"ordner"});
    }
    const auto before = t.emptier.size();
    const auto freed = t.emptier.empty(false);
    ASSERT_TRUE(freed && before && *before >= 64 * 1024) << freed.error().message;
    EXPECT_EQ(*freed, *before);
    EXPECT_TRUE(namesIn(t.trash / "files").empty() && namesIn(t.trash / "info").empty());
    EXPECT_EQ(contentOf(t.outside), "bleibt");

    fs::remove(t.trash / "files"); // a link in its place leads out of the Trash: nothing is touched
    t.tree.link(t.trash / "files", t.outside.parent_path());
    EXPECT_FALSE(t.emptier.empty(false));
    EXPECT_EQ(contentOf(t.outside), "bleibt");
}

} // namespace
} // namespace velmora::test
