#include "Removal/PkexecPrivilegedExecutor.hpp"

#include "Removal/AdminScriptBuilder.hpp"
#include "Support/StopToken.hpp"

namespace velmora {

PkexecPrivilegedExecutor::PkexecPrivilegedExecutor(std::shared_ptr<CommandRunner> runner,
                                                   std::chrono::nanoseconds timeout)
    : runner_(std::move(runner)), timeout_(timeout) {}

AdminRunResult PkexecPrivilegedExecutor::run(const AdminScript& script, StopToken stop) {
    const auto result =
        runner_->run(std::string(pkexec), {std::string(shell), "-c", script.text}, timeout_, std::move(stop));
    if (!result)
        return adminRunResult(result.error());
    switch (result->exitCode) {
    case 0:
        return AdminRunResult::completed(
            AdminScriptBuilder::parseStatuses(result->standardOutput, script.nonce, script.stepCount));
    case 126:
        return AdminRunResult::cancelled();
    case 127:
        return AdminRunResult::failed("Keine Administratorrechte erhalten");
    default:
        return AdminRunResult::failed("Exit " + std::to_string(result->exitCode));
    }
}

} // namespace velmora
