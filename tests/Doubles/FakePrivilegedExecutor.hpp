// A privileged executor for tests that answers with a result the test chose and records every script
// it was given, so that tests can see whether a prompt would have been shown and for what.
#pragma once

#include "Removal/PrivilegedExecutor.hpp"
#include "Support/StopToken.hpp"

#include <functional>
#include <mutex>
#include <vector>

namespace velmora::test {

// Usage:
//   auto fake = std::make_shared<FakePrivilegedExecutor>(AdminRunResult::completed({0, 113, 0}));
//   fake->respondWith([](const AdminScript& s) { return AdminRunResult::completed(std::vector(...)); });
//   EXPECT_TRUE(fake->scripts().empty());   // no prompt was shown
class FakePrivilegedExecutor final : public PrivilegedExecutor {
public:
    using Responder = std::function<AdminRunResult(const AdminScript&)>;

    explicit FakePrivilegedExecutor(AdminRunResult result = AdminRunResult::cancelled())
        : responder_([result](const AdminScript&) { return result; }) {}

    void respond(AdminRunResult result) {
        respondWith([result](const AdminScript&) { return result; });
    }
    void respondWith(Responder responder) {
        std::lock_guard lock(mutex_);
        responder_ = std::move(responder);
    }

    AdminRunResult run(const AdminScript& script, StopToken) override {
        std::lock_guard lock(mutex_);
        scripts_.push_back(script);
        return responder_(script);
    }

    std::vector<AdminScript> scripts() const {
        std::lock_guard lock(mutex_);
        return scripts_;
    }

private:
    mutable std::mutex mutex_;
    Responder responder_;
    std::vector<AdminScript> scripts_;
};

} // namespace velmora::test
