// The Trash in the macOS layout: the folder ".Trash" in the user's home folder, items moved in under
// their own name, a clashing name numbered the way Finder does it.
#pragma once

#include "Platform/Trash.hpp"

#include <filesystem>

namespace velmora {

class HomeTrash final : public Trash {
public:
    // `home` is the user's home folder (in tests a temp folder standing in for it); ".Trash" in it is
    // made with mode 0700 when missing.
    explicit HomeTrash(std::filesystem::path home);

    // See Trash. The name is the item's own, else the first free of trashCandidateName's attempts
    // 2, 3, … ("a.txt" → "a 2.txt"). Finder's other style, a time of day appended, is not used: numbers
    // stay unique within one second and sort the way the user expects. Thread-safe.
    std::expected<std::filesystem::path, TrashError> moveToTrash(const RemovalTarget& item) override;

    const std::filesystem::path& folder() const { return folder_; }

private:
    std::filesystem::path home_;
    std::filesystem::path folder_;
};

} // namespace velmora
