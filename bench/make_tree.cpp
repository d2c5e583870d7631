// Builds the synthetic folder tree that compare_size_meter.sh measures: about a million files in wide,
// deep and bulky folders, with hard links, symbolic links (a loop among them), a sparse file, a pipe,
// names that are not UTF-8 and a folder nobody may read.
//
// Usage: make_tree ROOT [--files N] [--per-folder F]
//   ROOT must not exist yet; N (default 1,000,000) is the number of files, F (default 20) how many
//   files the leaf folders of the bulk part hold – fewer per folder means more folders.
// The tree is the same for the same N. When it is complete, ROOT/.velmora-bench-tree-complete exists.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(std::string_view what, std::string_view name) {
    fmt::print(stderr, "make_tree: {} {}: {}\n", what, name, std::strerror(errno));
    std::exit(1);
}

class Generator {
public:
    std::int64_t files = 0;
    std::int64_t directories = 0;
    std::int64_t hardLinks = 0;
    std::int64_t symlinks = 0;

    // Creates `name` inside `parent` and returns it opened.
    int folder(int parent, const std::string& name) {
        if (::mkdirat(parent, name.c_str(), 0755) != 0 && errno != EEXIST)
            fail("mkdir", name);
        const int fd = ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0)
            fail("open", name);
        ++directories;
        return fd;
    }

    void file(int parent, const std::string& name, std::size_t bytes) {
        const int fd = ::openat(parent, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0)
            fail("create", name);
        while (bytes > 0) {
            const std::size_t chunk = std::min(bytes, content_.size());
            if (::write(fd, content_.data(), chunk) != static_cast<ssize_t>(chunk))
                fail("write", name);
            bytes -= chunk;
        }
        ::close(fd);
        ++files;
    }

    // Mostly empty or one block, some a few blocks, a few larger: a cache folder's mix.
    void randomFile(int parent, const std::string& name) {
        const unsigned roll = static_cast<unsigned>(random_() % 100);
        std::size_t bytes = 0;
        if (roll < 50)
            bytes = 0;
        else if (roll < 96)
            bytes = 1 + random_() % 4096;
        else if (roll < 99)
            bytes = 4097 + random_() % 28'000;
        else
            bytes = 32'768 + random_() % 200'000;
        file(parent, name, bytes);
    }

    void link(int fromDir, const std::string& from, int toDir, const std::string& to) {
        if (::linkat(fromDir, from.c_str(), toDir, to.c_str(), 0) != 0)
            fail("link", to);
        ++hardLinks;
    }

    void symlink(const std::string& target, int dir, const std::string& name) {
        if (::symlinkat(target.c_str(), dir, name.c_str()) != 0)
            fail("symlink", name);
        ++symlinks;
    }

    std::uint64_t random(std::uint64_t below) { return random_() % below; }

private:
    std::mt19937_64 random_{20240611};
    std::string content_ = std::string(64 * 1024, 'x');
};

