#include "Findings/AppleScriptQuote.hpp"

namespace velmora::AppleScriptQuote {

std::string stringLiteral(std::string_view text) {
    std::string literal = "\"";
    literal.reserve(text.size() + 2);
    for (char c : text) {
        if (c == '\\' || c == '"')
            literal.push_back('\\');
        literal.push_back(c);
    }
    literal.push_back('"');
    return literal;
}

} // namespace velmora::AppleScriptQuote
