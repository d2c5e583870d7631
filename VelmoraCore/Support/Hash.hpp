// Combines hashes the way boost does, so that value types can hash their fields in order.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>

namespace velmora {

inline void hashCombine(std::size_t& seed, std::size_t value) {
    seed ^= value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
}

template <typename T> void hashField(std::size_t& seed, const T& value) {
    hashCombine(seed, std::hash<T>{}(value));
}

// An optional contributes a presence flag first, so that "absent" differs from every present value.
template <typename T> void hashField(std::size_t& seed, const std::optional<T>& value) {
    hashCombine(seed, value.has_value() ? 1 : 0);
    if (value)
        hashField(seed, *value);
}

} // namespace velmora
