// The apps macOS has registered for a bundle identifier, wherever they lie (LaunchServices). Only on a
// Mac; elsewhere there is no registry to ask.
#pragma once

#ifdef __APPLE__

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace velmora::LaunchServices {

// The registered app bundles, best first; an empty list when the system knows no such app; nothing
// when it could not answer. Thread-safe.
std::optional<std::vector<std::filesystem::path>> applicationURLs(std::string_view bundleID);

} // namespace velmora::LaunchServices

#endif
