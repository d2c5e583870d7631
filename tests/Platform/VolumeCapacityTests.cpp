#include "Platform/VolumeCapacity.hpp"

#include <gtest/gtest.h>

using namespace velmora;

TEST(VolumeCapacity, ReportedValuesOrUnavailableWhenOneIsMissing) {
    using Result = std::expected<DiskSpace, DiskInfoError>;
    const Result unavailable = std::unexpected(DiskInfoError::capacityUnavailable);
    const struct {
        ReportedCapacity reported;
        Result expected;
    } cases[] = {
        {{5, 10}, DiskSpace{5, 10}},  {{0, 10}, DiskSpace{0, 10}}, {{50, 10}, DiskSpace{10, 10}},
        {{-1, 10}, DiskSpace{0, 10}}, {{{}, 10}, unavailable},     {{5, {}}, unavailable},
        {{{}, {}}, unavailable},      {{5, 0}, unavailable},
    };
    for (const auto& c : cases)
        EXPECT_EQ(reportedCapacity(c.reported), c.expected)
            << c.reported.free.value_or(-99) << "/" << c.reported.total.value_or(-99);
    const auto root = statvfsCapacity("/");
    ASSERT_TRUE(root);
    EXPECT_GT(root->total, 0);
    EXPECT_LE(root->free, root->total);
    EXPECT_EQ(statvfsCapacity("/no/such/folder/here"), unavailable);
}
