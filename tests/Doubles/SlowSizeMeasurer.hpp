// A size measurer whose answers take time, for code that must keep deadlines: per location a size, how
// long measuring it takes, and whether it heeds its stop token (stopped, it has counted half).
#pragma once

#include "Platform/SizeMeasurer.hpp"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <thread>

namespace velmora::testing {

struct SlowSizeMeasurer final : SizeMeasurer {
    struct Script {
        std::int64_t bytes = 0;
        std::chrono::milliseconds takes{0};
        bool heedsStop = true;
        bool complete = true; // false: as if part of the location was unreadable
    };
    std::map<std::filesystem::path, Script> scripts;
    mutable std::atomic<int> calls{0};
    mutable std::atomic<bool> crossedFileSystems{false};

    explicit SlowSizeMeasurer(std::map<std::filesystem::path, Script> s) : scripts(std::move(s)) {}
    std::int64_t size(const std::filesystem::path& location, StopToken stop) const override {
        return measureBounded(location, stop, false).bytes;
    }
    Measurement measureBounded(const std::filesystem::path& location, StopToken stop,
                               bool oneFs) const override {
        ++calls;
        crossedFileSystems = crossedFileSystems || !oneFs;
        const Script script = scripts.contains(location) ? scripts.at(location) : Script{};
        for (auto end = std::chrono::steady_clock::now() + script.takes;
             std::chrono::steady_clock::now() < end;) {
            if (script.heedsStop && stop.stop_requested())
                return {script.bytes / 2, false};
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return {script.bytes, script.complete};
    }
};

} // namespace velmora::testing
