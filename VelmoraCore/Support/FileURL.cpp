#include "Support/FileURL.hpp"

#include <cctype>

namespace velmora {

std::string fileURLText(const std::filesystem::path& path) {
    return "file://" + percentEncodedPath(path);
}

std::string percentEncodedPath(const std::filesystem::path& path) {
    static constexpr char hex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path.string()) {
        if (std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~') {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back('%');
            out.push_back(hex[c >> 4]);
            out.push_back(hex[c & 15]);
        }
    }
    return out;
}

std::optional<std::filesystem::path> pathFromFileURL(std::string_view text) {
    constexpr std::string_view scheme = "file://";
    if (!text.starts_with(scheme))
        return std::nullopt;
    text.remove_prefix(scheme.size());
    if (text.empty() || text.front() != '/')
        return std::nullopt;
    const auto hexValue = [](char c) -> int {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    };
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out.push_back(text[i]);
            continue;
        }
        if (i + 2 >= text.size())
            return std::nullopt;
        const int hi = hexValue(text[i + 1]);
        const int lo = hexValue(text[i + 2]);
        if (hi < 0 || lo < 0)
            return std::nullopt;
        out.push_back(static_cast<char>(hi * 16 + lo));
        i += 2;
    }
    return std::filesystem::path(out);
}

} // namespace velmora
