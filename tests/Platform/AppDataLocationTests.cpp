#include "Platform/AppDataLocation.hpp"

#include <gtest/gtest.h>

using namespace velmora;

TEST(AppDataLocation, OneFolderPerLayout) {
    EXPECT_EQ(appDataFolder(PlatformLayout::macOS, "/Users/anna", "/ignored/on/a/mac"),
              "/Users/anna/Library/Application Support/Velmora2");
    EXPECT_EQ(appDataFolder(PlatformLayout::linux, "/home/anna", std::nullopt),
              "/home/anna/.local/share/Velmora2");
    EXPECT_EQ(appDataFolder(PlatformLayout::linux, "/home/anna", "/data/xdg"), "/data/xdg/Velmora2");
    // The base directory rules: an empty or relative value is as good as none.
    EXPECT_EQ(appDataFolder(PlatformLayout::linux, "/home/anna", ""), "/home/anna/.local/share/Velmora2");
    EXPECT_EQ(appDataFolder(PlatformLayout::linux, "/home/anna", "relative/share"),
              "/home/anna/.local/share/Velmora2");
}
