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
