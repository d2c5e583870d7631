// Running applications and processes from lists the test fills in. Asking applications to quit records
// the request and, unless told otherwise, removes them from the list as if they had quit.
#pragma once

#include "Platform/RunningAppsSource.hpp"

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

class FakeRunningApps final : public RunningAppsSource {
public:
    FakeRunningApps() = default;
    explicit FakeRunningApps(std::vector<RunningAppInfo> apps, std::vector<RunningProcessInfo> processes = {})
        : apps_(std::move(apps)), processes_(std::move(processes)) {}

    void setApps(std::vector<RunningAppInfo> apps) {
        std::lock_guard lock(mutex_);
        apps_ = std::move(apps);
    }
    void setProcesses(std::vector<RunningProcessInfo> processes) {
        std::lock_guard lock(mutex_);
        processes_ = std::move(processes);
    }
    // Apps that refuse to quit stay in the list after terminateApplications.
    void setAppsRefuseToQuit(bool refuse) {
        std::lock_guard lock(mutex_);
        refuseToQuit_ = refuse;
    }

    std::vector<RunningAppInfo> runningApplications() const override {
        std::lock_guard lock(mutex_);
        return apps_;
    }
    std::vector<RunningProcessInfo> runningProcesses() const override {
        std::lock_guard lock(mutex_);
        return processes_;
    }
    bool terminateApplications(std::string_view bundleID) override {
        std::lock_guard lock(mutex_);
        terminateRequests_.emplace_back(bundleID);
        const auto matches = [&](const RunningAppInfo& app) { return app.bundleID == bundleID; };
        const bool any = std::any_of(apps_.begin(), apps_.end(), matches);
        if (any && !refuseToQuit_)
            std::erase_if(apps_, matches);
        return any;
    }

    // Every bundle identifier terminateApplications was called with, in order.
    std::vector<std::string> terminateRequests() const {
        std::lock_guard lock(mutex_);
        return terminateRequests_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<RunningAppInfo> apps_;
    std::vector<RunningProcessInfo> processes_;
    std::vector<std::string> terminateRequests_;
    bool refuseToQuit_ = false;
};

} // namespace velmora
