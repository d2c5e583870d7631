#include "Platform/TreeSplit.hpp"

#include "Platform/FolderNames.hpp"
#include "Platform/UniqueFd.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>

namespace velmora {

namespace {

// One open descriptor per level; deeper trees are not split (the item then stays whole).
constexpr std::size_t depthLimit = 48;

class Splitter {
public:
    explicit Splitter(const std::function<bool(std::string_view)>& stays) : stays_(stays) {}

    // Sorts what the open folder `fd` at `relative` holds; true when something in it stays.
    bool sort(int fd, const std::filesystem::path& relative, std::size_t depth) {
        auto names = folderNames(fd);
        if (!names)
            return fail(relative, names.error());
        // In name order, so that an outcome lists what stayed the same way every time.
        std::sort(names->begin(), names->end());
        bool holdsKept = false;
        for (const auto& name : *names) {
            const auto here = relative / name;
            auto identity = FileIdentity::at(fd, name.c_str());
            if (!identity) {
                if (identity.error() == ENOENT)
                    continue;
                return fail(here, identity.error());
            }
            if (stays_(name)) {
                struct stat st {};
                if (::fstatat(fd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0)
                    split_.keptBytes += std::int64_t{st.st_blocks} * 512;
                split_.kept.push_back(here);
                holdsKept = true;
                continue;
            }
            if (identity->kind == FileIdentity::Kind::folder) {
                if (depth >= depthLimit)
                    return fail(here, ELOOP);
                UniqueFd child(::openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
                if (!child || !isSame(child.get(), *identity))
                    return fail(here, child ? ENOENT : errno);
                const std::size_t mark = split_.removable.size();
                if (sort(child.get(), here, depth + 1)) {
                    holdsKept = true;
                    continue;
                }
                if (error_)
                    return true;
                // Nothing in it stays: it goes as a whole instead of part by part.
                split_.removable.resize(mark);
            }
            split_.removable.push_back({here, *identity});
        }
        return holdsKept;
    }

    std::expected<TreeSplit, TreeSplitError> result() && {
        if (error_)
            return std::unexpected(std::move(*error_));
        return std::move(split_);
    }

private:
    static bool isSame(int fd, const FileIdentity& identity) {
        struct stat st {};
        return ::fstat(fd, &st) == 0 && static_cast<std::uint64_t>(st.st_dev) == identity.device &&
               static_cast<std::uint64_t>(st.st_ino) == identity.inode;
    }

    // Records the first failure; returns true so that nothing above it is taken as a whole.
    bool fail(const std::filesystem::path& where, int code) {
        if (!error_)
            error_ = TreeSplitError{where, code};
        return true;
    }

    const std::function<bool(std::string_view)>& stays_;
    TreeSplit split_;
    std::optional<TreeSplitError> error_;
};

} // namespace

std::expected<TreeSplit, TreeSplitError> TreeSplit::of(const ParentDirectory& item,
                                                       const std::function<bool(std::string_view)>& stays) {
    UniqueFd fd(::openat(item.fd.get(), item.name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat st {};
    if (!fd)
        return std::unexpected(TreeSplitError{{}, errno});
    if (::fstat(fd.get(), &st) != 0 || st.st_dev != item.status.st_dev || st.st_ino != item.status.st_ino)
        return std::unexpected(TreeSplitError{{}, ENOENT});
    Splitter splitter(stays);
    splitter.sort(fd.get(), {}, 0);
    return std::move(splitter).result();
}

} // namespace velmora
