#include "Removal/AdminRemover.hpp"

#include "Doubles/FakePrivilegedExecutor.hpp"
#include "Doubles/ShellPrivilegedExecutor.hpp"
#include "Doubles/TempTree.hpp"
#include "Removal/AdminScriptBuilder.hpp"
#include "Removal/RemovalTestSupport.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

#include <set>

using namespace velmora;
using namespace velmora::test;
using velmora::testing::TempTree;

namespace {

FindingItem item(std::string id, std::optional<std::int64_t> size = std::nullopt) {
    FindingItem i;
    i.id = std::move(id);
    i.name = i.id;
    i.size = size;
    return i;
}

FindingSelection adminFinding(std::string key, std::vector<FindingItem> items, std::vector<AdminStep> steps,
                              std::optional<std::vector<FindingItem>> selected = std::nullopt) {
    Finding finding;
    finding.id = FindingID{"system.admin", std::move(key)};
    finding.items = items;
    finding.method = RemovalMethod::admin(std::move(steps));
    return FindingSelection{finding, selected.value_or(items)};
}

ItemResult result(const std::string& key, std::string itemID, ItemOutcome outcome) {
    return ItemResult{FindingID{"system.admin", key}, std::move(itemID), std::move(outcome)};
}

const SafetyCheck allowAll = [](const std::filesystem::path&) { return std::optional<std::string>(); };

AdminStep rmPlist(const std::string& label, std::string itemID) {
    return step("/bin/rm", {"-f", "/Library/LaunchDaemons/" + label + ".plist"}, std::move(itemID), true);
}

// Two services, each stopped and then its file deleted.
FindingSelection twoDaemons() {
    return adminFinding("daemons", {item("a", 100), item("b", 200)},
                        {bootout("org.example.a", "a"), rmPlist("org.example.a", "a"),
                         bootout("org.example.b", "b"), rmPlist("org.example.b", "b")});
}

// While alive, the process works in another folder, so that relative paths a broken quoting would
// create land in the test's temp tree.
class ScopedWorkingDirectory {
public:
    explicit ScopedWorkingDirectory(const std::filesystem::path& where)
        : previous_(std::filesystem::current_path()) {
        std::filesystem::current_path(where);
    }
    ~ScopedWorkingDirectory() { std::filesystem::current_path(previous_); }

private:
    std::filesystem::path previous_;
};

} // namespace

