#include "Doubles/TempTree.hpp"
#include "Platform/FileIdentity.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::testing;
namespace fs = std::filesystem;

// What changed between scan and removal is the removers' tests' business; here the identity itself: the
// kind of entry, and a folder deleted and made again under its name, whose inode number may be reused.
TEST(FileIdentity, TellsKindsApartAndAFolderMadeAgainFromTheOldOne) {
    TempTree tree;
    const auto file = FileIdentity::of(tree.file("folder/file.txt"));
    const auto folder = FileIdentity::of(tree / "folder");
    const auto link = FileIdentity::of(tree.link("link", tree / "folder"));
    ASSERT_TRUE(file && folder && link);
    EXPECT_EQ(std::tuple(file->kind, folder->kind, link->kind),
              std::tuple(FileIdentity::Kind::file, FileIdentity::Kind::folder, FileIdentity::Kind::symlink));
    EXPECT_NE(link->inode, folder->inode);
    EXPECT_FALSE(FileIdentity::of(tree / "missing") || FileIdentity::of(""));

    const auto first = FileIdentity::of(tree.folder("cache"));
    tree.file("cache/new.bin"); // an app writing into its cache changes nothing that counts
    EXPECT_EQ(first->changeReason(tree / "cache"), std::nullopt);
    fs::remove_all(tree / "cache");
    const auto second = FileIdentity::of(tree.folder("cache"));
    ASSERT_TRUE(first && second);
    if (first->inode == second->inode && !first->birthTime)
        GTEST_SKIP() << "this file system reuses the inode and reports no birth time";
    EXPECT_NE(first, second);
    EXPECT_EQ(first->changeReason(tree / "cache"), "Hat sich seit dem Scan verändert – nicht angefasst");
    EXPECT_EQ(first->changeReason(tree / "folder/file.txt/below"), "Existiert nicht mehr");
}
