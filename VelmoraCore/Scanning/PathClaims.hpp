// The locations that findings of earlier phases already cover, so that broader scanners of later
// phases skip them and nothing is counted twice. An actor: every method takes the one lock.
#pragma once

#include "Findings/Finding.hpp"

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

namespace velmora {

class PathClaims {
public:
    void claim(const std::vector<std::filesystem::path>& locations);
    // True when the location equals a claimed path or lies inside one (component-wise, so a claim of
    // ".../b" does not cover a sibling ".../bc").
    bool isClaimed(const std::filesystem::path& location) const;
    std::vector<std::vector<std::string>> claimed() const;

    // Sum of the item sizes of `findings` whose location is `folder` or lies inside it; items without a
    // location are skipped, items without a size count 0.
    static std::int64_t reportedBytes(const std::filesystem::path& folder,
                                      const std::vector<Finding>& findings);

    // Lexically normalised components ("." and ".." folded, no empty ones) of a location.
    static std::vector<std::string> standardComponents(const std::filesystem::path& location);

private:
    mutable std::mutex mutex_;
    std::vector<std::vector<std::string>> claimed_;
};

} // namespace velmora