TEST(AdminRemover, EveryItemGetsItsOwnOutcomeOnlyAcceptedStepsEnterTheOneScriptAndItsEndIsTheirs) {
    auto fake = std::make_shared<FakePrivilegedExecutor>(AdminRunResult::completed({113, 0, 5, 125, 0}));
    AdminRemover remover(fake, allowAll, PlatformLayout::macOS);

    auto daemons = twoDaemons();
    daemons.finding.items.push_back(item("c")); // no step names it
    daemons.items = {item("a", 100), item("b", 200), item("c"), item("ghost")};
    auto mixed = adminFinding("mixed", {item("m1"), item("m2")},
                              {bootout("org.example.m", "m1"), step("/usr/bin/log", {"erase", "--all"})});
    auto snapshot = adminFinding("snapshot", {item("s")},
                                 {step("/usr/bin/tmutil", {"deletelocalsnapshots", "2024-5-1"})});
    // One step for two items: it serves the finding as a whole.
    auto logs = adminFinding("logs", {item("l1", 7), item("l2")}, {step("/usr/bin/log", {"erase", "--all"})});
    auto notAdmin = adminFinding("trash", {item("t")}, {});
    notAdmin.finding.method = RemovalMethod::trash();
    auto nothingChosen =
        adminFinding("unchosen", {item("u")}, {step("/usr/bin/log", {"erase", "--all"})}, {{}});

    const auto results = remover.remove({daemons, mixed, snapshot, logs, notAdmin, nothingChosen}, false);
    EXPECT_EQ(results, (std::vector<ItemResult>{
                           result("daemons", "a", ItemOutcome::removed(100)),
                           result("daemons", "b", ItemOutcome::failed("Exit 5")),
                           result("daemons", "c", ItemOutcome::failed("Nichts auszuführen")),
                           result("daemons", "ghost", ItemOutcome::failed("Unbekanntes Item")),
                           result("mixed", "m1", ItemOutcome::failed("Ungültige Schritte")),
                           result("mixed", "m2", ItemOutcome::failed("Ungültige Schritte")),
                           result("snapshot", "s", ItemOutcome::failed("Unbekanntes Admin-Werkzeug")),
                           result("logs", "l1", ItemOutcome::removed(7)),
                           result("logs", "l2", ItemOutcome::removed()),
                           result("trash", "t", ItemOutcome::failed("Falsche Methode")),
                       }));

    const auto scripts = fake->scripts();
    ASSERT_EQ(scripts.size(), 1u);
    const auto& script = scripts[0];
    EXPECT_EQ(script.stepCount, 5u);
    const std::vector<AdminStep> accepted{bootout("org.example.a", "a"), rmPlist("org.example.a", "a"),
                                          bootout("org.example.b", "b"), rmPlist("org.example.b", "b"),
                                          step("/usr/bin/log", {"erase", "--all"})};
    EXPECT_EQ(script.text, AdminScriptBuilder::script(accepted, script.nonce));

    // A failed or cancelled run gives every runnable item the same end.
    for (const auto& [run, end] : std::vector<std::pair<AdminRunResult, ItemOutcome>>{
             {AdminRunResult::failed("Zeitüberschreitung"), ItemOutcome::failed("Zeitüberschreitung")},
             {AdminRunResult::cancelled(), ItemOutcome::cancelled()}}) {
        fake->respond(run);
        EXPECT_EQ(remover.remove({twoDaemons(), snapshot}, false),
                  (std::vector<ItemResult>{
                      result("daemons", "a", end), result("daemons", "b", end),
                      result("snapshot", "s", ItemOutcome::failed("Unbekanntes Admin-Werkzeug"))}));
    }
}

TEST(AdminRemover, StatusesMapBackToItems) {
    AdminRemover remover(std::make_shared<FakePrivilegedExecutor>(), allowAll, PlatformLayout::macOS);
    const auto prepared = remover.prepare({twoDaemons()});
    const auto outcomes = [&](std::vector<std::optional<std::int32_t>> statuses) {
        std::vector<ItemOutcome> list;
        for (const auto& r : AdminRemover::results(prepared, AdminRunResult::completed(std::move(statuses))))
            list.push_back(r.outcome);
        return list;
    };
    const auto removedA = ItemOutcome::removed(100), removedB = ItemOutcome::removed(200);
    EXPECT_EQ(outcomes({0, 0, 3, 0}), (std::vector{removedA, removedB}));
    EXPECT_EQ(outcomes({113, 1, 0, 2}),
              (std::vector{ItemOutcome::failed("Exit 1"), ItemOutcome::failed("Exit 2")}));
    // A missing line outweighs a failure status; a -1 on the line counts as missing too.
    EXPECT_EQ(outcomes({5, std::nullopt, -1, 0}), (std::vector{ItemOutcome::failed("Nicht ausgeführt"),
                                                               ItemOutcome::failed("Nicht ausgeführt")}));
    EXPECT_EQ(outcomes({0, 0}), (std::vector{removedA, ItemOutcome::failed("Nicht ausgeführt")}));

    // 3 and 113 only mean "stopped" for a service stop, not for a file removal.
    const auto cache = remover.prepare(
        {adminFinding("cache", {item("x")}, {step("/bin/rm", {"-rf", "/Library/Caches/x"})})});
    EXPECT_EQ(AdminRemover::results(cache, AdminRunResult::completed({3})).at(0).outcome,
              ItemOutcome::failed("Exit 3"));
    EXPECT_EQ(AdminRemover::results(cache, AdminRunResult::completed({113})).at(0).outcome,
              ItemOutcome::failed("Exit 113"));
}

