// Runs the one administrator script of a removal with elevated rights and reports, per step, the exit
// status the script wrote back – or that the run failed or the user cancelled the prompt.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Support/StopToken.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace velmora {

struct AdminRunResult {
    struct Completed {
        // One entry per step of the script; empty where no valid status line for the step was read.
        std::vector<std::optional<std::int32_t>> statuses;
        bool operator==(const Completed&) const = default;
    };
    struct Failed {
        std::string reason; // German, shown as the reason of every item of the run
        bool operator==(const Failed&) const = default;
    };
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };

    std::variant<Completed, Failed, Cancelled> value;

    bool operator==(const AdminRunResult&) const = default;

    static AdminRunResult completed(std::vector<std::optional<std::int32_t>> statuses) {
        return {Completed{std::move(statuses)}};
    }
    static AdminRunResult failed(std::string reason) { return {Failed{std::move(reason)}}; }
    static AdminRunResult cancelled() { return {Cancelled{}}; }
};

// A script ready to run, with what is needed to read its status lines back. The nonce is fresh for
// every run, so that nothing the commands print can pass for a status line.
struct AdminScript {
    std::string text;
    std::string nonce;
    std::size_t stepCount = 0;

    bool operator==(const AdminScript&) const = default;
};

// Implementations run one script at a time per call and may block for as long as the user needs for
// the password prompt. `stop` ends the wait: the prompt (or the script) is terminated where the
// system lets us, and the result is `cancelled`.
class PrivilegedExecutor {
public:
    virtual ~PrivilegedExecutor() = default;

    virtual AdminRunResult run(const AdminScript& script, StopToken stop) = 0;
};

// How a run ends when the command runner could not carry it out: its time limit → "Zeitüberschreitung",
// the caller's stop → cancelled, a launch failure → failed with the system's text.
AdminRunResult adminRunResult(const CommandError& error);

} // namespace velmora
