// The live command runner: starts the executable itself (posix_spawn, no shell), collects both output
// streams while it runs, and stops it at its time limit or when the caller cancels.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

// Each run owns its child, its pipes and its deadlines; the runner itself only holds the environment
// built at construction, so one instance may serve many threads at once.
//
// - The child gets standard input from /dev/null, and standard output and error on two pipes that
//   are read with poll() until both reach end-of-file, so a chatty child never blocks.
// - The child leads a process group of its own; termination is sent to the whole group so that
//   helpers it started (`sh -c 'sleep 100'`) stop with it. Helpers that move into a group or session
//   of their own are out of reach; the child itself is also signalled by its pid.
// - At the time limit, or when `stop` is requested, the group gets SIGTERM, and SIGKILL once the
//   grace period has passed. The child is always reaped before `run` returns.
// - A child that ends through a signal reports 128 + the signal number as its exit code, as a shell
//   would.
// - If something outside the group keeps the pipes open after the child ended (a daemon it started),
//   the run waits for that only until the time limit, then gives up the pipes and reports `timeout`.
class ProcessCommandRunner final : public CommandRunner {
public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    struct Options {
        // Time between SIGTERM and SIGKILL.
        std::chrono::milliseconds terminationGrace{2000};
        // Variables every child gets on top of the application's environment and `homebrewQuiet()`;
        // they replace variables of the same name. Runners for located tools put a "PATH" here,
        // typically ToolLocator::pathVariable() followed by the inherited PATH.
        Environment extraEnvironment;
    };

    ProcessCommandRunner();
    explicit ProcessCommandRunner(Options options);

    // Fails with `launchFailed` (German text for the error, e.g. "Programm nicht gefunden")
    // when the executable cannot be started, `timeout` when it ran past `timeout`, and `cancelled`
    // when `stop` was requested before it ended on its own.
    std::expected<CommandResult, CommandError> run(const std::filesystem::path& executable,
                                                   const std::vector<std::string>& arguments,
                                                   std::chrono::nanoseconds timeout,
                                                   StopToken stop = {}) override;

    // Keeps brew from updating itself, printing hints or cleaning up while we run it; given to every
    // child because the names mean nothing to other tools.
    static const Environment& homebrewQuiet();

    // The application's environment (`parent`, in "NAME=value" form) with `additions` applied in
    // order, each replacing a variable of the same name. Order of the untouched variables is kept.
    static std::vector<std::string> mergedEnvironment(const std::vector<std::string>& parent,
                                                      const Environment& additions);

private:
    std::chrono::milliseconds grace_;
    std::vector<std::string> environment_; // "NAME=value", ready for the child
};

} // namespace velmora
