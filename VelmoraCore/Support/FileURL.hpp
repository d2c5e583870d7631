// file:// URL text for local paths, percent-encoding what a URL may not carry.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

std::string fileURLText(const std::filesystem::path& path);
// The path's bytes with everything but letters, digits and "/-._~" percent-encoded (upper-case hex), as a
// URL's path carries it; also the form of the original path in a freedesktop.org .trashinfo file.
std::string percentEncodedPath(const std::filesystem::path& path);
// Accepts "file://" followed by an absolute, percent-encoded path; anything else yields nothing.
std::optional<std::filesystem::path> pathFromFileURL(std::string_view text);

} // namespace velmora
