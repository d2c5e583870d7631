// What the system clean-up scanners share: their fixed texts, how they walk the folders they look at
// (links never followed), and the rule that what removal would refuse is offered as a hint only.
#pragma once

#include "Findings/AdminStep.hpp"
#include "Findings/Finding.hpp"
#include "Findings/Risk.hpp"
#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <expected>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>

namespace velmora {

struct ScanContext;

namespace cleanup {

struct Texts {
    std::string_view id;
    std::string_view title;
    std::string_view summary;
    // Added to the summary when the finding can only be a hint: how to do it by hand.
    std::string_view byHand;
    Risk risk = Risk::safe;
};

struct Entry {
    std::filesystem::path path;
    struct stat info {};
};

// The later of the modification and the status-change time: a file unpacked today with an old
// modification date is new.
std::chrono::system_clock::time_point lastChange(const struct stat& info);
// The moment `days` days before the scan.
std::chrono::system_clock::time_point daysBefore(const ScanContext& context, int days);
// The entries directly in `folder`, sorted by name, each as lstat sees it; none when it cannot be read.
std::vector<Entry> entriesIn(const std::filesystem::path& folder);
// Visits everything below `folder`, depth first, links as themselves. False when `visit` said stop, a
// folder or an entry could not be read, or `stop` was requested: the walk did not see everything.
bool forEachBelow(const std::filesystem::path& folder, const std::function<bool(const Entry&)>& visit,
                  StopToken stop);
// The regular files below `folder` at any depth, sorted by path; unreadable folders are left out.
std::vector<Entry> filesBelow(const std::filesystem::path& folder, StopToken stop);
// True when `path` (links followed) is a regular file someone may execute.
bool isExecutable(const std::filesystem::path& path);
// "1 Paket" / "3 Pakete".
std::string count(std::size_t n, std::string_view one, std::string_view many);

// An item for `path`, measured with the context's size meter.
FindingItem item(const std::filesystem::path& path, std::string name, const ScanContext& context,
                 StopToken stop);

// The admin method of one command that serves the finding as a whole.
RemovalMethod command(std::string executable, std::vector<std::string> arguments);

// The finding for these items (none when there are no items). File items (Trash, delete) are put to
// the context's guard, admin steps to the allow-list, exactly as removal will: an item that would be
// refused is left out, and a step serving the whole finding that would be refused leaves nothing.
// When nothing is left, the finding keeps all items, size and texts, but only shows `folder`, with
// the risk hintOnly and the summary telling how to do it by hand.
std::vector<Finding> finding(const Texts& texts, RemovalMethod method, std::vector<FindingItem> items,
                             const ScanContext& context, const std::filesystem::path& folder);

// The finding of those `entries` that occupy space and no earlier finding claimed, each removed by
// its own `/bin/rm <rmOptions> -- <path>` through the administrator script; named relative to `folder`.
std::expected<std::vector<Finding>, ScanError>
removedOneByOne(const Texts& texts, const std::vector<Entry>& entries, std::string_view rmOptions,
                const std::filesystem::path& folder, const ScanContext& context, StopToken stop);

} // namespace cleanup
} // namespace velmora
