// Journal runs whose items really lie in a temp home's Trash, moved there by the layout's own Trash.
#pragma once

#include "Removal/RemovalJournal.hpp"
#include "Removal/RemovalTestSupport.hpp"

#include <gtest/gtest.h>

namespace velmora::removaltest {

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
