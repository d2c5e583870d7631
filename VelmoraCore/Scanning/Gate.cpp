#include "Scanning/Gate.hpp"

namespace velmora {

bool Gate::settle(ScanOutcome outcome) {
    {
        std::lock_guard lock(mutex_);
        if (done_)
            return false;
        done_ = true;
        result_ = std::move(outcome);
    }
    // Outside the lock: stopping the scanner and waking the engine may take other locks.
    scannerStop_.request_stop();
    if (onSettled_)
        onSettled_();
    return true;
}

bool Gate::isDone() const {
    std::lock_guard lock(mutex_);
    return done_;
}

std::optional<ScanOutcome> Gate::result() const {
    std::lock_guard lock(mutex_);
    return result_;
}

} // namespace velmora
