// An agent service for tests: keeps the set of registered agents in memory, records every call and
// can be told to refuse registering.
#pragma once

#include "Check/AgentService.hpp"
#include "Support/StopToken.hpp"

#include <set>
#include <string>
#include <vector>

namespace velmora::testing {

class FakeAgentService final : public AgentService {
public:
    AgentStatus status(std::string_view plistName) override {
        calls.push_back("status " + std::string(plistName));
        return registered.contains(std::string(plistName)) ? AgentStatus::enabled
                                                           : AgentStatus::notRegistered;
    }
    std::expected<void, AgentServiceError> registerAgent(std::string_view plistName) override {
        calls.push_back("register " + std::string(plistName));
        if (refuseRegistering)
            return std::unexpected(AgentServiceError{AgentServiceError::Kind::command, "bootstrap: Exit 5"});
        registered.insert(std::string(plistName));
        return {};
    }
    std::expected<void, AgentServiceError> unregisterAgent(std::string_view plistName, StopToken) override {
        calls.push_back("unregister " + std::string(plistName));
        registered.erase(std::string(plistName));
        return {};
    }

    std::set<std::string> registered;
    std::vector<std::string> calls;
    bool refuseRegistering = false;
};

} // namespace velmora::testing
