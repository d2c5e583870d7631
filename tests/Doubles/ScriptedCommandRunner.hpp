// A command runner for tests: answers from a script instead of starting processes and records every
// call, so that scanners and removers can be driven with tool output we wrote ourselves.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Support/StopToken.hpp"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

namespace velmora::test {

// A call is answered by the first expectation, in the order they were declared, that matches its
// executable (and its arguments, where given) and is not used up (see `once`). Calls nobody expected
// fail with `launchFailed` and a message naming the command line; `unscripted` changes that.
// Script the runner before sharing it; `run` itself may be called from many threads.
class ScriptedCommandRunner final : public CommandRunner {
public:
    using Outcome = std::expected<CommandResult, CommandError>;

    struct Call {
        std::filesystem::path executable;
        std::vector<std::string> arguments;
        std::chrono::nanoseconds timeout{};

        // The call as one shell-quoted line, e.g. "/usr/bin/brew list --cask", for readable assertions.
        std::string commandLine() const;
        bool operator==(const Call&) const = default;
    };

    class Expectation {
    public:
        Expectation& returns(std::int32_t exitCode, std::string standardOutput = {},
                             std::string standardError = {}) {
            outcome_ = CommandResult{exitCode, std::move(standardOutput), std::move(standardError)};
            return *this;
        }
        Expectation& fails(CommandError::Kind kind, std::string message = {}) {
            outcome_ = std::unexpected(CommandError{kind, std::move(message)});
            return *this;
        }
        // Never answers: the caller's time limit or stop token ends the call, with `timeout` or
        // `cancelled`, as the live runner would.
        Expectation& hangs() { return hangs_ = true, *this; }
        // Answers one call only; later calls go on to the next matching expectation.
        Expectation& once() { return once_ = true, *this; }

    private:
        friend class ScriptedCommandRunner;
        Expectation(std::filesystem::path executable, std::optional<std::vector<std::string>> arguments)
            : executable_(std::move(executable)), arguments_(std::move(arguments)) {}
        bool matches(const std::filesystem::path& executable,
                     const std::vector<std::string>& arguments) const;

        std::filesystem::path executable_;
        std::optional<std::vector<std::string>> arguments_;
        Outcome outcome_ = CommandResult{};
        bool hangs_ = false;
        bool once_ = false;
        bool used_ = false;
    };

    // Matches every call of `executable`, whatever its arguments.
    Expectation& expect(const std::filesystem::path& executable);
    // Matches calls of `executable` with exactly these arguments.
    Expectation& expect(const std::filesystem::path& executable, std::vector<std::string> arguments);
    // The answer for calls no expectation matches.
    void unscripted(Outcome outcome);

    std::vector<Call> calls() const;
    std::vector<std::string> commandLines() const;

    std::expected<CommandResult, CommandError> run(const std::filesystem::path& executable,
                                                   const std::vector<std::string>& arguments,
                                                   std::chrono::nanoseconds timeout,
                                                   StopToken stop = {}) override;

private:
    mutable std::mutex mutex_;
    std::condition_variable_any neverNotified_; // waits of `hangs` end by time or stop token only
    std::deque<Expectation> expectations_;      // a deque keeps the references `expect` hands out valid
    std::optional<Outcome> unscripted_;
    std::vector<Call> calls_;
};

} // namespace velmora::test
