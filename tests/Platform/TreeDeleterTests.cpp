#include "Doubles/TempTree.hpp"
#include "Platform/FileIdentity.hpp"
#include "Platform/ParentDirectory.hpp"
#include "Platform/TreeDeleter.hpp"
#include "Support/StopToken.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#ifdef __linux__
#include <sched.h>
#include <sys/mount.h>
#endif

using namespace velmora;
using namespace velmora::testing;
namespace fs = std::filesystem;

namespace {

// A tmpfs mounted for one test, in a mount namespace of its own where the system allows one, so that
// nothing outside this process ever sees it.
struct ScratchMount {
    explicit ScratchMount(const fs::path& at) : at(at) {
#ifdef __linux__
        if (::geteuid() == 0 && ::unshare(CLONE_NEWNS) == 0)
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
        active = ::geteuid() == 0 && ::mount("velmora-test", at.c_str(), "tmpfs", 0, "size=1m") == 0;
#endif
    }
    ~ScratchMount() {
#ifdef __linux__
        if (active)
            ::umount2(at.c_str(), MNT_DETACH);
#endif
    }
    fs::path at;
    bool active = false;
};

} // namespace

// Bytes count once per file that really goes: not for a second name inside, nor for a file a name
// outside keeps. A link as the item itself (trailing slash or not) goes alone.
TEST(TreeDeleter, RemovesANastyTreeAndNothingThatItsLinksReach) {
    TempTree tree;
    tree.file("outside/keep.txt", "outside");
    tree.file("outside/deeper/also.txt", "also");
    const fs::path sharedFile = tree.file("outside/linked.bin", std::string(10000, 'h'));
    const auto outsideBefore = snapshot(tree / "outside");

    for (const std::string& name :
         std::vector<std::string>{"with space", "new\nline", "-rf", "*", "Grüße", "bad\xff\xfe",
                                  "back\\slash", std::string(255, 'L')})
        tree.file(fs::path("item/names") / name, name);
    tree.folder("item/empty/emptier");
    tree.link("item/links/to-folder", tree / "outside");
    tree.link("item/links/to-file", tree / "outside/keep.txt");
    tree.link("item/links/to-parent", "..");
    tree.link("item/links/dangling", tree / "nowhere");
    fs::create_hard_link(sharedFile, tree.folder("item/hard") / "shared.bin");
    const fs::path twice = tree.file("item/hard/twice", std::string(30000, 't'));
    fs::create_hard_link(twice, tree / "item/hard/twice-again");
    ASSERT_EQ(::mkfifo((tree / "item/names/fifo").c_str(), 0600), 0);
    std::int64_t entries = 0, bytes = occupiedBytes(tree / "item") - occupiedBytes(sharedFile);
    for (auto it = fs::recursive_directory_iterator(tree / "item"); it != fs::recursive_directory_iterator();
         ++it, ++entries)
        bytes += occupiedBytes(it->path()) * (it->path().filename() != "twice-again");

    auto stats = TreeDeleter().remove(tree / "item");
    ASSERT_TRUE(stats) << stats.error().message;
    EXPECT_EQ(stats->removedEntries, entries + 1);
    EXPECT_EQ(stats->freedBytes, bytes);
    EXPECT_FALSE(present(tree / "item"));
    EXPECT_EQ(snapshot(tree / "outside"), outsideBefore);

    for (const char* suffix : {"", "/"}) {
        const fs::path link = tree.link("caches/link", tree / "outside");
        stats = TreeDeleter().remove(fs::path(link.string() + suffix));
        ASSERT_TRUE(stats && stats->removedEntries == 1 && !present(link)) << suffix;
        EXPECT_EQ(snapshot(tree / "outside"), outsideBefore);
    }
}