TEST(AdminRemover, NoPromptWhenNothingIsToRunOrInADryRun) {
    auto fake = std::make_shared<FakePrivilegedExecutor>(AdminRunResult::completed({0, 0, 0, 0}));
    int guardCalls = 0;
    AdminRemover remover(
        fake,
        [&](const std::filesystem::path&) -> std::optional<std::string> {
            ++guardCalls;
            return "Gesperrt";
        },
        PlatformLayout::macOS);
    const auto cache = adminFinding("cache", {item("c")}, {step("/bin/rm", {"-rf", "/Library/Caches/c"})});
    const auto bad = adminFinding("bad", {item("x")}, {bootout("com.apple.foo")});

    EXPECT_EQ(remover.remove({cache, bad}, false),
              (std::vector<ItemResult>{result("cache", "c", ItemOutcome::failed("Gesperrt")),
                                       result("bad", "x", ItemOutcome::failed("Ungültiges Dienst-Label"))}));
    EXPECT_EQ(guardCalls, 1);

    EXPECT_EQ(remover.remove({twoDaemons(), bad}, true),
              (std::vector<ItemResult>{result("daemons", "a", ItemOutcome::skipped("Trockenlauf")),
                                       result("daemons", "b", ItemOutcome::skipped("Trockenlauf")),
                                       result("bad", "x", ItemOutcome::skipped("Trockenlauf"))}));
    EXPECT_EQ(guardCalls, 1);

    StopSource stop;
    stop.request_stop();
    const auto logs = adminFinding("logs", {item("l")}, {step("/usr/bin/log", {"erase", "--all"})});
    EXPECT_EQ(remover.remove({logs, bad}, false, stop.get_token()),
              (std::vector<ItemResult>{result("logs", "l", ItemOutcome::cancelled()),
                                       result("bad", "x", ItemOutcome::failed("Ungültiges Dienst-Label"))}));
    EXPECT_TRUE(fake->scripts().empty());
}

TEST(AdminRemover, RealShellRemovesExactlyTheNamedPathHoweverItIsSpelt) {
    TempTree root;
    const std::filesystem::path caches = root / "/Library/Caches";
    std::filesystem::create_directories(root / "/cwd");
    // Each piece would do harm if the shell saw it unquoted: split words, expand, run commands, glob.
    // Should quoting ever break, everything it could reach is relative to the working directory, which
    // is inside the temp tree – never the home folder.
    const std::string hostile =
        "it's a \"test\" $(touch pwned1) `touch pwned2`; touch pwned3\ntouch pwned4 & *"
        " \\ ä ${PWD} $PWD";
    for (const std::string& name : {hostile, std::string("it's"), std::string("a"), std::string("test"),
                                    std::string("ä"), std::string("keep")})
        root.file("/Library/Caches/" + name);
    std::filesystem::create_directories(caches / (hostile + ".d") / "inner");

    auto shell = std::make_shared<ShellPrivilegedExecutor>();
    AdminRemover remover(shell, allowAll, PlatformLayout::macOS, root.root());
    const auto finding =
        adminFinding("hostile", {item("file"), item("folder")},
                     {step("/bin/rm", {"-f", (caches / hostile).string()}, "file"),
                      step("/bin/rm", {"-rf", "--", (caches / (hostile + ".d")).string()}, "folder")});
    std::vector<ItemResult> results;
    {
        ScopedWorkingDirectory cwd(root / "/cwd");
        results = remover.remove({finding}, false);
    }
    EXPECT_EQ(results, (std::vector<ItemResult>{result("hostile", "file", ItemOutcome::removed()),
                                                result("hostile", "folder", ItemOutcome::removed())}));

    std::set<std::string> left;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root.root()))
        left.insert(entry.path().lexically_relative(root.root()).string());
    EXPECT_EQ(left, (std::set<std::string>{"Library", "Library/Caches", "Library/Caches/it's",
                                           "Library/Caches/a", "Library/Caches/test", "Library/Caches/ä",
                                           "Library/Caches/keep", "cwd"}));
}
