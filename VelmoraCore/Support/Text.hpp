// The one place where text meets Unicode rules (ICU): white space, case, marks, UTF-8 repair.
#pragma once

#include <string>
#include <string_view>

namespace velmora::Text {

// Every white-space character (no-break and narrow spaces included) becomes a plain blank.
std::string plainSpaces(std::string_view utf8);

// Invalid UTF-8 sequences are replaced by U+FFFD; valid text comes back unchanged.
std::string repairUTF8(std::string_view bytes);

// Unicode lower-casing, independent of the locale.
std::string lowercased(std::string_view utf8);

} // namespace velmora::Text
