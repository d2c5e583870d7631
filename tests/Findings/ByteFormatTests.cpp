#include "Findings/ByteFormat.hpp"

#include <gtest/gtest.h>

using namespace velmora;

TEST(ByteFormat, FileSizesInGermanDecimalUnits) {
    EXPECT_EQ(ByteFormat::fileSize(0), "Null kB");
    EXPECT_EQ(ByteFormat::fileSize(1), "1 Byte");
    EXPECT_EQ(ByteFormat::fileSize(999), "999 Byte");
    EXPECT_EQ(ByteFormat::fileSize(1000), "1 kB");
    EXPECT_EQ(ByteFormat::fileSize(1500), "2 kB");
    EXPECT_EQ(ByteFormat::fileSize(1024), "1 kB");
    EXPECT_EQ(ByteFormat::fileSize(1'500'000), "1,5 MB");
    EXPECT_EQ(ByteFormat::fileSize(4'200'000'000), "4,2 GB");
}

TEST(ByteFormat, MemoryInBinaryUnits) {
    EXPECT_EQ(ByteFormat::memory(1024), "1 kB");
    EXPECT_EQ(ByteFormat::memory(1'040'000), "1.016 kB");
}

TEST(ByteFormat, UnitChangesExactlyWhereRoundingWouldReachTheNextUnit) {
    // Decimal limits: the last count still shown in a unit, and the first one of the next.
    EXPECT_EQ(ByteFormat::fileSize(999'499), "999 kB");
    EXPECT_EQ(ByteFormat::fileSize(999'500), "1 MB");
    EXPECT_EQ(ByteFormat::fileSize(999'949'999), "999,9 MB");
    EXPECT_EQ(ByteFormat::fileSize(999'950'000), "1 GB");
    EXPECT_EQ(ByteFormat::fileSize(999'994'999'999), "999,99 GB");
    EXPECT_EQ(ByteFormat::fileSize(999'995'000'000), "1 TB");
    EXPECT_EQ(ByteFormat::fileSize(999'995'000'000'000), "1 PB");
    EXPECT_EQ(ByteFormat::fileSize(12'345'678'901'234'567), "12,35 PB");
    EXPECT_EQ(ByteFormat::fileSize(1'000'000'000), "1 GB");
    EXPECT_EQ(ByteFormat::fileSize(10'000'000'001), "10 GB");
    // Binary limits.
    EXPECT_EQ(ByteFormat::memory(1'023), "1.023 Byte");
    EXPECT_EQ(ByteFormat::memory(1'048'063), "1.023 kB");
    EXPECT_EQ(ByteFormat::memory(1'048'064), "1 MB");
    EXPECT_EQ(ByteFormat::memory(1'073'689'395), "1.023,9 MB");
    EXPECT_EQ(ByteFormat::memory(1'073'689'396), "1 GB");
    EXPECT_EQ(ByteFormat::memory(17'179'869'184), "16 GB");
    EXPECT_EQ(ByteFormat::memory(0), "Null kB");
}

TEST(ByteFormat, NegativeCountsKeepTheirSignAndTextHasOnlyPlainSpaces) {
    EXPECT_EQ(ByteFormat::fileSize(-1'500'000), "-1,5 MB");
    for (std::int64_t bytes :
         {std::int64_t{0}, std::int64_t{1}, std::int64_t{123'456'789}, INT64_MAX, INT64_MIN}) {
        const auto text = ByteFormat::fileSize(bytes);
        EXPECT_EQ(text.find("\xC2\xA0"), std::string::npos) << text;
        EXPECT_EQ(text.find("\xE2\x80\xAF"), std::string::npos) << text;
    }
}
