// The one quoting rule for text put into an AppleScript (the admin script, notifications).
#pragma once

#include <string>
#include <string_view>

namespace velmora::AppleScriptQuote {

// The text as an AppleScript string literal: every backslash doubled, every double quote preceded by
// a backslash, enclosed in double quotes. Line breaks and non-ASCII stay as they are.
std::string stringLiteral(std::string_view text);

} // namespace velmora::AppleScriptQuote
