// The macOS way to run the admin script: one AppleScript "do shell script … with administrator
// privileges" through /usr/bin/osascript, which shows the system's password prompt once.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Removal/PrivilegedExecutor.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace velmora {

class AppleScriptPrivilegedExecutor final : public PrivilegedExecutor {
public:
    // The limit covers the time the user spends at the prompt as well as the script itself.
    static constexpr std::chrono::minutes defaultTimeout{15};

    explicit AppleScriptPrivilegedExecutor(std::shared_ptr<CommandRunner> runner,
                                           std::chrono::nanoseconds timeout = defaultTimeout);

    // Exit 0: completed with the parsed status lines. "(-128)" in the error output (the user pressed
    // Cancel): cancelled. The runner's time limit: failed "Zeitüberschreitung". Any other exit
    // status N: failed "Exit N".
    AdminRunResult run(const AdminScript& script, StopToken stop) override;

    // "do shell script <literal> with administrator privileges", the literal quoted by AppleScriptQuote
    static std::string appleScript(std::string_view shellScript);

    static constexpr std::string_view osascript = "/usr/bin/osascript";

private:
    std::shared_ptr<CommandRunner> runner_;
    std::chrono::nanoseconds timeout_;
};

} // namespace velmora
