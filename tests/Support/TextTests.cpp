#include "Support/Text.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

using namespace velmora;

namespace {

TEST(Text, TrimmedRemovingMarksPrintableAndFinderOrder) {
    EXPECT_EQ(Text::trimmed(" \t\u00a0Name: x\u2009\r"), "Name: x");
    EXPECT_EQ(Text::trimmed("   "), "");
    EXPECT_EQ(Text::trimmed(""), "");
    EXPECT_EQ(Text::trimmed("a b"), "a b");
    EXPECT_EQ(Text::trimmed("\xff "), "\xff");
    EXPECT_EQ(Text::removingMarks("Cafe\u0301"), "Cafe");         // Mn
    EXPECT_EQ(Text::removingMarks("to\u20DDken"), "token");       // Me
    EXPECT_EQ(Text::removingMarks("\u0915\u0903x"), "\u0915x");   // Mc
    EXPECT_EQ(Text::removingMarks("Café ß 日本"), "Café ß 日本"); // precomposed letters stay
    EXPECT_EQ(Text::removingMarks("a\xFF\u0301b"), "a\xFF"
                                                   "b"); // broken bytes stay, marks go
    EXPECT_TRUE(Text::isValidUTF8("Grüße"));
    EXPECT_FALSE(Text::isValidUTF8("Gr\xFC\xDF"
                                   "e"));

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

    // Finder order: numbers by value, umlauts with their letter, case aside.
    std::vector<std::string> names{"zebra",   "Agent 10", "Banane", "Äpfel",
                                   "Agent 2", "Öl",       "Ofen",   "agent 3"};
    std::ranges::sort(names, [](const auto& a, const auto& b) { return Text::finderCompare(a, b) < 0; });
    EXPECT_EQ(names, (std::vector<std::string>{"Agent 2", "agent 3", "Agent 10", "Äpfel", "Banane", "Ofen",
                                               "Öl", "zebra"}));
    EXPECT_EQ(Text::finderCompare("x", "x"), 0);
    EXPECT_LT(Text::finderCompare("", "a"), 0);
    // Invalid UTF-8 compares without crashing, consistently.
    EXPECT_EQ(Text::finderCompare("\xff", "\xff"), 0);
}

} // namespace
