#include "Platform/AppDataLocation.hpp"
#include "Platform/DiskInfo.hpp"
#include "Platform/FullDiskAccess.hpp"
#include "Platform/PlatformLayout.hpp"
#include "Platform/VolumeCapacity.hpp"

#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace velmora;
using velmora::testing::TempTree;

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
    const auto root = DiskInfo().diskSpace("/");
    ASSERT_TRUE(root);
    EXPECT_TRUE(root->total > 0 && root->free <= root->total);
    EXPECT_EQ(DiskInfo().diskSpace("/no/such/folder/here"), unavailable);
    // A volume that reports no blocks at all, as the process file system does.
    struct statvfs proc;
    if (::statvfs("/proc", &proc) == 0 && proc.f_blocks == 0) {
        EXPECT_EQ(DiskInfo().diskSpace("/proc"), unavailable);
    }
}

// Linux has no such protection; a Mac grants it when the Safari folder can be listed.
TEST(FullDiskAccess, MacLayoutListsTheSafariFolder) {
    EXPECT_TRUE(FullDiskAccess(PlatformLayout::linux).hasFullDiskAccess("/nonexistent/velmora/home"));
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

// The layouts' names round-trip; the data folder follows an absolute XDG_DATA_HOME only.
TEST(PlatformLayout, RawValuesRoundTripAndOneDataFolderPerLayout) {
    for (PlatformLayout layout : allPlatformLayouts)
        EXPECT_EQ(platformLayoutFromRawValue(rawValue(layout)), layout);
    EXPECT_EQ(platformLayoutFromRawValue("macOS"), std::nullopt);
    EXPECT_EQ(appDataFolder(PlatformLayout::macOS, "/Users/anna", "/ignored/on/a/mac"),
              "/Users/anna/Library/Application Support/Velmora2");
    for (const auto& [xdg, folder] : std::vector<std::pair<std::optional<std::string>, std::string>>{
             {std::nullopt, "/home/anna/.local/share/Velmora2"},
             {"", "/home/anna/.local/share/Velmora2"},
             {"relative/share", "/home/anna/.local/share/Velmora2"},
             {"/data/xdg", "/data/xdg/Velmora2"}})
        EXPECT_EQ(appDataFolder(PlatformLayout::linux, "/home/anna", xdg), folder) << xdg.value_or("none");
}
