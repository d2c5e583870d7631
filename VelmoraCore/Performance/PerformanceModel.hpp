// The performance tab's model: samples the system and the processes, keeps the last minutes of system
// samples for the graphs, the busiest apps and the current slowdown hints, and tells observers after
// every sample.
//
// Sampling is driven in one of two ways: `sample()` takes one measurement now (the owner paces it,
// as `velmora top` does and as tests do with a fake clock), or `start()` runs a thread that calls it
// every `interval` until `stop()`.
#pragma once

#include "Performance/PerformanceDependencies.hpp"
#include "Performance/SlowdownDetector.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

struct TimedSystemSample {
    std::chrono::system_clock::time_point at;
    SystemSample system;
};

// What the tab shows, copied out in one piece so that it is consistent.
struct PerformanceSnapshot {
    std::deque<TimedSystemSample> history;     // oldest first, at most `window` old
    std::vector<ActivityEntry> apps;           // every app, busiest on the processor first
    std::vector<ActivityEntry> topByProcessor; // the first `topCount` of `apps`
    std::vector<ActivityEntry> topByMemory;    // the `topCount` apps with the most memory
    std::vector<SlowdownHint> hints;
    std::optional<std::string> error; // German reason when the last system sample failed
};

// Every member of the dependencies must be set.
class PerformanceModel {
public:
    struct Options {
        std::chrono::milliseconds interval{2000};
        std::chrono::seconds window{600};
        std::size_t topCount = 10;
    };
    using Observer = std::function<void()>;

    explicit PerformanceModel(PerformanceDependencies dependencies, Options options);
    explicit PerformanceModel(PerformanceDependencies dependencies)
        : PerformanceModel(std::move(dependencies), Options{}) {}
    ~PerformanceModel();
    PerformanceModel(const PerformanceModel&) = delete;
    PerformanceModel& operator=(const PerformanceModel&) = delete;

    // Takes one measurement and notifies the observers. Safe beside the sampling thread: measurements
    // never overlap.
    void sample();

    // Samples at once and then every `interval` on a thread of its own; observers run on that thread.
    // Starting twice or stopping when stopped does nothing.
    void start();
    // Returns when the thread has ended; no observer runs afterwards. Not from inside an observer.
    void stop();
    bool isActive() const;

    PerformanceSnapshot snapshot() const;

    // Observers may read the snapshot but must not add or remove observers themselves.
    std::size_t addObserver(Observer observer);
    // Waits for a notification in progress, so whatever the observer uses may die right after.
    void removeObserver(std::size_t id);

    // How many history samples the window can hold at the interval (plus the one at its start): a
    // clock that stalls or samples taken in between cannot grow the history beyond it.
    std::size_t historyCapacity() const;

private:
    void notify();
    void run(StopToken stop);

    PerformanceDependencies deps_;
    Options options_;
    SlowdownDetector detector_; // only touched while sampling_ is held

    std::mutex sampling_;
    mutable std::mutex state_;
    PerformanceSnapshot snapshot_;

    std::mutex observersMutex_;
    std::size_t nextObserver_ = 0;
    std::vector<std::pair<std::size_t, Observer>> observers_;

    mutable std::mutex runMutex_;
    std::optional<StopSource> stopSource_;
    std::unique_ptr<JoiningThread> thread_;
};

} // namespace velmora
