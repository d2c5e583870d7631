// How big one system area turned out to be.
#pragma once

#include <cstdint>
#include <string>

namespace velmora {

struct AreaMeasurement {
    std::string id;
    std::int64_t bytes = 0;
    // The area holds at least `bytes`: its measurement was cut short, met something unreadable, or
    // its size cannot be measured at all.
    bool lowerBound = false;
    // Every location of the area lies on the file system of the reference path, so `bytes` is part
    // of that file system's used space.
    bool onReferenceFileSystem = false;
    // The part of `bytes` that lies on the reference file system (all of it when the flag above is
    // set); lets an area spread over several file systems, such as /tmp on tmpfs next to /var/tmp,
    // be subtracted from the used space correctly.
    std::int64_t bytesOnReference = 0;

    bool operator==(const AreaMeasurement&) const = default;
};

} // namespace velmora