TEST(TreeDeleter, RefusesBeforeTouchingAnything) {
    using Kind = DeleteError::Kind;
    TempTree tree;
    tree.file("real/deeper/file.txt", "keep");
    tree.link("linked", tree / "real");
    const auto other = FileIdentity::of(tree.file("plain", "plain"));
    const auto before = snapshot(tree.root());
    const TreeDeleter deleter;

    // Both walks: the kernel's in one call, and the component walk that a Mac always takes.
    for (const bool kernelWalk : {true, false}) {
        ParentDirectory::allowKernelWalk(kernelWalk);
        const std::vector<std::pair<RemovalTarget, Kind>> cases = {
            {fs::path("relative/path"), Kind::invalidPath},
            {fs::path("/"), Kind::invalidPath},
            {tree / "real/..", Kind::invalidPath},
            {tree / "real/../real/file.txt", Kind::invalidPath},
            {tree / "real/missing", Kind::notFound},
            {tree / "plain/below", Kind::notFound},
            {tree / "linked/deeper", Kind::unsafeLocation},
            {tree / "linked/deeper/file.txt", Kind::unsafeLocation}, // the link two levels up
            {{tree / "real/deeper/file.txt", tree.root(), other}, Kind::changed},
            {{tree / "real/deeper", tree / "real", other}, Kind::changed},
        };
        for (const auto& [target, kind] : cases) {
            const auto result = deleter.remove(target);
            EXPECT_TRUE(!result && result.error().kind == kind)
                << target.path << ", kernel walk " << kernelWalk << ": "
                << (result ? "removed" : result.error().message);
        }
    }
    ParentDirectory::allowKernelWalk(true);
    EXPECT_EQ(deleter.remove(tree / "real/missing").error().message, "Existiert nicht mehr");
    EXPECT_EQ(snapshot(tree.root()), before);

    // The anchor itself is configuration and may be reached through a link; only below it none is followed.
    EXPECT_TRUE(deleter.remove(
        {tree / "linked/deeper/file.txt", tree / "linked", FileIdentity::of(tree / "real/deeper/file.txt")}));
    EXPECT_FALSE(present(tree / "real/deeper/file.txt"));
}

TEST(TreeDeleter, ATenThousandDeepChainNeedsNeitherStackNorManyDescriptors) {
    TempTree tree;
    constexpr int depth = 10'000;
    tree.chain(depth, [](int fd, int level) {
        if (level == depth - 1)
            TempTree::writeFile(fd, "deep.txt", 0);
    });

    rlimit old{};
    ::getrlimit(RLIMIT_NOFILE, &old);
    rlimit tight = old;
    tight.rlim_cur = 64;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    auto stats = TreeDeleter().remove(tree / "d");
    ::setrlimit(RLIMIT_NOFILE, &old);

    ASSERT_TRUE(stats) << stats.error().message;
    EXPECT_EQ(stats->removedEntries, depth + 1);
    EXPECT_FALSE(present(tree / "d"));
}

TEST(TreeDeleter, AFolderSwappedDuringTheWalkIsNeitherFollowedNorEntered) {
    using Event = TreeDeleter::Event;
    // A link takes the folder's place right after the folder above was listed, or right before the
    // folder itself is opened (after it was examined) – the two windows a racing program could use;
    // another folder takes its place in the second.
    for (const auto& [moment, byLink] :
         {std::pair{Event::listed, true}, {Event::descending, true}, {Event::descending, false}}) {
        TempTree tree;
        for (int i = 0; i < 5; ++i)
            tree.file("protected/file" + std::to_string(i), "secret " + std::to_string(i));
        tree.file("protected/inner/deep.txt", "deep");
        const auto protectedBefore = snapshot(tree / "protected");
        tree.file("item/a/sub/x.txt");
        tree.file("item/b.txt");
        const fs::path watched = moment == Event::listed ? "a" : "a/sub";

        bool swapped = false;
        const TreeDeleter deleter([&](Event event, const fs::path& relative) {
            if (swapped || event != moment || relative != watched)
                return;
            fs::rename(tree / "item/a/sub", tree / "stash");
            if (byLink)
                fs::create_symlink(tree / "protected", tree / "item/a/sub");
            else
                tree.file("item/a/sub/decoy.txt", "decoy");
            swapped = true;
        });
        auto result = deleter.remove(tree / "item");
        ASSERT_TRUE(swapped);
        EXPECT_EQ(snapshot(tree / "protected"), protectedBefore);
        EXPECT_TRUE(present(tree / "stash/x.txt"));
        EXPECT_FALSE(present(tree / "item/b.txt"));
        if (byLink) {
            EXPECT_TRUE(result && !present(tree / "item")) << (result ? "item left" : result.error().message);
        } else {
            ASSERT_FALSE(result);
            EXPECT_EQ(result.error().kind, DeleteError::Kind::failed);
            EXPECT_EQ(result.error().message,
                      "Wurde während des Löschens ausgetauscht – nicht angefasst: a/sub");
            EXPECT_EQ(contentOf(tree / "item/a/sub/decoy.txt"), "decoy");
        }
    }
}

