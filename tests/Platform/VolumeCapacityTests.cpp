#include "Platform/VolumeCapacity.hpp"

#include <gtest/gtest.h>

using namespace velmora;

TEST(VolumeCapacity, ReportedValuesWinUnlessMissingOrZero) {
    using Result = std::expected<DiskSpace, DiskInfoError>;
    const Result counted = DiskSpace{.free = 3, .total = 100};
    const Result unavailable = std::unexpected(DiskInfoError::capacityUnavailable);
    const struct {
        ReportedCapacity reported;
        Result fileSystem;
        Result expected;
        int countsAsked;
    } cases[] = {
        {{5, 10}, counted, DiskSpace{5, 10}, 0},   {{5, 10}, unavailable, DiskSpace{5, 10}, 0},
        {{0, 10}, counted, DiskSpace{3, 10}, 1}, // zero: the service had nothing behind it
        {{{}, 10}, counted, DiskSpace{3, 10}, 1},  {{5, {}}, counted, DiskSpace{5, 100}, 1},
        {{-1, -1}, counted, DiskSpace{3, 100}, 1}, {{{}, {}}, counted, DiskSpace{3, 100}, 1},
        {{0, 10}, unavailable, unavailable, 1},    {{{}, {}}, unavailable, unavailable, 1},
        {{50, 10}, counted, DiskSpace{10, 10}, 0}, // never more free than there is
    };
    for (const auto& c : cases) {
        int asked = 0;
        const auto space = preferReportedCapacity(c.reported, [&] {
            ++asked;
            return c.fileSystem;
        });
        EXPECT_EQ(space, c.expected) << c.reported.free.value_or(-99) << "/"
                                     << c.reported.total.value_or(-99);
        EXPECT_EQ(asked, c.countsAsked);
    }
}
