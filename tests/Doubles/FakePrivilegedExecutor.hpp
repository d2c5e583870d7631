// A privileged executor for tests that answers with a result the test chose and records every script
// it was given, so that tests can see whether a prompt would have been shown and for what.
#pragma once

#include "Removal/PrivilegedExecutor.hpp"
#include "Support/StopToken.hpp"

#include <mutex>
#include <vector>

namespace velmora::test {

class FakePrivilegedExecutor final : public PrivilegedExecutor {
public:
    explicit FakePrivilegedExecutor(AdminRunResult result = AdminRunResult::cancelled())
        : result_(std::move(result)) {}

    void respond(AdminRunResult result) {
        std::lock_guard lock(mutex_);
        result_ = std::move(result);
    }

    AdminRunResult run(const AdminScript& script, StopToken) override {
        std::lock_guard lock(mutex_);
        scripts_.push_back(script);
        return result_;
    }

    std::vector<AdminScript> scripts() const {
        std::lock_guard lock(mutex_);
        return scripts_;
    }

private:
    mutable std::mutex mutex_;
    AdminRunResult result_;
    std::vector<AdminScript> scripts_;
};

} // namespace velmora::test
