// Why an automatic check speaks up: a finding grew, much is cleanable, space runs low, or new
// orphaned background services appeared.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace velmora {

// The payload structs have no member initialisers: those would make the variant not default-constructible
// while CheckAlert is still incomplete.
struct CheckAlert {
    struct Growth {
        std::string id; // a finding identifier's text
        std::string title;
        std::int64_t from;
        std::int64_t to;
        bool operator==(const Growth&) const = default;
    };
    struct Cleanable {
        std::int64_t total;
        bool operator==(const Cleanable&) const = default;
    };
    struct LowSpace {
        std::int64_t free;
        std::int64_t total;
        bool operator==(const LowSpace&) const = default;
    };
    struct OrphanedServices {
        std::vector<std::string> labels;
        bool operator==(const OrphanedServices&) const = default;
    };

    std::variant<Growth, Cleanable, LowSpace, OrphanedServices> value;

    bool operator==(const CheckAlert&) const = default;
};

// {"growth": {"id", "title", "from", "to"}}, {"cleanable": {"total"}}, {"lowSpace": {"free", "total"}},
// {"orphanedServices": {"labels"}}; any other shape fails to decode.
void to_json(nlohmann::json& j, const CheckAlert& alert);
void from_json(const nlohmann::json& j, CheckAlert& alert);

} // namespace velmora
