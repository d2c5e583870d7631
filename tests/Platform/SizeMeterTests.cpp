#include "Platform/SizeMeter.hpp"

#include "Doubles/TempTree.hpp"
#include "Support/StopToken.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace velmora;
using velmora::testing::occupiedBytes;
using velmora::testing::TempTree;

namespace {

// Settings that make even small test trees run on several threads and climb back through "..".
SizeMeter::Options stressed(unsigned threads) {
    return SizeMeter::Options{
        .threads = threads, .parallelAfterDirectories = 0, .openDirectoriesPerThread = 2};
}

struct Independent {
    std::int64_t bytes = 0;
    std::int64_t directories = 0;
};

// The count the meter must match, reached another way: lstat on every entry, each (device, inode) once.
Independent independentCount(const std::filesystem::path& root) {
    Independent result{0, 1};
    std::set<std::pair<dev_t, ino_t>> seen;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        struct stat st {};
        EXPECT_EQ(::lstat(entry.path().c_str(), &st), 0);
        if (S_ISDIR(st.st_mode))
            ++result.directories;
        else if (S_ISREG(st.st_mode) && seen.insert({st.st_dev, st.st_ino}).second)
            result.bytes += static_cast<std::int64_t>(st.st_blocks) * 512;
    }
    return result;
}

