// A command runner that forwards to another one but fails the calls a test picks, to prove that
// callers survive a runner that breaks halfway (one tool missing, one tool hanging, …).
#pragma once

#include "Platform/CommandRunner.hpp"

#include <functional>
#include <mutex>

namespace velmora::test {

// Usage:
//   ProcessCommandRunner live;            // or a ScriptedCommandRunner
//   FailingCommandRunner runner(live);
//   runner.failCallsTo("/usr/bin/brew", {CommandError::Kind::timeout, {}});
// Rules may be changed while other threads run commands through it.
class FailingCommandRunner final : public CommandRunner {
public:
    using Predicate = std::function<bool(const std::filesystem::path& executable,
                                         const std::vector<std::string>& arguments)>;

    explicit FailingCommandRunner(CommandRunner& inner) : inner_(inner) {}

    // From now on, calls for which `predicate` holds fail with `error` without reaching the inner
    // runner. The first matching rule decides.
    void failWhen(Predicate predicate, CommandError error) {
        std::lock_guard lock(mutex_);
        rules_.push_back(Rule{std::move(predicate), std::move(error)});
    }
    void failCallsTo(const std::filesystem::path& executable, CommandError error) {
        failWhen([executable](const std::filesystem::path& e, const auto&) { return e == executable; },
                 std::move(error));
    }
    void failEveryCall(CommandError error) {
        failWhen([](const auto&, const auto&) { return true; }, std::move(error));
    }
    void stopFailing() {
        std::lock_guard lock(mutex_);
        rules_.clear();
    }

    int injectedFailures() const {
        std::lock_guard lock(mutex_);
        return injected_;
    }
    int forwardedCalls() const {
        std::lock_guard lock(mutex_);
        return forwarded_;
    }

    std::expected<CommandResult, CommandError> run(const std::filesystem::path& executable,
                                                   const std::vector<std::string>& arguments,
                                                   std::chrono::nanoseconds timeout,
                                                   std::stop_token stop = {}) override {
        {
            std::lock_guard lock(mutex_);
            for (const auto& rule : rules_) {
                if (rule.predicate(executable, arguments)) {
                    ++injected_;
                    return std::unexpected(rule.error);
                }
            }
            ++forwarded_;
        }
        // Not under the lock: the inner run may take long, and other calls must not wait for it.
        return inner_.run(executable, arguments, timeout, std::move(stop));
    }

private:
    struct Rule {
        Predicate predicate;
        CommandError error;
    };

    CommandRunner& inner_;
    mutable std::mutex mutex_;
    std::vector<Rule> rules_;
    int injected_ = 0;
    int forwarded_ = 0;
};

} // namespace velmora::test
