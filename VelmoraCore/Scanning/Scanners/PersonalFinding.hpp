// What the scanners of personal data and of the system's own backups and updates share: one finding
// per scanner with fixed texts, and telling a folder that is missing from one that may not be read.
#pragma once

#include "Findings/Finding.hpp"
#include "Findings/Risk.hpp"
#include "Platform/XdgUserDirs.hpp"

#include <filesystem>
#include <string_view>
#include <vector>

namespace velmora {

struct ScanContext;

namespace personal {

struct Texts {
    std::string_view scannerID;
    std::string_view title;
    std::string_view summary;
    Risk risk = Risk::review;
};

// The finding of these items; its size is their sum, unknown as soon as one item's size is.
Finding finding(const Texts& texts, RemovalMethod method, std::vector<FindingItem> items);

enum class FolderAccess { missing, unreadable, readable };
// A real folder (a link to one counts as missing) that this process may or may not list.
FolderAccess folderAccess(const std::filesystem::path& folder);

// The finding that only says a folder lies behind Full Disk Access: no items, size unknown.
Finding lackingAccess(const Texts& texts, RemovalMethod method);

// A path below the root prefix as the system names it ("/home/anna"), for files that spell paths.
std::filesystem::path logicalPath(const ScanContext& context, const std::filesystem::path& physical);

// A folder of the Linux desktop as ~/.config/user-dirs.dirs names it (`XdgUserDirs::download` …), below
// the root prefix; home/`fallback` when the file does not name it.
std::filesystem::path userFolder(const ScanContext& context,
                                 std::optional<std::filesystem::path> XdgUserDirs::*folder,
                                 std::string_view fallback);

} // namespace personal
} // namespace velmora
