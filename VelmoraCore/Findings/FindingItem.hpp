// One removable thing inside a finding: a folder, a file, a version, a service.
#pragma once

#include "Findings/AppRef.hpp"

#include <nlohmann/json_fwd.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace velmora {

struct FindingItem {
    std::string id;
    std::optional<std::filesystem::path> url;
    std::string name;
    std::optional<std::int64_t> size;
    std::optional<std::chrono::system_clock::time_point> date;
    std::optional<std::string> detail;
    std::optional<AppRef> blockingApp;
    std::optional<AppRef> watchedApp;

    bool operator==(const FindingItem&) const = default;
};

// "url" is the plain absolute path and "date" ISO 8601 text in UTC; absent fields are left out.
void to_json(nlohmann::json& j, const FindingItem& item);
void from_json(const nlohmann::json& j, FindingItem& item);

} // namespace velmora

template <> struct std::hash<velmora::FindingItem> {
    std::size_t operator()(const velmora::FindingItem& item) const noexcept;
};
