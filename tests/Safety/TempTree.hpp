// A folder tree in a fresh temporary folder, removed again (links never followed) when the test ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace velmora::testing {

class TempTree {
public:
    TempTree() {
        std::string pattern = (std::filesystem::temp_directory_path() / "velmora-safety-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        root_ = pattern;
    }
    ~TempTree() {
        std::error_code ignored;
        std::filesystem::permissions(root_, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
        std::filesystem::remove_all(root_, ignored);
    }
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    const std::filesystem::path& root() const { return root_; }
    // The real path of a logical one ("/Users/anna" → <root>/Users/anna).
    std::filesystem::path operator()(std::string_view logical) const {
        return root_.string() + std::string(logical);
    }

    void folder(std::string_view logical) const { std::filesystem::create_directories((*this)(logical)); }
    void file(std::string_view logical, std::string_view contents = "x") const {
        const auto path = (*this)(logical);
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << contents;
    }
    // A symbolic link at `logical` whose target is stored exactly as given.
    void link(std::string_view logical, std::string_view target) const {
        const auto path = (*this)(logical);
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::create_symlink(std::string(target), path);
    }

private:
    std::filesystem::path root_;
};

} // namespace velmora::testing
