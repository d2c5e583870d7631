#include "Removal/AppleScriptPrivilegedExecutor.hpp"

#include "Findings/AppleScriptQuote.hpp"
#include "Removal/AdminScriptBuilder.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

AppleScriptPrivilegedExecutor::AppleScriptPrivilegedExecutor(std::shared_ptr<CommandRunner> runner,
                                                             std::chrono::nanoseconds timeout)
    : runner_(std::move(runner)), timeout_(timeout) {}

std::string AppleScriptPrivilegedExecutor::appleScript(std::string_view shellScript) {
    return "do shell script " + AppleScriptQuote::stringLiteral(shellScript) +
           " with administrator privileges";
}

AdminRunResult AppleScriptPrivilegedExecutor::run(const AdminScript& script, StopToken stop) {
    const auto result =
        runner_->run(std::string(osascript), {"-e", appleScript(script.text)}, timeout_, std::move(stop));
    if (!result)
        return adminRunResult(result.error());
    if (result->exitCode == 0)
        return AdminRunResult::completed(
            AdminScriptBuilder::parseStatuses(result->standardOutput, script.nonce, script.stepCount));
    // AppleScript's error -128, "User canceled.", is how the prompt's Cancel button ends the run.
    if (result->standardError.find("(-128)") != std::string::npos)
        return AdminRunResult::cancelled();
    return AdminRunResult::failed("Exit " + std::to_string(result->exitCode));
}

} // namespace velmora
