#include "Findings/ByteFormat.hpp"

#include <gtest/gtest.h>

using namespace velmora;

namespace {

template <typename Format> std::vector<std::string> shown(Format format, std::vector<std::int64_t> counts) {
    std::vector<std::string> texts;
    for (const auto count : counts)
        texts.push_back(format(count));
    return texts;
}

} // namespace

// Decimal units for files and binary ones for memory, in German; each unit ends exactly where rounding
// would reach the next one.
TEST(ByteFormat, GermanUnitsChangeExactlyWhereRoundingReachesTheNextUnit) {
    EXPECT_EQ(shown(ByteFormat::fileSize,
                    {0, 1, 999, 1000, 1024, 1500, 999'499, 999'500, 1'500'000, -1'500'000, 999'949'999,
                     999'950'000, 1'000'000'000, 4'200'000'000, 10'000'000'001, 999'994'999'999,
                     999'995'000'000, 999'995'000'000'000, 12'345'678'901'234'567}),
              (std::vector<std::string>{"Null kB", "1 Byte", "999 Byte", "1 kB", "1 kB", "2 kB", "999 kB",
                                        "1 MB", "1,5 MB", "-1,5 MB", "999,9 MB", "1 GB", "1 GB", "4,2 GB",
                                        "10 GB", "999,99 GB", "1 TB", "1 PB", "12,35 PB"}));
    EXPECT_EQ(shown(ByteFormat::memory, {0, 1'023, 1024, 1'040'000, 1'048'063, 1'048'064, 1'073'689'395,
                                         1'073'689'396, 17'179'869'184}),
              (std::vector<std::string>{"Null kB", "1.023 Byte", "1 kB", "1.016 kB", "1.023 kB", "1 MB",
                                        "1.023,9 MB", "1 GB", "16 GB"}));
    // Only plain spaces, whatever the count.
    for (const auto& text : shown(ByteFormat::fileSize, {123'456'789, INT64_MAX, INT64_MIN}))
        EXPECT_TRUE(text.find("\xC2\xA0") == text.npos && text.find("\xE2\x80\xAF") == text.npos) << text;
}
