// JSON text in the form the macOS encoder writes with pretty printing and sorted keys: two-blank
// indentation, " : " between name and value, "/" escaped, empty containers as "[\n\n]" / "{\n\n}".
// Files written by the Mac version and by us then look the same.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace velmora {

// Keys come out sorted (nlohmann objects are ordered maps); text that is not UTF-8 is replaced.
std::string prettyJSON(const nlohmann::json& value);

} // namespace velmora
