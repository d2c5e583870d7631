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

TEST(Text, PrintableShowsEverythingThatCouldFakeOrHideALine) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"Grüße 日本 a\\b ~/x y", "Grüße 日本 a\\b ~/x y"}, // text and blanks stay as they are
        {"a\nb\r\tc\x1b[2K\x1b[1A\x7f\b", "a\\nb\\r\\tc\\x1b[2K\\x1b[1A\\x7f\\x08"},
        {std::string("nul\0end", 7), "nul\\x00end"},
        {"\xC2\x85\xC2\x9B line\u2028", "\\u0085\\u009b line\\u2028"}, // C1 controls, separator
        {"\u202Etxt.exe\u202C \u2066\u2069\u200F", "\\u202etxt.exe\\u202c \\u2066\\u2069\\u200f"}, // bidi
        {"Gr\xFC\xDF!\xE2\x80 \xED\xA0\x80",
         "Gr\\xfc\\xdf!\\xe2\\x80 \\xed\\xa0\\x80"}, // Latin-1, cut short, surrogate
    };
    for (const auto& [raw, shown] : cases) {
        EXPECT_EQ(Text::printable(raw), shown) << shown;
        EXPECT_TRUE(Text::isValidUTF8(Text::printable(raw))) << shown;
    }
}
