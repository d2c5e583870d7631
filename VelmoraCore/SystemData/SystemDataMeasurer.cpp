#include "SystemData/SystemDataMeasurer.hpp"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/stat.h>

namespace velmora {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// What one area's measuring thread reports. Written by that thread under Shared::mutex.
struct AreaState {
    std::vector<fs::path> locations;
    std::vector<bool> onReference; // per location
    StopSource stop;
    std::int64_t bytes = 0; // of the locations done so far
    std::int64_t bytesOnReference = 0;
    std::size_t locationsDone = 0;
    bool complete = true;
    bool finished = false;
};

// Owned jointly by the caller and the measuring threads, so that a thread abandoned past its limit
// can still finish and write into it after the caller has returned.
struct Shared {
    std::shared_ptr<const SizeMeasurer> sizer;
    std::mutex mutex;
    std::condition_variable_any changed;
    std::uint64_t version = 0; // bumped on every report, so that the caller's wait can tell
    std::vector<AreaState> areas;

    void report() {
        ++version;
        changed.notify_all();
    }
};

void measureArea(const std::shared_ptr<Shared>& shared, std::size_t index) {
    AreaState& area = shared->areas[index]; // the vector is never resized once threads run
    const StopToken token = area.stop.get_token();
    for (std::size_t i = 0; i < area.locations.size(); ++i) {
        if (token.stop_requested()) {
            std::lock_guard lock(shared->mutex);
            area.complete = false;
            break;
        }
        SizeMeasurer::Measurement measured{0, false};
        try {
            measured = shared->sizer->measureBounded(area.locations[i], token, true);
        } catch (const std::exception&) {
            // Counts as a location that could not be read.
        }
        std::lock_guard lock(shared->mutex);
        area.bytes += measured.bytes;
        if (area.onReference[i])
            area.bytesOnReference += measured.bytes;
        area.complete = area.complete && measured.complete;
        ++area.locationsDone;
        shared->report();
    }
    std::lock_guard lock(shared->mutex);
    area.finished = true;
    shared->report();
}

std::optional<dev_t> deviceOf(const fs::path& path, bool followLink) {
    struct stat st {};
    if ((followLink ? ::stat(path.c_str(), &st) : ::lstat(path.c_str(), &st)) != 0)
        return std::nullopt;
    return st.st_dev;
}

enum class Phase { waiting, running, settled };

// The caller's book-keeping for one area.
struct Slot {
    Phase phase = Phase::waiting;
    Clock::time_point deadline;                 // when running: the area's own limit
    std::optional<Clock::time_point> abandonAt; // once told to stop
};

} // namespace

SystemDataMeasurer::SystemDataMeasurer(std::shared_ptr<const SizeMeasurer> sizer)
    : SystemDataMeasurer(std::move(sizer), Options{}) {}

SystemDataMeasurer::SystemDataMeasurer(std::shared_ptr<const SizeMeasurer> sizer, Options options)
    : sizer_(std::move(sizer)), options_(options) {}

