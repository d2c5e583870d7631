// The identity of a finding across scans: the producing scanner plus a scanner-chosen key.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

struct FindingID {
    std::string scannerID;
    std::string key;

    bool operator==(const FindingID&) const = default;

    // The form commands and messages use: the scanner id alone when the key is empty, else "scannerID/key".
    std::string text() const;
    // Reads the text form back; the first "/" separates, because scanner ids never hold one but keys
    // (often paths) may. Empty text or an empty scanner id yield nothing.
    static std::optional<FindingID> fromText(std::string_view text);
};

void to_json(nlohmann::json& j, const FindingID& id);
void from_json(const nlohmann::json& j, FindingID& id);

} // namespace velmora

template <> struct std::hash<velmora::FindingID> {
    std::size_t operator()(const velmora::FindingID& id) const noexcept;
};
