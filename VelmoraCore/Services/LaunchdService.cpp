#include "Services/LaunchdService.hpp"

#include "Support/StopToken.hpp"
#include "Support/Text.hpp"

#include <algorithm>

namespace velmora {

std::optional<std::string> LaunchdService::target(LaunchScope scope, std::uint32_t uid,
                                                  std::string_view label) {
    switch (scope) {
    case LaunchScope::user:
    case LaunchScope::allUsers:
        return "gui/" + std::to_string(uid) + "/" + std::string(label);
    case LaunchScope::system:
        return "system/" + std::string(label);
    case LaunchScope::loginItem:
        return std::nullopt;
    }
    return std::nullopt;
}

LaunchdService LaunchdService::parse(std::string_view output) {
    LaunchdService service;
    service.isRunning = output.find("state = running") != std::string_view::npos;
    // The service's block opens on the first line ("gui/501/x = {"); nested blocks ("arguments = {")
    // hold lines of the same shape that must not count.
    int depth = 0;
    std::size_t start = 0;
    while (start < output.size()) {
        const auto end = std::min(output.find('\n', start), output.size());
        const std::string_view line = Text::trimmed(output.substr(start, end - start));
        start = end + 1;
        if (line.ends_with('{')) {
            ++depth;
            continue;
        }
        if (line.starts_with('}')) {
            // A stray closer in damaged output must not push the real block out of reach.
            depth = std::max(depth - 1, 0);
            continue;
        }
        if (depth != 1)
            continue;
        const auto equals = line.find(" = ");
        if (equals == std::string_view::npos)
            continue;
        const std::string_view key = line.substr(0, equals);
        const std::string value(Text::trimmed(line.substr(equals + 3)));
        if (key == "program" && !service.program)
            service.program = value;
        else if (key == "path" && !service.path)
            service.path = value;
    }
    return service;
}

std::expected<LaunchdService, LaunchdQueryError>
LaunchdService::query(CommandRunner& runner, const std::string& target, StopToken stop) {
    const auto result = runner.run(launchctl, {"print", target}, timeout, std::move(stop));
    if (!result)
        return std::unexpected(LaunchdQueryError::unclear);
    if (result->exitCode == 3 || result->exitCode == 113)
        return std::unexpected(LaunchdQueryError::notLoaded);
    if (result->exitCode != 0)
        return std::unexpected(LaunchdQueryError::unclear);
    return parse(result->standardOutput);
}

} // namespace velmora
