#include "Doubles/ScriptedCommandRunner.hpp"
#include "Doubles/TempTree.hpp"
#include "Platform/SizeMeter.hpp"
#include "Removal/FinderTrashEmptier.hpp"
#include "Removal/FreedesktopTrashEmptier.hpp"

#include <gtest/gtest.h>

#include <deque>
#include <mutex>

namespace velmora::test {
namespace {

namespace fs = std::filesystem;
using velmora::testing::TempTree;
using Kind = EmptyTrashError::Kind;

// Answers each measurement with the next of the given sizes, as if the Finder had emptied in between.
class SizeSequence final : public SizeMeasurer {
public:
    explicit SizeSequence(std::deque<std::int64_t> sizes) : sizes_(std::move(sizes)) {}
    std::int64_t size(const fs::path&, StopToken) const override {
        const std::lock_guard lock(mutex_);
        const auto next = sizes_.front();
        sizes_.pop_front();
        return next;
    }

private:
    mutable std::mutex mutex_;
    mutable std::deque<std::int64_t> sizes_;
};

TEST(FinderTrashEmptier, RunsTheFinderLineOnceAndMapsEveryFailure) {
    TempTree tree;
    const auto trash = tree.folder("Users/anna/.Trash");
    const std::string rest(249, 'x');
    struct Case {
        const char* name;
        std::function<void(ScriptedCommandRunner::Expectation&)> script;
        std::expected<std::int64_t, EmptyTrashError> want;
    };
    const std::vector<Case> cases{
        {"freed", [](auto& e) { e.returns(0); }, 4000},
        {"grew meanwhile", [](auto& e) { e.returns(0); }, 0},
        {"refused", [](auto& e) { e.returns(1, "", "execution error: Not authorised (-1743)"); },
         std::unexpected(EmptyTrashError{Kind::automationDenied, ""})},
        {"no output", [](auto& e) { e.returns(1); },
         std::unexpected(EmptyTrashError{Kind::failed, "Exit 1"})},
        {"trimmed", [](auto& e) { e.returns(2, "", "\n  Finder antwortet nicht \n"); },
         std::unexpected(EmptyTrashError{Kind::failed, "Finder antwortet nicht"})},
        {"long", [&](auto& e) { e.returns(1, "", "ü" + rest); },
         std::unexpected(EmptyTrashError{Kind::failed, "ü" + rest.substr(0, 199) + "…"})},
        {"timeout", [](auto& e) { e.fails(CommandError::Kind::timeout); },
         std::unexpected(EmptyTrashError{Kind::failed, "Zeitüberschreitung"})},
    };
    for (const auto& c : cases) {
        auto runner = std::make_shared<ScriptedCommandRunner>();
        c.script(runner->expect("/usr/bin/osascript"));
        const auto sizes = std::string_view(c.name) == "grew meanwhile"
                               ? std::deque<std::int64_t>{10, 20}
                               : std::deque<std::int64_t>{5000, 1000};
        const FinderTrashEmptier emptier(runner, "/usr/bin/osascript", trash,
                                         std::make_shared<SizeSequence>(sizes));
        EXPECT_EQ(emptier.empty(false), c.want) << c.name;
        ASSERT_EQ(runner->calls().size(), 1u) << c.name;
        EXPECT_EQ(runner->calls()[0].arguments,
                  (std::vector<std::string>{"-e", "tell application \"Finder\" to empty trash"}));
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
