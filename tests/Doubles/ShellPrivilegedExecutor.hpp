// A privileged executor for tests that runs the admin script with a real /bin/sh, without any
// elevation, so that tests prove the generated script does what its status lines claim.
#pragma once

#include "Platform/ProcessCommandRunner.hpp"
#include "Removal/AdminScriptBuilder.hpp"
#include "Removal/PrivilegedExecutor.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace velmora::test {

// Only ever give it harmless steps (scripts of `exit 3`, `/bin/true`, rm on files in a temp folder):
// it runs whatever the script says, with the test's own rights.
//
// Tools that do not exist here (/bin/launchctl) can be stood in for: `standIn(from, to)` replaces the
// command line `from` (as AdminScriptBuilder::commandLine writes it) by `to` wherever it occurs in a
// script before the script runs, e.g. a bootout by `/bin/sh -c 'exit 113'`. The lines around it –
// the status line, the `case` of the step after it – stay exactly as built.
class ShellPrivilegedExecutor final : public PrivilegedExecutor {
public:
    void standIn(std::string from, std::string to) {
        std::lock_guard lock(mutex_);
        standIns_.emplace_back(std::move(from), std::move(to));
    }

    AdminRunResult run(const AdminScript& script, StopToken stop) override {
        std::string text = script.text;
        {
            std::lock_guard lock(mutex_);
            for (const auto& [from, to] : standIns_)
                for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
                    text.replace(at, from.size(), to);
        }
        const auto result = runner_.run("/bin/sh", {"-c", text}, std::chrono::seconds(30), std::move(stop));
        if (!result)
            return adminRunResult(result.error());
        std::lock_guard lock(mutex_);
        outputs_.push_back(result->standardOutput);
        if (result->exitCode != 0)
            return AdminRunResult::failed("Exit " + std::to_string(result->exitCode));
        return AdminRunResult::completed(
            AdminScriptBuilder::parseStatuses(result->standardOutput, script.nonce, script.stepCount));
    }

    // Standard output of every run that ended on its own, for messages of failing assertions.
    std::vector<std::string> outputs() const {
        std::lock_guard lock(mutex_);
        return outputs_;
    }

private:
    ProcessCommandRunner runner_;
    mutable std::mutex mutex_;
    std::vector<std::pair<std::string, std::string>> standIns_;
    std::vector<std::string> outputs_;
};

} // namespace velmora::test
