// An application that matters for an item: one to quit before removal, or one that watches it.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <optional>
#include <string>

namespace velmora {

struct AppRef {
    std::optional<std::string> bundleID;
    std::optional<std::string> processName;
    std::string displayName;

    bool operator==(const AppRef&) const = default;
};

void to_json(nlohmann::json& j, const AppRef& app);
void from_json(const nlohmann::json& j, AppRef& app);

} // namespace velmora

template <> struct std::hash<velmora::AppRef> {
    std::size_t operator()(const velmora::AppRef& app) const noexcept;
};
