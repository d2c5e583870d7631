#include "Check/CheckScheduler.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

std::expected<void, AgentServiceError> CheckScheduler::apply(CheckSchedule schedule, StopToken stop) {
    std::expected<void, AgentServiceError> result;
    const auto keep = [&](std::expected<void, AgentServiceError> step) {
        if (!step && result)
            result = std::move(step);
    };
    // Unregister first: a new agent never runs beside an old one, even for a moment.
    for (CheckSchedule other : {CheckSchedule::weekly, CheckSchedule::monthly})
        if (other != schedule)
            keep(service_->unregisterAgent(*agentPlistName(other), stop));
    if (const auto name = agentPlistName(schedule))
        keep(service_->registerAgent(*name));
    return result;
}

AgentStatus CheckScheduler::status(CheckSchedule schedule) {
    const auto name = agentPlistName(schedule);
    return name ? service_->status(*name) : AgentStatus::notRegistered;
}

} // namespace velmora
