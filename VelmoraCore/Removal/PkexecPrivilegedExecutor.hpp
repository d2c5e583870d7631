// The Linux way to run the admin script: /usr/bin/pkexec /bin/sh -c <script>, where polkit shows its
// authentication dialog once for the whole script.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Removal/PrivilegedExecutor.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <memory>
#include <string_view>

namespace velmora {

// pkexec passes the exit status of the program on, and uses two of its own (pkexec(1)):
// - 126: the authorisation could not be obtained because the user dismissed the dialog → cancelled;
// - 127: not authorised, no authentication agent, or pkexec itself failed → failed with
//   "Keine Administratorrechte erhalten".
// The script's own last command is an echo, so it does not end with either by itself.
class PkexecPrivilegedExecutor final : public PrivilegedExecutor {
public:
    static constexpr std::chrono::minutes defaultTimeout{15};

    explicit PkexecPrivilegedExecutor(std::shared_ptr<CommandRunner> runner,
                                      std::chrono::nanoseconds timeout = defaultTimeout);

    // Exit 0: completed with the parsed status lines; 126: cancelled; 127: failed "Keine
    // Administratorrechte erhalten"; the runner's time limit: failed "Zeitüberschreitung"; any other
    // exit status N: failed "Exit N".
    AdminRunResult run(const AdminScript& script, StopToken stop) override;

    static constexpr std::string_view pkexec = "/usr/bin/pkexec";
    static constexpr std::string_view shell = "/bin/sh";

private:
    std::shared_ptr<CommandRunner> runner_;
    std::chrono::nanoseconds timeout_;
};

} // namespace velmora
