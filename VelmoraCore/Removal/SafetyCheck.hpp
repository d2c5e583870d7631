// How a remover asks the safety guard about one path, without depending on the guard's own type.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace velmora {

// Nothing: the path may be touched. A text: it must not, and the text (German) says why.
using SafetyCheck = std::function<std::optional<std::string>(const std::filesystem::path&)>;

} // namespace velmora
