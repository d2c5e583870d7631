#include "Doubles/TempTree.hpp"
#include "Removal/RemovalJournal.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::testing;
namespace fs = std::filesystem;

TEST(RemovalJournal, KeepsTheNewestRunsUserOnlyAndSetsACorruptFileAsideThenRecordsOn) {
    TempTree t;
    RemovalJournal journal(t / "Velmora2/removals.json");
    std::vector<JournalRun> runs(201);
    for (int k = 0; k < 201; ++k) {
        runs[k].runID = std::to_string(1000 + k);
        runs[k].time = std::chrono::system_clock::time_point(std::chrono::seconds(k));
    }
    t.file("Velmora2/removals.json", RemovalJournal::encode({runs.begin(), runs.end() - 1}));

    ASSERT_TRUE(journal.append(runs.back()));
    const auto kept = journal.runs();
    ASSERT_EQ(kept.size(), RemovalJournal::maximumRuns);
    EXPECT_EQ(kept.front().runID, "1200");
    EXPECT_EQ(kept.back().runID, "1001"); // the oldest went
    EXPECT_EQ(fs::status(journal.file()).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);

    const std::string damage = "[{\"runID\": \"1\", \"time\": 5";
    t.file("Velmora2/removals.json", damage);
    EXPECT_TRUE(journal.runs().empty());
    runs[7].items = {
        {{"appCaches.a", ""},
         "/c/x",
         "/c/x",
         "trash",
         "removed",
         std::nullopt,
         300,
         TrashPlacement{"/t/files/x", "/t/info/x.trashinfo", {1, 2, FileIdentity::Kind::folder, 9}},
         false}};
    ASSERT_TRUE(journal.append(runs[7]));
    EXPECT_EQ(contentOf(journal.quarantineFile()), damage);
    EXPECT_EQ(journal.runs(), std::vector<JournalRun>{runs[7]});
}
