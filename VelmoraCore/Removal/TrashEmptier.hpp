// Measuring and emptying the user's Trash. The live implementations are FinderTrashEmptier (the macOS
// layout: the Finder empties it, so that its own bookkeeping stays right) and FreedesktopTrashEmptier
// (the Trash of the Linux desktops, emptied through descriptors).
#pragma once

#include "Removal/EmptyTrashError.hpp"
#include "Support/StopToken.hpp"

#include <cstdint>
#include <expected>
#include <optional>

namespace velmora {

// Thread-safe: every call reads the disk afresh.
class TrashEmptier {
public:
    virtual ~TrashEmptier() = default;

    // Bytes on disk in the Trash; 0 when there is no Trash, nothing when it exists but cannot be read.
    virtual std::optional<std::int64_t> size(StopToken stop = {}) const = 0;
    // Empties the Trash and returns the bytes that went (measured before and after, never below 0). A
    // dry run touches nothing, runs nothing and returns 0.
    virtual std::expected<std::int64_t, EmptyTrashError> empty(bool dryRun, StopToken stop = {}) const = 0;
};

} // namespace velmora
