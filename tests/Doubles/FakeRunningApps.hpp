// Running applications and processes from lists the test fills in; asking apps to quit does nothing.
#pragma once

#include "Platform/RunningAppsSource.hpp"

#include <mutex>
#include <utility>
#include <vector>

namespace velmora {

class FakeRunningApps final : public RunningAppsSource {
public:
    void setApps(std::vector<RunningAppInfo> apps) {
        std::lock_guard lock(mutex_);
        apps_ = std::move(apps);
    }
    void setProcesses(std::vector<RunningProcessInfo> processes) {
        std::lock_guard lock(mutex_);
        processes_ = std::move(processes);
    }

    std::vector<RunningAppInfo> runningApplications() const override {
        std::lock_guard lock(mutex_);
        return apps_;
    }
    std::vector<RunningProcessInfo> runningProcesses() const override {
        std::lock_guard lock(mutex_);
        return processes_;
    }
    bool terminateApplications(std::string_view) override { return false; }

private:
    mutable std::mutex mutex_;
    std::vector<RunningAppInfo> apps_;
    std::vector<RunningProcessInfo> processes_;
};

} // namespace velmora