// Every kind of entry the meter has to get right, in one tree.
void buildMixedTree(const TempTree& tree) {
    tree.filledFile("a/one.txt", 1);
    tree.filledFile("a/empty", 0);
    tree.filledFile("a/b/c/big.bin", 300'000);
    tree.filledFile("a/b/c/d/e/f/g/leaf", 5000);
    for (int i = 0; i < 40; ++i)
        tree.filledFile(fmt::format("many/{}/f{}", i % 7, i), static_cast<std::size_t>(i) * 1500);
    tree.folder("empty/nested/deeper");
    tree.filledFile("links/original", 70'000);
    std::filesystem::create_hard_link(tree / "links/original", tree / "links/second");
    std::filesystem::create_hard_link(tree / "links/original", tree / "a/b/third");
    std::filesystem::create_symlink("../a", tree / "links/to-folder");
    std::filesystem::create_symlink("original", tree / "links/to-file");
    std::filesystem::create_symlink("loop2", tree / "links/loop1");
    std::filesystem::create_symlink("loop1", tree / "links/loop2");
    std::filesystem::create_symlink("..", tree / "links/up");
    ASSERT_EQ(::mkfifo((tree / "a/pipe").c_str(), 0644), 0);
    tree.filledFile("odd/caf\xe9", 3000);
    tree.filledFile("odd/\xff\xfe folder/x", 9000);
    tree.filledFile("odd/new\nline", 100);
}

} // namespace

TEST(SizeMeter, MatchesAnIndependentCountOnEveryThreadCount) {
    TempTree tree;
    buildMixedTree(tree);
    const Independent independent = independentCount(tree.root());
    const std::int64_t expected = independent.bytes;
    ASSERT_GT(expected, 600'000);

    for (unsigned threads : {1U, 2U, 4U, 8U}) {
        const SizeMeter::Result result = SizeMeter(stressed(threads)).measure(tree.root());
        EXPECT_EQ(result.bytes, expected) << threads << " threads";
        EXPECT_EQ(result.unreadable, 0);
        EXPECT_FALSE(result.stopped);
        EXPECT_EQ(result.directories, independent.directories) << "folders read once, links never followed";
    }
    EXPECT_EQ(SizeMeter().size(tree.root()), expected) << "default options";
    EXPECT_EQ(SizeMeter().size(tree.root().string() + "/"), expected) << "trailing slash";
    const auto bounded = SizeMeter().measureBounded(tree.root(), {}, true);
    EXPECT_TRUE(bounded.bytes == expected && bounded.complete);

    // What the location itself is decides: a link (with or without a trailing slash) is never followed,
    // a hard-linked file is its own size.
    const auto original = occupiedBytes(tree / "links/original");
    ASSERT_GT(original, 70'000);
    const std::vector<std::pair<std::filesystem::path, std::int64_t>> locations = {
        {tree / "links/second", original},
        {tree / "links/to-file", 0},
        {tree / "links/to-folder", 0},
        {tree.root().string() + "/links/to-folder/", 0},
        {tree / "links/loop1", 0},
        {tree / "a/pipe", 0},
        {tree / "empty/nested/deeper", 0},
        {tree / "missing", 0},
        {tree / "a/one.txt/below", 0},
        {"", 0},
        {"/dev/null", 0}};
    const SizeMeter meter;
    for (const auto& [location, size] : locations)
        EXPECT_EQ(meter.size(location), size) << location;
    EXPECT_EQ(meter.measure(tree / "missing").unreadable, 0) << "missing is not unreadable";
}

TEST(SizeMeter, OneFileSystemStaysOnTheLocationsDevice) {
    // On Linux /dev/shm is a file system of its own below /dev: a crossing to test without mounting.
    struct stat dev {
    }, shm{};
    if (::stat("/dev", &dev) != 0 || ::stat("/dev/shm", &shm) != 0 || dev.st_dev == shm.st_dev ||
        ::access("/dev/shm", W_OK) != 0)
        GTEST_SKIP() << "no writable file system of its own at /dev/shm";
    TempTree tree("/dev/shm");
    const std::int64_t payload = occupiedBytes(tree.filledFile("payload", 2'000'000));
    const SizeMeter meter(stressed(4)); // the folders handed between threads are checked too
    EXPECT_LT(meter.measureBounded("/dev", {}, true).bytes, payload);
    EXPECT_GE(meter.measureBounded("/dev", {}, false).bytes, payload);
}

TEST(SizeMeter, UnreadableEntriesCountZeroAndTheWalkGoesOn) {
    TempTree tree;
    tree.filledFile("open/a", 40'000);
    tree.filledFile("open/deeper/b", 40'000);
    tree.filledFile("locked/secret", 500'000);
    tree.filledFile("listable-only/hidden", 300'000);
    tree.filledFile("zz-after/c", 40'000);
    const std::int64_t readable = occupiedBytes(tree / "open/a") + occupiedBytes(tree / "open/deeper/b") +
                                  occupiedBytes(tree / "zz-after/c");
    // No permissions at all; and read without search: names can be listed, not examined.
    std::filesystem::permissions(tree / "locked", std::filesystem::perms::none);
    std::filesystem::permissions(tree / "listable-only", std::filesystem::perms::owner_read);

    std::vector<SizeMeter::Result> results;
    bool complete = true;
    const bool bound = velmora::testing::runBoundByPermissions([&] {
        // Effective rights: plain access() would answer for root's full set even here.
        if (::faccessat(AT_FDCWD, (tree / "locked").c_str(), R_OK, AT_EACCESS) == 0)
            return;
        for (unsigned threads : {1U, 4U})
            results.push_back(SizeMeter(stressed(threads)).measure(tree.root()));
        // The location itself unreadable.
        results.push_back(SizeMeter().measure(tree / "locked"));
        complete = SizeMeter().measureBounded(tree.root(), {}, true).complete;
    });
    if (!bound || results.empty())
        GTEST_SKIP() << "cannot make a folder unreadable for this process";

    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(results[i].bytes, readable);
        EXPECT_EQ(results[i].unreadable, 2) << "the locked folder and the file that could not be examined";
    }
    EXPECT_EQ(results[2].bytes, 0);
    EXPECT_EQ(results[2].unreadable, 1);
    EXPECT_FALSE(complete);
}

// Ten thousand folders deep, with a link back up on the way; also what a stop does to such a walk.
TEST(SizeMeter, FolderChainTenThousandDeepAndStopped) {
    TempTree tree(velmora::testing::memoryBackedTempBase());
    constexpr int depth = 10'000;
    std::int64_t expected = 0;
    tree.chain(depth, [&](int fd, int level) {
        if (level == 5000)
            ::symlinkat("../..", fd, "up");
        if (level % 100 != 0)
            return;
        TempTree::writeFile(fd, "file", 4096 + static_cast<std::size_t>(level));
        struct stat st {};
        ::fstatat(fd, "file", &st, AT_SYMLINK_NOFOLLOW);
        expected += static_cast<std::int64_t>(st.st_blocks) * 512;
    });
    ASSERT_GT(expected, 100 * 8192);

    for (const SizeMeter::Options& options :
         {SizeMeter::Options{.threads = 1}, stressed(4), SizeMeter::Options{.openDirectoriesPerThread = 1}}) {
        const SizeMeter::Result result = SizeMeter(options).measure(tree.root());
        EXPECT_EQ(std::tuple(result.bytes, result.files, result.directories, result.unreadable),
                  std::tuple(expected, depth / 100, depth + 1, 0));
    }

    StopSource stopped;
    stopped.request_stop();
    const SizeMeter::Result none = SizeMeter().measure(tree.root(), stopped.get_token());
    EXPECT_TRUE(none.stopped && none.bytes == 0 && none.directories == 0);
    EXPECT_FALSE(SizeMeter().measureBounded(tree.root(), stopped.get_token(), false).complete);
    // Stopped while walking, on one thread and on several: ends with part of the tree counted.
    for (unsigned threads : {1U, 4U}) {
        StopSource source;
        SizeMeter::Result partial;
        JoiningThread measuring(
            [&] { partial = SizeMeter(stressed(threads)).measure(tree.root(), source.get_token()); });
        source.request_stop();
        measuring.join();
        EXPECT_TRUE(partial.stopped && partial.directories < depth + 1 && partial.bytes < expected)
            << threads;
    }
}
