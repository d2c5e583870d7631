// Turns the schedule setting into registered launch agents: at most the one agent of the chosen
// schedule stays registered.
#pragma once

#include "Check/AgentService.hpp"
#include "Check/CheckSchedule.hpp"
#include "Support/StopToken.hpp"

#include <memory>

namespace velmora {

class CheckScheduler {
public:
    explicit CheckScheduler(std::shared_ptr<AgentService> service) : service_(std::move(service)) {}

    // Off unregisters both agents; weekly registers the weekly one and unregisters the monthly one;
    // monthly the reverse. Every step is tried even after one failed, so that a failed registration
    // never leaves the other schedule running as well; the first failure is returned.
    std::expected<void, AgentServiceError> apply(CheckSchedule schedule, StopToken stop = {});

    // Off is `notRegistered` without asking the system.
    AgentStatus status(CheckSchedule schedule);

private:
    std::shared_ptr<AgentService> service_;
};

} // namespace velmora
