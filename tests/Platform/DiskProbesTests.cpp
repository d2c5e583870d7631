#include "Platform/DiskInfo.hpp"
#include "Platform/FullDiskAccess.hpp"
#include "Platform/PlatformLayout.hpp"

#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace velmora;
using velmora::testing::TempTree;

TEST(DiskInfo, ReportsTheVolumeOfTheFolder) {
    TempTree tree;
    const auto space = DiskInfo().diskSpace(tree.root());
    ASSERT_TRUE(space.has_value());
    EXPECT_GT(space->total, 0);
    EXPECT_GE(space->free, 0);
    EXPECT_LE(space->free, space->total);

    // The same volume seen from a subfolder: the same capacity.
    const auto sub = DiskInfo().diskSpace(tree.folder("sub"));
    ASSERT_TRUE(sub.has_value());
    EXPECT_EQ(sub->total, space->total);
}

TEST(DiskInfo, NoCapacityIsAnError) {
    EXPECT_EQ(DiskInfo().diskSpace("/nonexistent/velmora/home"),
              std::unexpected(DiskInfoError::capacityUnavailable));
    // A volume that reports no blocks at all, as the process file system does.
    struct statvfs proc;
    if (::statvfs("/proc", &proc) != 0 || proc.f_blocks != 0)
        GTEST_SKIP() << "no zero-capacity file system at /proc here";
    EXPECT_EQ(DiskInfo().diskSpace("/proc"), std::unexpected(DiskInfoError::capacityUnavailable));
}

TEST(FullDiskAccess, MacLayoutListsTheSafariFolder) {
    TempTree home;
    const FullDiskAccess probe(PlatformLayout::macOS);
    EXPECT_FALSE(probe.hasFullDiskAccess(home.root())) << "missing folder";
    home.filledFile("Library/Safari", 10);
    EXPECT_FALSE(probe.hasFullDiskAccess(home.root())) << "a file, not a folder";
    std::filesystem::remove(home / "Library/Safari");
    home.filledFile("Library/Safari/History.db", 10);
    EXPECT_TRUE(probe.hasFullDiskAccess(home.root()));

    std::filesystem::permissions(home / "Library/Safari", std::filesystem::perms::none);
    bool denied = false;
    const bool bound = velmora::testing::runBoundByPermissions([&] {
        if (::faccessat(AT_FDCWD, (home / "Library/Safari").c_str(), R_OK, AT_EACCESS) != 0)
            denied = !probe.hasFullDiskAccess(home.root());
    });
    if (!bound)
        GTEST_SKIP() << "cannot make a folder unreadable for this process";
    EXPECT_TRUE(denied) << "a folder that cannot be listed means no access";
}

TEST(FullDiskAccess, LinuxLayoutAlwaysHasIt) {
    EXPECT_TRUE(FullDiskAccess(PlatformLayout::linux).hasFullDiskAccess("/nonexistent/velmora/home"));
}

TEST(PlatformLayout, RawValuesRoundTrip) {
    for (PlatformLayout layout : allPlatformLayouts)
        EXPECT_EQ(platformLayoutFromRawValue(rawValue(layout)), layout);
    EXPECT_EQ(platformLayoutFromRawValue("macOS"), std::nullopt);
#ifdef __APPLE__
    EXPECT_EQ(hostLayout(), PlatformLayout::macOS);
#else
    EXPECT_EQ(hostLayout(), PlatformLayout::linux);
#endif
}
