#include "Support/Text.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace velmora;

namespace {

TEST(FinderOrder, NumbersByValueAndUmlautsWithTheirLetter) {
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

TEST(FinderOrder, TrimmedDropsUnicodeBlanksAtBothEnds) {
    EXPECT_EQ(Text::trimmed(" \t\u00a0Name: x\u2009\r"), "Name: x");
    EXPECT_EQ(Text::trimmed("   "), "");
    EXPECT_EQ(Text::trimmed(""), "");
    EXPECT_EQ(Text::trimmed("a b"), "a b");
    EXPECT_EQ(Text::trimmed("\xff "), "\xff");
}

} // namespace
