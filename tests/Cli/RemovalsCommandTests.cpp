#include "Cli/CliTestSupport.hpp"
#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace velmora;
using namespace velmora::testing;
namespace fs = std::filesystem;

// clean --json on a Mac-shaped home (DerivedData is deleted, the simulator logs and the Spotify cache
// go to the Trash); the journal then shows that run.
TEST(RemovalsCommand, CleanJsonPrintsTheRunThatRemovalsThenShows) {
    const CliTree mac;
    const auto& tree = mac.tree;
    tree.file("Users/anna/Library/Developer/Xcode/DerivedData/App-abc/Build/x.o", std::string(7000, 'x'));
    tree.file("Users/anna/Library/Logs/CoreSimulator/sim.log", "simulator log");
    tree.file("Users/anna/Library/Application Support/Spotify/PersistentCache/Storage/a", "music");
    const auto run = [&](std::vector<std::string> words) { return mac.run(std::move(words)); };

    auto cli = run({"clean", "--safe", "--json"});
    EXPECT_EQ(cli.status, 2);
    EXPECT_THAT(cli.err, HasSubstr("--json geht nur zusammen mit --yes oder --dry-run"));
    EXPECT_TRUE(
        nlohmann::json::parse(run({"clean", "--safe", "--json", "--dry-run"}).out)["runID"].is_null());
    EXPECT_EQ(run({"removals"}).out, "Noch keine Entfernung protokolliert.\n");

    cli = run({"clean", "--safe", "--json", "--yes"});
    ASSERT_EQ(cli.status, 0) << cli.err;
    const auto done = nlohmann::json::parse(cli.out);
    EXPECT_EQ(done.size(), 7u) << done;
    ASSERT_EQ(done["results"].size(), 3u);
    std::int64_t deleted = 0, trashed = 0;
    for (const auto& result : done["results"]) {
        EXPECT_EQ(result.size(), 7u) << result; // findingID, itemID, path, method, outcome, reason, size
        EXPECT_EQ(result["outcome"], "removed");
        (result["method"] == "delete" ? deleted : trashed) += result["size"].get<std::int64_t>();
    }
    EXPECT_TRUE(deleted * trashed > 0 && done["freedBytes"] == deleted && done["trashedBytes"] == trashed);
    EXPECT_TRUE(done["counts"]["removed"] == 3 && done["freeBefore"].is_number() &&
                done["freeAfter"].is_number());

    const auto runID = done["runID"].get<std::string>();
    const auto runs = nlohmann::json::parse(run({"removals", "--json"}).out);
    ASSERT_TRUE(runs.size() == 1 && runs[0]["runID"] == runID);
    EXPECT_THAT(run({"removals"}).out, HasSubstr(runID + "  "));
    const auto one = run({"removals", runID});
    EXPECT_THAT(one.out, HasSubstr("3 ausgewählt: 3 entfernt\n"));
    for (const auto& item : runs[0]["items"]) {
        EXPECT_TRUE(item["restored"] == false && item["trash"].is_null() == (item["method"] == "delete"));
        const auto entry = item["trash"].is_null() ? "–" : item["trash"]["entry"].get<std::string>();
        EXPECT_TRUE(item["trash"].is_null() || present(entry)) << entry;
        EXPECT_THAT(one.out, HasSubstr(item["trash"].is_null() ? "direkt gelöscht · entfernt · "
                                                               : "  liegt im Papierkorb: " + entry + "\n"));
    }
    EXPECT_EQ(nlohmann::json::parse(run({"removals", runID, "--json"}).out), runs[0]);
    // An entry no longer in the Trash is not claimed to lie there; the JSON keeps the journal's record.
    for (const auto& item : runs[0]["items"])
        if (!item["trash"].is_null())
            fs::remove_all(item["trash"]["entry"].get<std::string>());
    EXPECT_THAT(run({"removals", runID}).out,
                HasSubstr("  nicht mehr im Papierkorb (geleert oder verschoben): "));
    EXPECT_EQ(nlohmann::json::parse(run({"removals", runID, "--json"}).out), runs[0]);

    cli = run({"removals", "nope"});
    EXPECT_EQ(cli.status, 1);
    EXPECT_THAT(cli.err, HasSubstr("Kein solcher Lauf im Protokoll der Entfernungen: nope"));
}