TEST(TreeDeleter, AFolderMovedAwayDuringADeepWalkStopsTheWayUp) {
    TempTree tree;
    fs::path chain = "item";
    for (int i = 0; i < 60; ++i)
        chain /= "d";
    tree.file(chain / "leaf.txt");
    tree.file("elsewhere/precious.txt", "precious");
    // Deep in the walk, a folder near the top (whose descriptor is closed by then) is moved out; going
    // back up through ".." would lead into "elsewhere".
    bool moved = false;
    const TreeDeleter deleter([&](TreeDeleter::Event event, const fs::path& relative) {
        if (!moved && event == TreeDeleter::Event::listed &&
            std::distance(relative.begin(), relative.end()) == 59) {
            fs::rename(tree / "item/d/d/d", tree / "elsewhere/d");
            moved = true;
        }
    });
    auto result = deleter.remove(tree / "item");
    ASSERT_TRUE(moved);
    ASSERT_FALSE(result);
    EXPECT_TRUE(
        result.error().message.starts_with("Ordner wurde während des Löschens verschoben – abgebrochen"));
    EXPECT_EQ(contentOf(tree / "elsewhere/precious.txt"), "precious");
    EXPECT_TRUE(present(tree / "item/d/d"));
}

TEST(TreeDeleter, AnUnchangeableFolderStaysAndEverythingElseGoes) {
    TempTree tree;
    tree.file("item/first.txt");
    tree.file("item/locked/one.txt", "1");
    tree.file("item/locked/two.txt", "2");
    tree.file("item/later/last.txt");
    FrozenFolder frozen(tree / "item/locked");
    if (!frozen.active())
        GTEST_SKIP() << "cannot make a folder unchangeable here (immutable attribute unsupported)";

    auto result = TreeDeleter().remove(tree / "item");
    frozen.thaw();
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, DeleteError::Kind::failed);
    EXPECT_TRUE(result.error().code == EPERM || result.error().code == EACCES);
    EXPECT_TRUE(result.error().message.starts_with("Keine Berechtigung: locked/")) << result.error().message;
    EXPECT_EQ(result.error().failedEntries, 2);
    EXPECT_EQ(result.error().removed.removedEntries, 3);
    EXPECT_EQ(snapshot(tree / "item"),
              (std::map<std::string, std::string>{
                  {"locked", "folder"}, {"locked/one.txt", "file:1"}, {"locked/two.txt", "file:2"}}));
}

TEST(TreeDeleter, NeverEntersAnotherVolume) {
    TempTree tree;
    tree.file("item/before.txt");
    tree.folder("item/mnt");
    ScratchMount mount(tree / "item/mnt");
    if (!mount.active)
        GTEST_SKIP() << "mounting needs root and CAP_SYS_ADMIN";
    tree.file("item/mnt/on-the-volume.txt", "volume");

    auto result = TreeDeleter().remove(tree / "item");
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message, "Enthält ein anderes Volume – dort wird nichts gelöscht: mnt");
    EXPECT_EQ(contentOf(tree / "item/mnt/on-the-volume.txt"), "volume");
    EXPECT_FALSE(present(tree / "item/before.txt"));

    auto itself = TreeDeleter().remove(tree / "item/mnt");
    ASSERT_FALSE(itself);
    EXPECT_EQ(itself.error().message, "Ist ein eigenes Volume (Einhängepunkt) – nicht angefasst");
    EXPECT_EQ(itself.error().removed.removedEntries, 0);
    EXPECT_TRUE(present(tree / "item/mnt/on-the-volume.txt"));
}

TEST(TreeDeleter, StopsAtOnceWhenCancelled) {
    TempTree tree;
    for (int i = 0; i < 20; ++i)
        tree.file("item/f" + std::to_string(i));
    StopSource source;
    const TreeDeleter deleter([&](TreeDeleter::Event, const fs::path&) { source.request_stop(); });
    auto result = deleter.remove(tree / "item", source.get_token());
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, DeleteError::Kind::cancelled);
    EXPECT_EQ(result.error().message, "Abgebrochen");
    EXPECT_EQ(result.error().removed.removedEntries, 0);
    EXPECT_EQ(snapshot(tree / "item").size(), 20u);
}

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
