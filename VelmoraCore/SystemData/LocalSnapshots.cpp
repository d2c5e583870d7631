#include "SystemData/LocalSnapshots.hpp"

#include "Platform/CommandFailureText.hpp"

#include <algorithm>

namespace velmora {

LocalSnapshots::LocalSnapshots(std::shared_ptr<CommandRunner> runner, std::filesystem::path tmutil)
    : runner_(std::move(runner)), tmutil_(std::move(tmutil)) {}

std::expected<std::vector<std::string>, std::string> LocalSnapshots::list(StopToken stop) const {
    const auto outcome = runner_->run(tmutil_, {"listlocalsnapshots", "/"}, timeout, stop);
    if (!outcome || outcome->exitCode != 0)
        return std::unexpected(commandFailureText(tmutil_, outcome));
    return parse(outcome->standardOutput);
}

std::vector<std::string> LocalSnapshots::parse(std::string_view output) {
    // Bounded: a runaway tool must not make the list unbounded.
    constexpr std::size_t maxSnapshots = 10'000;
    constexpr std::size_t maxNameLength = 255;
    std::vector<std::string> names;
    while (!output.empty() && names.size() < maxSnapshots) {
        const auto end = std::min(output.find('\n'), output.size());
        auto line = output.substr(0, end);
        output.remove_prefix(std::min(end + 1, output.size()));
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        const bool plain = std::ranges::none_of(
            line, [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == 0x7f; });
        if (line.empty() || !plain || line.size() > maxNameLength || line.ends_with(':'))
            continue;
        names.emplace_back(line);
    }
    return names;
}

} // namespace velmora
