#include "Support/AtomicFile.hpp"

#include "Doubles/TempTree.hpp"

#include <gtest/gtest.h>

using namespace velmora;
using velmora::testing::contentOf;
using velmora::testing::TempTree;

namespace {

std::filesystem::perms permissionsOf(const std::filesystem::path& file) {
    return std::filesystem::status(file).permissions() & std::filesystem::perms::all;
}

TEST(AtomicFile, CreatesFoldersReplacesKeepingTheModeAndReportsTheStepThatFailed) {
    TempTree tree;
    const auto file = tree("/a/b/data.json");
    ASSERT_TRUE(writeFileAtomically(file, "first"));
    EXPECT_EQ(contentOf(file), "first");
    using std::filesystem::perms;
    EXPECT_EQ(permissionsOf(file),
              perms::owner_read | perms::owner_write | perms::group_read | perms::others_read);

    std::filesystem::permissions(file, perms::owner_read | perms::owner_write);
    ASSERT_TRUE(writeFileAtomically(file, std::string(100'000, 'z')));
    EXPECT_EQ(contentOf(file), std::string(100'000, 'z'));
    EXPECT_EQ(permissionsOf(file), perms::owner_read | perms::owner_write);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(tree("/a/b")), {}), 1);

    // A failed step is named and leaves nothing behind.
    tree.file("/plain", "");
    const auto noFolder = writeFileAtomically(tree("/plain/sub/data.json"), "x");
    ASSERT_FALSE(noFolder);
    EXPECT_EQ(noFolder.error().step, AtomicWriteError::Step::createFolder);

    // A non-empty folder cannot be replaced by a file: the rename fails, the temporary file goes.
    tree.file("/target/inside", "keep me");
    const auto onFolder = writeFileAtomically(tree("/target"), "x");
    ASSERT_FALSE(onFolder);
    EXPECT_EQ(onFolder.error().step, AtomicWriteError::Step::replace);
    EXPECT_EQ(contentOf(tree("/target/inside")), "keep me");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(tree.root()), {}), 3);
}

} // namespace
