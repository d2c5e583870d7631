#include "Doubles/TempTree.hpp"
#include "Platform/FileIdentity.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using namespace velmora::testing;
namespace fs = std::filesystem;

TEST(FileIdentity, TellsKindsApartStaysWithTheContentAndChangesWithTheObject) {
    TempTree tree;
    const auto file = FileIdentity::of(tree.file("folder/file.txt"));
    const auto folder = FileIdentity::of(tree / "folder");
    const auto link = FileIdentity::of(tree.link("link", tree / "folder"));
    ASSERT_TRUE(file && folder && link);
    EXPECT_EQ(file->kind, FileIdentity::Kind::file);
    EXPECT_EQ(folder->kind, FileIdentity::Kind::folder);
    EXPECT_EQ(link->kind, FileIdentity::Kind::symlink);
    EXPECT_NE(link->inode, folder->inode);
    EXPECT_FALSE(FileIdentity::of(tree / "missing"));
    EXPECT_FALSE(FileIdentity::of(""));

    tree.file("cache/old.bin");
    const auto scanned = FileIdentity::of(tree / "cache");
    ASSERT_TRUE(scanned);

    // An app writing into its cache between scan and removal is no reason to skip it.
    tree.file("cache/new.bin");
    fs::remove(tree / "cache/old.bin");
    EXPECT_EQ(scanned->changeReason(tree / "cache"), std::nullopt);

    // Another folder under the same name, while the old one still exists elsewhere.
    fs::rename(tree / "cache", tree / "moved");
    tree.folder("cache");
    EXPECT_EQ(scanned->changeReason(tree / "cache"), "Hat sich seit dem Scan verändert – nicht angefasst");

    // Deleted and made again: the system may hand out the old inode number again.
    const auto second = FileIdentity::of(tree / "cache");
    fs::remove(tree / "cache");
    tree.folder("cache");
    const auto third = FileIdentity::of(tree / "cache");
    ASSERT_TRUE(second && third);
    if (second->inode == third->inode && !second->birthTime)
        GTEST_SKIP() << "this file system reuses the inode and reports no birth time";
    EXPECT_NE(second, third);

    // A link put in place of the folder, pointing to the folder itself, is still a change.
    fs::remove(tree / "cache");
    tree.link("cache", tree / "moved");
    EXPECT_EQ(scanned->changeReason(tree / "cache"), "Hat sich seit dem Scan verändert – nicht angefasst");
    fs::remove(tree / "cache");
    EXPECT_EQ(scanned->changeReason(tree / "cache"), "Existiert nicht mehr");
}