std::vector<AreaMeasurement> SystemDataMeasurer::measure(const std::vector<SystemArea>& areas,
                                                         const fs::path& reference, StopToken stop,
                                                         std::function<void(double)> progress) const {
    const auto start = Clock::now();
    const auto overallDeadline = start + options_.overall;
    const std::size_t count = areas.size();
    const auto referenceDevice = deviceOf(reference, true);

    std::vector<AreaMeasurement> results(count);
    auto shared = std::make_shared<Shared>();
    shared->sizer = sizer_;
    shared->areas.resize(count);
    std::vector<Slot> slots(count);
    for (std::size_t i = 0; i < count; ++i) {
        AreaState& state = shared->areas[i];
        results[i].id = areas[i].id;
        if (areas[i].kind == AreaKind::unmeasurable) {
            results[i].lowerBound = true;
            slots[i].phase = Phase::settled;
            continue;
        }
        state.locations = areas[i].locations;
        bool allOnReference = !state.locations.empty();
        for (const auto& location : state.locations) {
            const auto device = deviceOf(location, false);
            const bool on = device && device == referenceDevice;
            state.onReference.push_back(on);
            allOnReference = allOnReference && on;
        }
        results[i].onReferenceFileSystem = allOnReference;
        if (state.locations.empty())
            slots[i].phase = Phase::settled;
    }

    const unsigned parallel = std::max(1U, options_.parallel);
    std::size_t next = 0;
    unsigned running = 0;
    double lastProgress = -1;

    std::unique_lock lock(shared->mutex);
    // Under the lock: takes over what the area's thread has reported so far.
    const auto settle = [&](std::size_t i, bool cutShort) {
        const AreaState& state = shared->areas[i];
        results[i].bytes = state.bytes;
        results[i].bytesOnReference = state.bytesOnReference;
        results[i].lowerBound = cutShort || !state.complete;
        if (slots[i].phase == Phase::running)
            --running;
        slots[i].phase = Phase::settled;
    };

    for (;;) {
        const auto now = Clock::now();
        const bool ending = stop.stop_requested() || now >= overallDeadline;
        std::vector<std::size_t> toStop;
        for (std::size_t i = 0; i < count; ++i) {
            Slot& slot = slots[i];
            if (slot.phase == Phase::waiting && ending) {
                results[i].lowerBound = true; // never measured
                slot.phase = Phase::settled;
            }
            if (slot.phase != Phase::running)
                continue;
            if (shared->areas[i].finished) {
                settle(i, false);
            } else if (slot.abandonAt) {
                if (now >= *slot.abandonAt)
                    settle(i, true);
            } else if (ending || now >= slot.deadline) {
                slot.abandonAt = now + stopGrace;
                toStop.push_back(i);
            }
        }
        while (!ending && running < parallel && next < count) {
            const std::size_t i = next++;
            if (slots[i].phase != Phase::waiting)
                continue;
            slots[i].phase = Phase::running;
            slots[i].deadline = now + options_.perArea;
            ++running;
            try {
                // Detached on purpose: an area past its limit is abandoned, and everything its thread
                // touches is owned through `shared`.
                std::thread([shared, i] { measureArea(shared, i); }).detach();
            } catch (const std::system_error&) {
                settle(i, true);
            }
        }

        double done = 0;
        bool allSettled = true;
        for (std::size_t i = 0; i < count; ++i) {
            if (slots[i].phase == Phase::settled) {
                done += 1;
                continue;
            }
            allSettled = false;
            const AreaState& state = shared->areas[i];
            if (!state.locations.empty())
                done +=
                    static_cast<double>(state.locationsDone) / static_cast<double>(state.locations.size());
        }
        const double share = count == 0 ? 1.0 : done / static_cast<double>(count);
        if (progress && share > lastProgress) {
            lastProgress = share;
            lock.unlock();
            progress(share);
            lock.lock();
        }

        if (!toStop.empty()) {
            // Outside the lock: a measurer may react to the stop through callbacks that report back.
            lock.unlock();
            for (std::size_t i : toStop)
                shared->areas[i].stop.request_stop();
            lock.lock();
            continue;
        }
        if (allSettled)
            break;

        // Once ending, only the running areas' grace periods are left to wait for.
        auto wakeAt = ending ? Clock::time_point::max() : overallDeadline;
        for (const Slot& slot : slots)
            if (slot.phase == Phase::running)
                wakeAt = std::min(wakeAt, slot.abandonAt.value_or(slot.deadline));
        const std::uint64_t seen = shared->version;
        const auto changed = [&] { return shared->version != seen; };
        if (ending)
            shared->changed.wait_until(lock, wakeAt, changed); // the stop is already being served
        else
            waitUntil(shared->changed, lock, stop, wakeAt, changed);
    }
    return results;
}

} // namespace velmora
