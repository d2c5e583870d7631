// Whether dry run is forced from outside the app, before any setting is read: by the argument
// "--dry-run" or by VELMORA_DRY_RUN set to exactly "1".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

inline constexpr std::string_view dryRunArgument = "--dry-run";
inline constexpr std::string_view dryRunEnvironmentVariable = "VELMORA_DRY_RUN";

// `environmentValue` is the variable's value, nothing when it is not set. Only "1" counts: a value
// such as "true" or "yes" is more likely a typo than a wish, and a dry run that silently is none
// would be the worse surprise, so the one documented spelling is the only switch.
bool isDryRunForced(const std::vector<std::string>& arguments,
                    std::optional<std::string_view> environmentValue);

// The same question for this process: its arguments and its environment.
bool isDryRunForced(int argc, const char* const* argv);

} // namespace velmora
