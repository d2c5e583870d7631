// Runs one external command (no shell) with a time limit and returns its exit status and output.
#pragma once

#include "Support/StopToken.hpp"

#include <chrono>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <string>
#include <vector>

namespace velmora {

struct CommandResult {
    std::int32_t exitCode = 0;
    // Named this way because stdout/stderr are macros of the C library.
    std::string standardOutput; // UTF-8; invalid sequences are repaired, never rejected
    std::string standardError;

    bool operator==(const CommandResult&) const = default;
};

struct CommandError {
    enum class Kind {
        launchFailed, // the process could not be started; `message` says why, in German
        timeout,      // it ran past its limit and was terminated, then killed
        cancelled,    // the caller's stop token was triggered; the child was stopped the same way
    };
    Kind kind = Kind::launchFailed;
    std::string message;

    bool operator==(const CommandError&) const = default;
};

// Thread-safe: commands may run concurrently from many scanners. A non-zero exit status is a result,
// not an error.
class CommandRunner {
public:
    virtual ~CommandRunner() = default;

    // `executable` is an absolute path; `arguments` are passed as they are. Blocks until the command
    // ended, timed out, or `stop` was requested.
    virtual std::expected<CommandResult, CommandError> run(const std::filesystem::path& executable,
                                                           const std::vector<std::string>& arguments,
                                                           std::chrono::nanoseconds timeout,
                                                           StopToken stop = {}) = 0;
};

} // namespace velmora
