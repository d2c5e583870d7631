// Shared pieces of the removal tests: a user's home in a temp tree in either layout with its guard and
// its real Trash, findings built from paths, journal runs of items really in that Trash, and admin steps
// built briefly.
#pragma once

#include "Doubles/TempTree.hpp"
#include "Findings/AdminStep.hpp"
#include "Findings/Finding.hpp"
#include "Platform/FreedesktopTrash.hpp"
#include "Platform/HomeTrash.hpp"
#include "Platform/PlatformLayout.hpp"
#include "Removal/FindingSelection.hpp"
#include "Removal/ItemOutcome.hpp"
#include "Removal/RemovalJournal.hpp"
#include "Safety/SafetyGuard.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace velmora::removaltest {

namespace fs = std::filesystem;
using testing::present;
using testing::snapshot;
using testing::without;

// anna's home below a temp root: a cache folder the guard allows, a documents folder it protects, and
// the Trash of the layout (~/.Trash, or ~/.local/share/Trash).
struct Home {
    explicit Home(PlatformLayout layout) : layout(layout) {
        const bool mac = layout == PlatformLayout::macOS;
        const fs::path logicalHome = mac ? "/Users/anna" : "/home/anna";
        home = tree.folder(logicalHome.relative_path());
        cache = tree.folder((logicalHome / (mac ? "Library/Caches" : ".cache")).relative_path());
        documents = tree.folder((logicalHome / "Documents").relative_path());
        trashFolder = home / (mac ? ".Trash" : ".local/share/Trash");
        if (!mac)
            tree.folder((logicalHome / ".local/share").relative_path()); // as on every desktop
        guard = std::make_shared<SafetyGuard>(SafetyGuard::live(layout, tree.root(), logicalHome));
        if (mac)
            trash = std::make_shared<HomeTrash>(home);
        else
            trash = std::make_shared<FreedesktopTrash>(
                home / ".local/share",
                [] { return std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000)); },
                home);
    }

    // Where the Trash keeps the moved items themselves.
    fs::path trashFiles() const {
        return layout == PlatformLayout::macOS ? trashFolder : trashFolder / "files";
    }

    PlatformLayout layout;
    testing::TempTree tree;
    fs::path home;
    fs::path cache;
    fs::path documents;
    fs::path trashFolder;
    std::shared_ptr<SafetyGuard> guard;
    std::shared_ptr<Trash> trash;
};

inline std::string layoutName(const ::testing::TestParamInfo<PlatformLayout>& info) {
    return info.param == PlatformLayout::macOS ? "macOS" : "Linux";
}

inline FindingItem itemWithoutPath(std::string id, std::optional<std::int64_t> size = 1000) {
    FindingItem item;
    item.id = id;
    item.name = std::move(id);
    item.size = size;
    return item;
}

inline FindingItem itemAt(const fs::path& path, std::optional<std::int64_t> size = 1000) {
    auto item = itemWithoutPath(path.string(), size);
    item.url = path;
    item.name = path.filename().string();
    return item;
}

inline Finding findingOf(std::string scannerID, RemovalMethod method, std::vector<FindingItem> items,
                         std::string key = {}) {
    Finding finding;
    finding.id = FindingID{std::move(scannerID), std::move(key)};
    finding.title = finding.id.scannerID;
    finding.method = std::move(method);
    finding.items = std::move(items);
    return finding;
}

inline FindingSelection allOf(const Finding& finding) {
    return FindingSelection{finding, finding.items};
}

// "removed", "skipped: <reason>" … per item id, for compact assertions.
inline std::map<std::string, std::string> outcomesByItem(const std::vector<ItemResult>& results) {
    std::map<std::string, std::string> byItem;
    for (const auto& result : results)
        byItem[result.itemID] = result.outcome.text();
    return byItem;
}

// Moves `path` into the home's Trash and records it the way a run does.
inline JournalItem trashedItem(const Home& home, const fs::path& path) {
    JournalItem item{
        {"caches.test", ""}, path.filename().string(), path.string(), "trash", "removed", {}, {}, {}};
    const auto entry = home.trash->moveToTrash(RemovalTarget(path, home.home, FileIdentity::of(path)));
    EXPECT_TRUE(entry.has_value()) << path;
    if (entry)
        item.trash = TrashPlacement{*entry, std::nullopt, *FileIdentity::of(*entry)};
    if (entry && home.layout == PlatformLayout::linux)
        item.trash->info = home.trashFolder / "info" / (entry->filename().string() + ".trashinfo");
    return item;
}

inline JournalRun runOf(std::vector<JournalItem> items) {
    return JournalRun{"20261124T101500Z-00beef", std::chrono::system_clock::now(), {}, 0, 0, {}, {},
                      std::move(items)};
}

} // namespace velmora::removaltest

namespace velmora {

// Readable values in failure messages.
inline void PrintTo(const ItemOutcome& outcome, std::ostream* out) {
    *out << outcome.text();
}
inline void PrintTo(const ItemResult& result, std::ostream* out) {
    *out << result.findingID.text() << " / " << result.itemID << ": " << result.outcome.text();
}

} // namespace velmora

namespace velmora::test {

inline AdminStep step(std::string executable, std::vector<std::string> arguments,
                      std::optional<std::string> itemID = std::nullopt,
                      bool runsIfPreviousSucceeded = false) {
    return AdminStep{std::move(executable), std::move(arguments), std::move(itemID), runsIfPreviousSucceeded};
}

// A step that only ends with the given exit status, run by a real shell.
inline AdminStep exitStep(int status, bool runsIfPreviousSucceeded = false) {
    return step("/bin/sh", {"-c", "exit " + std::to_string(status)}, std::nullopt, runsIfPreviousSucceeded);
}

inline AdminStep bootout(const std::string& label, std::optional<std::string> itemID = std::nullopt) {
    return step("/bin/launchctl", {"bootout", "system/" + label}, std::move(itemID));
}

} // namespace velmora::test
