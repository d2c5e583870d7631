#include "SystemData/MountInfo.hpp"

#include <charconv>
#include <limits>
#include <optional>

namespace velmora {

namespace {

std::vector<std::string_view> lines(std::string_view text) {
    std::vector<std::string_view> result;
    while (!text.empty()) {
        const auto end = text.find('\n');
        result.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
            break;
        text.remove_prefix(end + 1);
    }
    return result;
}

// Fields separated by blanks or tabs; the kernel never leaves one empty.
std::vector<std::string_view> fields(std::string_view line) {
    std::vector<std::string_view> result;
    std::size_t at = 0;
    while (true) {
        at = line.find_first_not_of(" \t\r", at);
        if (at == std::string_view::npos)
            return result;
        const auto end = line.find_first_of(" \t\r", at);
        result.push_back(line.substr(at, end == std::string_view::npos ? std::string_view::npos : end - at));
        if (end == std::string_view::npos)
            return result;
        at = end;
    }
}

template <typename T> std::optional<T> number(std::string_view text) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<DeviceNumber> deviceNumber(std::string_view text) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    const auto major = number<unsigned>(text.substr(0, colon));
    const auto minor = number<unsigned>(text.substr(colon + 1));
    if (!major || !minor)
        return std::nullopt;
    return DeviceNumber{*major, *minor};
}

bool isOctalDigit(char c) {
    return c >= '0' && c <= '7';
}

std::optional<std::int64_t> kibibytes(std::string_view text) {
    const auto value = number<std::int64_t>(text);
    if (!value || *value < 0 || *value > std::numeric_limits<std::int64_t>::max() / 1024)
        return std::nullopt;
    return *value * 1024;
}

} // namespace

std::string decodeMountField(std::string_view field) {
    std::string decoded;
    decoded.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isOctalDigit(field[i + 1]) &&
            isOctalDigit(field[i + 2]) && isOctalDigit(field[i + 3])) {
            const int value = (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
            if (value <= 0xFF) {
                decoded.push_back(static_cast<char>(value));
                i += 3;
                continue;
            }
        }
        decoded.push_back(field[i]);
    }
    return decoded;
}

std::vector<MountEntry> parseMountInfo(std::string_view text) {
    std::vector<MountEntry> entries;
    for (const auto line : lines(text)) {
        // id parent major:minor root mount-point options [optional…] - type source super-options
        const auto parts = fields(line);
        if (parts.size() < 9)
            continue;
        std::size_t separator = 6;
        while (separator < parts.size() && parts[separator] != "-")
            ++separator;
        const auto device = deviceNumber(parts[2]);
        if (separator + 2 >= parts.size() || !device || !number<unsigned>(parts[0]))
            continue;
        entries.push_back(MountEntry{.device = *device,
                                     .root = decodeMountField(parts[3]),
                                     .mountPoint = decodeMountField(parts[4]),
                                     .options = std::string(parts[5]),
                                     .type = decodeMountField(parts[separator + 1]),
                                     .source = decodeMountField(parts[separator + 2])});
    }
    return entries;
}

std::vector<SwapEntry> parseSwaps(std::string_view text) {
    std::vector<SwapEntry> entries;
    const auto all = lines(text);
    for (std::size_t i = 1; i < all.size(); ++i) {
        // Filename Type Size Used Priority
        const auto parts = fields(all[i]);
        if (parts.size() < 4)
            continue;
        const auto size = kibibytes(parts[2]);
        const auto used = kibibytes(parts[3]);
        if (!size || !used)
            continue;
        entries.push_back(SwapEntry{
            .name = decodeMountField(parts[0]), .isFile = parts[1] == "file", .size = *size, .used = *used});
    }
    return entries;
}

} // namespace velmora
