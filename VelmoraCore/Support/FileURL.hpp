// file:// URL text for local paths, percent-encoding what a URL may not carry.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

std::string fileURLText(const std::filesystem::path& path);
// Accepts "file://" followed by an absolute, percent-encoded path; anything else yields nothing.
std::optional<std::filesystem::path> pathFromFileURL(std::string_view text);

} // namespace velmora