// Files spread over a balanced tree: 24 × 24 folders, each holding leaf folders of `perLeaf` files.
void bulk(Generator& gen, int root, std::int64_t wanted, int perLeaf, std::vector<std::string>& linkable) {
    const int bulkDir = gen.folder(root, "bulk");
    const std::int64_t leaves = std::max<std::int64_t>(1, wanted / perLeaf);
    const std::int64_t perMiddle = (leaves + 24 * 24 - 1) / (24 * 24);
    std::int64_t made = 0;
    for (int a = 0; a < 24 && made < wanted; ++a) {
        const int top = gen.folder(bulkDir, fmt::format("project-{:02}", a));
        for (int b = 0; b < 24 && made < wanted; ++b) {
            const int middle = gen.folder(top, fmt::format("module {:02}", b));
            gen.randomFile(middle, "index.json");
            ++made;
            for (std::int64_t c = 0; c < perMiddle && made < wanted; ++c) {
                const int leaf = gen.folder(middle, fmt::format("v{}", c));
                for (int f = 0; f < perLeaf && made < wanted; ++f, ++made) {
                    const std::string name = fmt::format("blob-{:03}.dat", f);
                    gen.randomFile(leaf, name);
                    if (f == std::min(7, perLeaf - 1) && linkable.size() < 20'000)
                        linkable.push_back(
                            fmt::format("bulk/project-{:02}/module {:02}/v{}/{}", a, b, c, name));
                }
                ::close(leaf);
            }
            ::close(middle);
        }
        ::close(top);
    }
    ::close(bulkDir);
}

// One folder with very many files, and one with very many small subfolders.
void wide(Generator& gen, int root, std::int64_t flatFiles, std::int64_t subfolders) {
    const int wideDir = gen.folder(root, "wide");
    const int flat = gen.folder(wideDir, "flat");
    for (std::int64_t i = 0; i < flatFiles; ++i)
        gen.randomFile(flat, fmt::format("cache-entry-{:07}", i));
    ::close(flat);
    const int many = gen.folder(wideDir, "many");
    for (std::int64_t i = 0; i < subfolders; ++i) {
        const int sub = gen.folder(many, fmt::format("{:06}", i));
        gen.randomFile(sub, "a");
        gen.randomFile(sub, "b");
        ::close(sub);
    }
    ::close(many);
    ::close(wideDir);
}

// Chains of folders with files on every level, a comb (every level also has a leaf folder) and one
// chain a thousand levels deep.
void deep(Generator& gen, int root, int chains, int chainDepth) {
    const int deepDir = gen.folder(root, "deep");
    for (int chain = 0; chain < chains; ++chain) {
        int current = gen.folder(deepDir, fmt::format("chain-{}", chain));
        for (int level = 0; level < chainDepth; ++level) {
            for (int f = 0; f < 5; ++f)
                gen.randomFile(current, fmt::format("f{}", f));
            const int next = gen.folder(current, "level");
            ::close(current);
            current = next;
        }
        ::close(current);
    }
    int comb = gen.folder(deepDir, "comb");
    for (int level = 0; level < 400; ++level) {
        const int leaf = gen.folder(comb, "leaf");
        for (int f = 0; f < 3; ++f)
            gen.randomFile(leaf, fmt::format("f{}", f));
        ::close(leaf);
        gen.randomFile(comb, "here");
        const int next = gen.folder(comb, "next");
        ::close(comb);
        comb = next;
    }
    ::close(comb);
    int very = gen.folder(deepDir, "thousand");
    for (int level = 0; level < 1000; ++level) {
        gen.randomFile(very, "x");
        const int next = gen.folder(very, "d");
        ::close(very);
        very = next;
    }
    ::close(very);
    ::close(deepDir);
}

void links(Generator& gen, int root, const std::vector<std::string>& linkable) {
    const int linksDir = gen.folder(root, "links");
    // Second and third names for bulk files, far from the first.
    const int hard = gen.folder(linksDir, "hard");
    for (std::size_t i = 0; i < linkable.size(); ++i) {
        gen.link(root, linkable[i], hard, fmt::format("second-{}", i));
        if (i % 4 == 0)
            gen.link(root, linkable[i], hard, fmt::format("third-{}", i));
    }
    // Files born with three names in three folders.
    const int triple = gen.folder(linksDir, "triple");
    const int x = gen.folder(triple, "x");
    const int y = gen.folder(triple, "y");
    const int z = gen.folder(triple, "z");
    for (int i = 0; i < 5000; ++i) {
        const std::string name = fmt::format("t{}", i);
        gen.randomFile(x, name);
        gen.link(x, name, y, name);
        gen.link(x, name, z, name);
    }
    for (int fd : {x, y, z, triple, hard})
        ::close(fd);

    const int soft = gen.folder(linksDir, "soft");
    for (std::size_t i = 0; i < std::min<std::size_t>(2000, linkable.size()); ++i)
        gen.symlink("../../" + linkable[gen.random(linkable.size())], soft, fmt::format("file-{}", i));
    gen.symlink("../../bulk", soft, "to-bulk");
    gen.symlink("loop-b", soft, "loop-a");
    gen.symlink("loop-a", soft, "loop-b");
    gen.symlink(".", soft, "self");
    gen.symlink("../..", soft, "up");
    gen.symlink("nowhere/at/all", soft, "dangling");
    ::close(soft);
    ::close(linksDir);
}

void specials(Generator& gen, int root) {
    const int special = gen.folder(root, "special");
    // 8 GiB long, 1 MiB of it written.
    const int sparse = ::openat(special, "sparse.img", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (sparse < 0 || ::ftruncate(sparse, std::int64_t{8} << 30) != 0)
        fail("sparse", "sparse.img");
    const std::string mebibyte(1 << 20, 's');
    if (::pwrite(sparse, mebibyte.data(), mebibyte.size(), std::int64_t{4} << 30) !=
        static_cast<ssize_t>(mebibyte.size()))
        fail("write", "sparse.img");
    ::close(sparse);
    ++gen.files;
    if (::mkfifoat(special, "pipe", 0644) != 0)
        fail("mkfifo", "pipe");
    for (const char* name :
         {"caf\xe9", "\xff\xfe latin-1 \xe4\xf6\xfc", "new\nline", " leading space", "-dash"})
        gen.file(special, name, 5000);
    const int locked = gen.folder(special, "locked");
    for (int i = 0; i < 1000; ++i)
        gen.randomFile(locked, fmt::format("secret-{}", i));
    if (::fchmod(locked, 0) != 0)
        fail("chmod", "locked");
    ::close(locked);
    ::close(special);
}

} // namespace

int main(int argc, char** argv) {
    std::int64_t wanted = 1'000'000;
    int perLeaf = 20;
    bool usable = argc >= 2 && argc % 2 == 0;
    for (int i = 2; usable && i + 1 < argc; i += 2) {
        const std::string_view flag = argv[i];
        if (flag == "--files")
            wanted = std::max(10'000LL, std::atoll(argv[i + 1]));
        else if (flag == "--per-folder")
            perLeaf = std::atoi(argv[i + 1]);
        else
            usable = false;
    }
    if (!usable || perLeaf < 1 || perLeaf > 1000) {
        fmt::print(stderr, "usage: {} ROOT [--files N] [--per-folder F]\n", argv[0]);
        return 2;
    }
    const std::string rootPath = argv[1];
    if (::mkdir(rootPath.c_str(), 0755) != 0)
        fail("mkdir (ROOT must not exist yet)", rootPath);
    const int root = ::open(rootPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (root < 0)
        fail("open", rootPath);

    Generator gen;
    const std::int64_t flatFiles = wanted / 20;
    const std::int64_t subfolders = wanted / 100;
    const int chains = static_cast<int>(std::max<std::int64_t>(1, wanted / 100'000));
    const int chainDepth = 300;
    const std::int64_t fixed =
        flatFiles + 2 * subfolders + std::int64_t{chains} * chainDepth * 5 + 400 * 4 + 1000 + 5000 + 1006;
    std::vector<std::string> linkable;
    bulk(gen, root, std::max<std::int64_t>(wanted / 10, wanted - fixed), perLeaf, linkable);
    wide(gen, root, flatFiles, subfolders);
    deep(gen, root, chains, chainDepth);
    links(gen, root, linkable);
    specials(gen, root);
    const int marker = ::openat(root, ".velmora-bench-tree-complete", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (marker < 0)
        fail("create", ".velmora-bench-tree-complete");
    ::close(marker);
    ::close(root);
    fmt::print("files={} directories={} hardlinks={} symlinks={}\n", gen.files + 1, gen.directories,
               gen.hardLinks, gen.symlinks);
    return 0;
}
