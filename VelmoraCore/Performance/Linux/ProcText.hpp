// Small, locale-free readers for the text files of /proc, shared by the Linux samplers. Everything
// read there is outside data: a field that is missing or not a number gives nothing, never a throw.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace velmora::proctext {

inline std::optional<std::uint64_t> unsignedNumber(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || text.empty())
        return std::nullopt;
    return value;
}

// "12.34" as the kernel prints it; strtod would follow the program's locale, where "," may be the
// decimal mark.
inline std::optional<double> decimalNumber(std::string_view text) {
    const std::size_t dot = text.find('.');
    const std::optional<std::uint64_t> whole = unsignedNumber(text.substr(0, dot));
    if (!whole)
        return std::nullopt;
    double value = static_cast<double>(*whole);
    if (dot == std::string_view::npos)
        return value;
    double scale = 0.1;
    const std::string_view fraction = text.substr(dot + 1);
    if (fraction.empty() || fraction.size() > 18)
        return std::nullopt;
    for (const char c : fraction) {
        if (c < '0' || c > '9')
            return std::nullopt;
        value += (c - '0') * scale;
        scale /= 10;
    }
    return value;
}

// The words of `line`, split at blanks and tabs.
inline std::vector<std::string_view> words(std::string_view line) {
    std::vector<std::string_view> result;
    std::size_t at = 0;
    while (at < line.size()) {
        const std::size_t start = line.find_first_not_of(" \t", at);
        if (start == std::string_view::npos)
            break;
        std::size_t end = line.find_first_of(" \t", start);
        if (end == std::string_view::npos)
            end = line.size();
        result.push_back(line.substr(start, end - start));
        at = end;
    }
    return result;
}

// Calls `each(line)` for every line of `text` until it returns false.
template <typename Each> void forEachLine(std::string_view text, Each each) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        if (!each(text.substr(0, end)) || end == std::string_view::npos)
            return;
        text.remove_prefix(end + 1);
    }
}

// The first number after "key" at the start of a line ("MemTotal:       16318148 kB", "Uid:\t1000\t…").
inline std::optional<std::uint64_t> numberAfter(std::string_view text, std::string_view key) {
    std::optional<std::uint64_t> found;
    forEachLine(text, [&](std::string_view line) {
        if (!line.starts_with(key))
            return true;
        const std::vector<std::string_view> parts = words(line.substr(key.size()));
        if (!parts.empty())
            found = unsignedNumber(parts.front());
        return false;
    });
    return found;
}

} // namespace velmora::proctext
