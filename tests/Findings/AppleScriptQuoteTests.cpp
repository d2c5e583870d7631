#include "Findings/AppleScriptQuote.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <random>

using namespace velmora;

namespace {

// Reads an AppleScript string literal back the way AppleScript does (backslash escapes for "\\", "\"",
// "\n", "\r", "\t"); nothing when the text is not one well-formed literal.
std::optional<std::string> readAppleScriptLiteral(std::string_view literal) {
    if (literal.size() < 2 || literal.front() != '"' || literal.back() != '"')
        return std::nullopt;
    std::string text;
    for (std::size_t i = 1; i + 1 < literal.size(); ++i) {
        char c = literal[i];
        if (c == '"')
            return std::nullopt; // an unescaped quote would have ended the literal here
        if (c == '\\') {
            if (++i + 1 >= literal.size())
                return std::nullopt;
            const char next = literal[i];
            c = next == 'n' ? '\n' : next == 'r' ? '\r' : next == 't' ? '\t' : next;
        }
        text.push_back(c);
    }
    return text;
}

} // namespace

TEST(AppleScriptQuote, LiteralReadsBackToTheExactText) {
    EXPECT_EQ(AppleScriptQuote::stringLiteral("a\\b \"c\"\nä"), "\"a\\\\b \\\"c\\\"\nä\"");
    EXPECT_EQ(AppleScriptQuote::stringLiteral(""), "\"\"");
    EXPECT_EQ(AppleScriptQuote::stringLiteral("\\n"), "\"\\\\n\"");

    const std::vector<std::string> pieces{"a", " ",   "\\",   "\"", "\n", "\r", "\t",
                                          "'", "\\n", "\\\"", "ä",  "$",  "`"};
    std::mt19937 random(4242);
    std::uniform_int_distribution<std::size_t> pick(0, pieces.size() - 1);
    for (int round = 0; round < 500; ++round) {
        std::string text;
        for (int i = round % 17; i > 0; --i)
            text += pieces[pick(random)];
        EXPECT_EQ(readAppleScriptLiteral(AppleScriptQuote::stringLiteral(text)), text);
    }
}
