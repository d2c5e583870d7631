#include "Doubles/ScriptedCommandRunner.hpp"

#include "Findings/ShellQuote.hpp"
#include "Support/StopToken.hpp"

#include <algorithm>

namespace velmora::test {

std::string ScriptedCommandRunner::Call::commandLine() const {
    std::string line = ShellQuote::quote(executable.string());
    for (const auto& argument : arguments)
        line += " " + ShellQuote::quote(argument);
    return line;
}

bool ScriptedCommandRunner::Expectation::matches(const std::filesystem::path& executable,
                                                 const std::vector<std::string>& arguments) const {
    return !(once_ && used_) && executable == executable_ && (!arguments_ || *arguments_ == arguments);
}

ScriptedCommandRunner::Expectation& ScriptedCommandRunner::expect(const std::filesystem::path& executable) {
    std::lock_guard lock(mutex_);
    return expectations_.emplace_back(Expectation(executable, std::nullopt));
}

ScriptedCommandRunner::Expectation& ScriptedCommandRunner::expect(const std::filesystem::path& executable,
                                                                  std::vector<std::string> arguments) {
    std::lock_guard lock(mutex_);
    return expectations_.emplace_back(Expectation(executable, std::move(arguments)));
}

void ScriptedCommandRunner::unscripted(Outcome outcome) {
    std::lock_guard lock(mutex_);
    unscripted_ = std::move(outcome);
}

std::vector<ScriptedCommandRunner::Call> ScriptedCommandRunner::calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
}

std::vector<std::string> ScriptedCommandRunner::commandLines() const {
    std::vector<std::string> lines;
    for (const auto& call : calls())
        lines.push_back(call.commandLine());
    return lines;
}

std::expected<CommandResult, CommandError>
ScriptedCommandRunner::run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                           std::chrono::nanoseconds timeout, StopToken stop) {
    using namespace std::chrono_literals;
    std::unique_lock lock(mutex_);
    calls_.push_back(Call{executable, arguments, timeout});
    if (stop.stop_requested())
        return std::unexpected(CommandError{CommandError::Kind::cancelled, {}});

    auto found = std::ranges::find_if(expectations_,
                                      [&](const Expectation& e) { return e.matches(executable, arguments); });
    if (found == expectations_.end()) {
        if (unscripted_)
            return *unscripted_;
        return std::unexpected(
            CommandError{CommandError::Kind::launchFailed, "unscripted: " + calls_.back().commandLine()});
    }
    found->used_ = true;
    if (!found->hangs_)
        return found->outcome_;
    // Waiting far beyond any test's life is the same as never answering, and keeps the clock
    // arithmetic from overflowing. The wait releases the lock, so other calls go on.
    waitUntil(neverNotified_, lock, stop,
              std::chrono::steady_clock::now() + std::clamp<std::chrono::nanoseconds>(timeout, 0ns, 24h),
              [] { return false; });
    if (stop.stop_requested())
        return std::unexpected(CommandError{CommandError::Kind::cancelled, {}});
    return std::unexpected(CommandError{CommandError::Kind::timeout, {}});
}

} // namespace velmora::test
