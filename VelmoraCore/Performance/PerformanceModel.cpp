#include "Performance/PerformanceModel.hpp"

#include <algorithm>
#include <condition_variable>

namespace velmora {

PerformanceModel::PerformanceModel(PerformanceDependencies dependencies, Options options)
    : deps_(std::move(dependencies)), options_(options) {}

PerformanceModel::~PerformanceModel() {
    stop();
}

std::size_t PerformanceModel::historyCapacity() const {
    const auto interval = std::max(options_.interval, std::chrono::milliseconds(1));
    return static_cast<std::size_t>(std::chrono::milliseconds(options_.window) / interval) + 1;
}

void PerformanceModel::sample() {
    {
        std::lock_guard measuring(sampling_);
        auto system = deps_.system->sample();
        const auto processes = deps_.processes->sample();
        auto apps = deps_.aggregate(processes);
        const auto now = deps_.now();

        std::ranges::stable_sort(apps, std::ranges::greater{}, &ActivityEntry::cpuPercent);
        auto byMemory = apps;
        std::ranges::stable_sort(byMemory, std::ranges::greater{}, &ActivityEntry::memory);
        const auto top = [&](std::vector<ActivityEntry> list) {
            if (list.size() > options_.topCount)
                list.resize(options_.topCount);
            return list;
        };
        // Without a system sample there is nothing for the detector to weigh; its gap rule starts the
        // timers afresh once samples return after a long failure.
        std::optional<std::vector<SlowdownHint>> hints;
        if (system)
            hints = detector_.update(apps, *system, now);

        std::lock_guard lock(state_);
        snapshot_.topByProcessor = top(apps);
        snapshot_.topByMemory = top(std::move(byMemory));
        snapshot_.apps = std::move(apps);
        if (system) {
            snapshot_.error.reset();
            snapshot_.hints = std::move(*hints);
            snapshot_.history.push_back({now, *system});
        } else {
            snapshot_.error = system.error();
            snapshot_.hints.clear(); // not weighed this time, so not claimed either
        }
        auto& history = snapshot_.history;
        while (!history.empty() &&
               (history.size() > historyCapacity() || history.front().at < now - options_.window))
            history.pop_front();
    }
    notify();
}

void PerformanceModel::notify() {
    std::lock_guard lock(observersMutex_);
    for (const auto& [id, observer] : observers_)
        observer();
}

std::size_t PerformanceModel::addObserver(Observer observer) {
    std::lock_guard lock(observersMutex_);
    observers_.emplace_back(nextObserver_, std::move(observer));
    return nextObserver_++;
}

void PerformanceModel::removeObserver(std::size_t id) {
    std::lock_guard lock(observersMutex_);
    std::erase_if(observers_, [id](const auto& entry) { return entry.first == id; });
}

PerformanceSnapshot PerformanceModel::snapshot() const {
    std::lock_guard lock(state_);
    return snapshot_;
}

void PerformanceModel::start() {
    std::lock_guard lock(runMutex_);
    if (thread_)
        return;
    stopSource_.emplace();
    thread_ = std::make_unique<JoiningThread>([this, token = stopSource_->get_token()] { run(token); });
}

void PerformanceModel::stop() {
    std::unique_ptr<JoiningThread> thread;
    {
        std::lock_guard lock(runMutex_);
        if (!thread_)
            return;
        stopSource_->request_stop();
        thread = std::move(thread_);
        stopSource_.reset();
    }
    thread.reset(); // joins
}

bool PerformanceModel::isActive() const {
    std::lock_guard lock(runMutex_);
    return thread_ != nullptr;
}

void PerformanceModel::run(StopToken stop) {
    std::mutex pacing;
    std::condition_variable_any wake;
    std::unique_lock lock(pacing);
    while (!stop.stop_requested()) {
        lock.unlock();
        sample();
        lock.lock();
        // Paced by the steady clock: the injected clock only stamps the samples.
        waitUntil(wake, lock, stop, std::chrono::steady_clock::now() + options_.interval,
                  [] { return false; });
    }
}

} // namespace velmora
