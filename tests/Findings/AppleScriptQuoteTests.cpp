#include "Findings/AppleScriptQuote.hpp"

#include <gtest/gtest.h>

using namespace velmora;

// Only the backslash and the double quote end or bend a literal; every other byte passes as it is.
TEST(AppleScriptQuote, EscapesBackslashAndQuoteAndNothingElse) {
    EXPECT_EQ(AppleScriptQuote::stringLiteral("a\\b \"c\"\nä\r\t'$`"), "\"a\\\\b \\\"c\\\"\nä\r\t'$`\"");
    EXPECT_EQ(AppleScriptQuote::stringLiteral(""), "\"\"");
    EXPECT_EQ(AppleScriptQuote::stringLiteral("\\n\\\""), "\"\\\\n\\\\\\\"\"");
}
