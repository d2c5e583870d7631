// Shared pieces of the removal tests: a user's home in a temp tree in either layout with its guard and
// its real Trash, and findings built from paths.
#pragma once

#include "Doubles/TempTree.hpp"
#include "Findings/Finding.hpp"
#include "Platform/FreedesktopTrash.hpp"
#include "Platform/HomeTrash.hpp"
#include "Platform/PlatformLayout.hpp"
#include "Removal/FindingSelection.hpp"
#include "Removal/ItemOutcome.hpp"
#include "Safety/SafetyGuard.hpp"

#include <chrono>
#include <map>
#include <memory>
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

} // namespace velmora::removaltest
