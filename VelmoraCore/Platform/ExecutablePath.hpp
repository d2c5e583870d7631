// Where the running program's own executable lives, for the scheduled check to start it again.
#pragma once

#include <filesystem>
#include <optional>

namespace velmora {

// Linux: the target of /proc/self/exe (without the " (deleted)" the kernel appends when the file was
// replaced since the start: the new file at that path is the one to run). macOS: the loader's path,
// resolved. Nothing when the system does not tell.
std::optional<std::filesystem::path> currentExecutablePath();

} // namespace velmora
