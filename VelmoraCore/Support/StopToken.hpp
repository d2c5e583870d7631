#pragma once

// Cancellation that builds with every standard library we ship on. libc++ (Apple's included) offers
// std::stop_token and std::jthread only behind -fexperimental-library, which Apple's toolchain does
// not ship a library for; so the few pieces we need live here, spelled like the standard's members
// so that a using-declaration can replace each once every toolchain has them.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace velmora {

namespace detail {

class StopState {
public:
    struct Callback {
        std::function<void()> run;
        bool done = false;
        bool orphaned = false; // deregistered by its own run: freed when the run returns
    };
    using Handle = std::list<Callback>::iterator;

    bool requested() const noexcept { return requested_.load(std::memory_order_acquire); }

    bool request() {
        std::unique_lock lock(mutex_);
        if (requested_.load(std::memory_order_relaxed))
            return false;
        requested_.store(true, std::memory_order_release);
        runner_ = std::this_thread::get_id();
        // Callbacks run one at a time without the lock, so one may deregister another or itself.
        while (!pending_.empty()) {
            running_.splice(running_.end(), pending_, pending_.begin());
            const Handle current = std::prev(running_.end());
            lock.unlock();
            current->run();
            lock.lock();
            if (current->orphaned) {
                running_.erase(current);
                continue;
            }
            current->done = true;
            finished_.notify_all();
        }
        return true;
    }

    // Registers `run`, or runs it at once when a stop was already requested (then returns nothing).
    std::optional<Handle> add(std::function<void()> run) {
        {
            std::lock_guard lock(mutex_);
            if (!requested_.load(std::memory_order_relaxed)) {
                pending_.push_back(Callback{std::move(run), false, false});
                return std::prev(pending_.end());
            }
        }
        run();
        return std::nullopt;
    }

    // After this returns the callback is neither running nor will it run; a callback removing
    // itself from inside its own run does not wait for itself.
    void remove(Handle handle) {
        std::unique_lock lock(mutex_);
        for (auto it = pending_.begin(); it != pending_.end(); ++it)
            if (it == handle) {
                pending_.erase(it);
                return;
            }
        if (!handle->done && runner_ == std::this_thread::get_id()) {
            handle->orphaned = true;
            return;
        }
        finished_.wait(lock, [&] { return handle->done; });
        running_.erase(handle);
    }

private:
    std::atomic<bool> requested_{false};
    std::mutex mutex_;
    std::condition_variable finished_;
    std::list<Callback> pending_;
    std::list<Callback> running_;
    std::thread::id runner_;
};

} // namespace detail

class StopSource;

// Asks "should I stop?"; a default-constructed token never says yes.
class StopToken {
public:
    StopToken() noexcept = default;
    bool stop_requested() const noexcept { return state_ && state_->requested(); }

private:
    friend class StopSource;
    template <typename> friend class StopCallback;
    explicit StopToken(std::shared_ptr<detail::StopState> state) noexcept : state_(std::move(state)) {}
    std::shared_ptr<detail::StopState> state_;
};

class StopSource {
public:
    StopSource() : state_(std::make_shared<detail::StopState>()) {}
    // True for the call that made the request, false for any later one.
    bool request_stop() { return state_->request(); }
    bool stop_requested() const noexcept { return state_->requested(); }
    StopToken get_token() const noexcept { return StopToken(state_); }

private:
    std::shared_ptr<detail::StopState> state_;
};

// Runs `callback` once when a stop is requested (at once if it already was). Its destructor waits
// for a run in progress on another thread, so whatever the callback uses may die right after.
template <typename Callback> class StopCallback {
public:
    template <typename C> StopCallback(const StopToken& token, C&& callback) : state_(token.state_) {
        if (!state_)
            return;
        auto shared = std::make_shared<Callback>(std::forward<C>(callback));
        handle_ = state_->add([shared] { (*shared)(); });
    }
    ~StopCallback() {
        if (state_ && handle_)
            state_->remove(*handle_);
    }
    StopCallback(const StopCallback&) = delete;
    StopCallback& operator=(const StopCallback&) = delete;

private:
    std::shared_ptr<detail::StopState> state_;
    std::optional<detail::StopState::Handle> handle_;
};

template <typename C> StopCallback(const StopToken&, C) -> StopCallback<C>;

// A thread that is joined when it goes out of scope, so a failing test cannot leave it running.
class JoiningThread {
public:
    template <typename F, typename... Args>
    explicit JoiningThread(F&& f, Args&&... args)
        : thread_(std::forward<F>(f), std::forward<Args>(args)...) {}
    JoiningThread(JoiningThread&&) noexcept = default;
    ~JoiningThread() {
        if (thread_.joinable())
            thread_.join();
    }
    void join() { thread_.join(); }

private:
    std::thread thread_;
};

namespace detail {

template <typename Lock, typename Done, typename WaitOnce>
bool waitWithStop(std::condition_variable_any& changed, Lock& lock, const StopToken& stop, Done& done,
                  WaitOnce waitOnce) {
    auto* mutex = lock.mutex();
    // Registered without the lock: a stop already requested runs the callback right here.
    lock.unlock();
    StopCallback wake(stop, [mutex, &changed] {
        { std::lock_guard hold(*mutex); }
        changed.notify_all();
    });
    lock.lock();
    while (!done()) {
        if (stop.stop_requested())
            return false;
        if (!waitOnce())
            return done();
    }
    return true;
}

} // namespace detail

// Waits on `changed` until `done()`, a stop request or `deadline`; returns `done()`. The stop
// request wakes the wait through `lock`'s mutex, so it cannot slip in between a check and the wait.
template <typename Lock, typename Clock, typename Duration, typename Done>
bool waitUntil(std::condition_variable_any& changed, Lock& lock, const StopToken& stop,
               std::chrono::time_point<Clock, Duration> deadline, Done done) {
    return detail::waitWithStop(changed, lock, stop, done, [&] {
        return changed.wait_until(lock, deadline) == std::cv_status::no_timeout;
    });
}

template <typename Lock, typename Done>
bool wait(std::condition_variable_any& changed, Lock& lock, const StopToken& stop, Done done) {
    return detail::waitWithStop(changed, lock, stop, done, [&] {
        changed.wait(lock);
        return true;
    });
}

} // namespace velmora
