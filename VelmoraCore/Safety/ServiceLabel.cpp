#include "Safety/ServiceLabel.hpp"

#include <algorithm>
#include <string>

namespace velmora::ServiceLabel {

namespace {

bool isAsciiLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

} // namespace

bool isValid(std::string_view label) {
    if (label.empty() || label.size() > maximumLength)
        return false;
    if (!isAsciiLetterOrDigit(label.front()))
        return false;
    const bool plain = std::ranges::all_of(
        label.substr(1), [](char c) { return isAsciiLetterOrDigit(c) || c == '-' || c == '.' || c == '_'; });
    if (!plain)
        return false;
    // Only ASCII is left at this point, so ASCII lower-casing is the whole of Unicode lower-casing.
    std::string lower(label);
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return std::ranges::none_of(protectedPrefixes,
                                [&](std::string_view prefix) { return lower.starts_with(prefix); });
}

} // namespace velmora::ServiceLabel
