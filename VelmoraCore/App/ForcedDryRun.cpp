#include "App/ForcedDryRun.hpp"

#include <algorithm>
#include <cstdlib>

namespace velmora {

bool isDryRunForced(const std::vector<std::string>& arguments,
                    std::optional<std::string_view> environmentValue) {
    return std::ranges::find(arguments, dryRunArgument) != arguments.end() || environmentValue == "1";
}

bool isDryRunForced(int argc, const char* const* argv) {
    std::vector<std::string> arguments;
    // argv[0] is the program's path, not an argument.
    for (int index = 1; index < argc; ++index)
        arguments.emplace_back(argv[index]);
    std::optional<std::string_view> value;
    if (const char* raw = std::getenv(std::string(dryRunEnvironmentVariable).c_str()))
        value = raw;
    return isDryRunForced(arguments, value);
}

} // namespace velmora
