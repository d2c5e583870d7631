// How many bytes a location occupies on disk. The live implementation is SizeMeter.
#pragma once

#include "Support/StopToken.hpp"

#include <cstdint>
#include <filesystem>

namespace velmora {

// Thread-safe: measurements may run concurrently; each call is one measurement with its own set of
// seen hard links.
class SizeMeasurer {
public:
    virtual ~SizeMeasurer() = default;

    // Allocated bytes of all regular files below `location` (a file: its own), hard links once,
    // symbolic links never followed and counted 0, unreadable entries 0. A missing location is 0.
    // When `stop` is requested the walk ends early and returns what it counted so far.
    virtual std::int64_t size(const std::filesystem::path& location, StopToken stop = {}) const = 0;

    struct Measurement {
        std::int64_t bytes = 0;
        // False when the count may be short: the walk was stopped or met entries it could not read.
        bool complete = true;
    };

    // One measurement that also tells whether it saw everything. With `oneFileSystem` the walk does
    // not descend into folders of another file system mounted below the location (like `du -x`).
    // This fallback only knows about the stop: a measurer that can tell more, or can keep to one file
    // system, overrides it.
    virtual Measurement measureBounded(const std::filesystem::path& location, StopToken stop,
                                       [[maybe_unused]] bool oneFileSystem) const {
        Measurement measurement;
        measurement.bytes = size(location, stop);
        measurement.complete = !stop.stop_requested();
        return measurement;
    }
};

} // namespace velmora
