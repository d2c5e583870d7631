#include "Support/Text.hpp"

#include <gtest/gtest.h>

using namespace velmora;

TEST(TextMarks, RemovesCombiningSpacingAndEnclosingMarksOnly) {
    EXPECT_EQ(Text::removingMarks("Cafe\u0301"), "Cafe");         // Mn
    EXPECT_EQ(Text::removingMarks("to\u20DDken"), "token");       // Me
    EXPECT_EQ(Text::removingMarks("\u0915\u0903x"), "\u0915x");   // Mc
    EXPECT_EQ(Text::removingMarks("Café ß 日本"), "Café ß 日本"); // precomposed letters stay
    EXPECT_EQ(Text::removingMarks("a\xFF\u0301b"), "a\xFF"
                                                   "b"); // broken bytes stay, marks go
    EXPECT_TRUE(Text::isValidUTF8("Grüße"));
    EXPECT_FALSE(Text::isValidUTF8("Gr\xFC\xDF"
                                   "e"));
}
