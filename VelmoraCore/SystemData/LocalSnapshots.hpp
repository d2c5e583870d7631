// The local snapshots of the start disk as `tmutil listlocalsnapshots /` names them. Their size is not
// something the system tells, so only their names and count are known.
#pragma once

#include "Platform/CommandRunner.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <expected>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class LocalSnapshots {
public:
    static constexpr std::chrono::seconds timeout{30};

    explicit LocalSnapshots(std::shared_ptr<CommandRunner> runner,
                            std::filesystem::path tmutil = "/usr/bin/tmutil");

    // The snapshot names, or the German reason the tool could not tell them.
    std::expected<std::vector<std::string>, std::string> list(StopToken stop = {}) const;

    // Every line that names a snapshot ("com.apple.TimeMachine.2021-07-23-151043.local" and the like);
    // the header ("Snapshots for …:"), blank lines and anything with blanks or control characters are
    // not names.
    static std::vector<std::string> parse(std::string_view output);

private:
    std::shared_ptr<CommandRunner> runner_;
    std::filesystem::path tmutil_;
};

} // namespace velmora
