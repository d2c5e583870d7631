// The one quoting rule for every command line we show or put into a shell script.
#pragma once

#include <string>
#include <string_view>

namespace velmora::ShellQuote {

// Returns the text unchanged when it is not empty and made only of the 72 safe characters;
// otherwise wraps it in single quotes, writing each ' as '\''.
std::string quote(std::string_view text);

} // namespace velmora::ShellQuote
