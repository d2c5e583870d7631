// A clean-up command of the tool that owns the data (npm, go, brew …), run without a shell.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <chrono>
#include <string>
#include <vector>

namespace velmora {

struct ToolCommand {
    std::string tool;
    std::vector<std::string> arguments;
    std::chrono::nanoseconds timeout{0};

    bool operator==(const ToolCommand&) const = default;

    // The line the command preview shows and a user could paste into a terminal.
    std::string commandLine() const;
};

// "timeout" is the two-integer duration form: [high (signed), low (unsigned)] of the attosecond count.
void to_json(nlohmann::json& j, const ToolCommand& command);
void from_json(const nlohmann::json& j, ToolCommand& command);

} // namespace velmora
