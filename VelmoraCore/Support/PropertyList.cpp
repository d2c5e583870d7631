#include "Support/PropertyList.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora {

PlistPtr parsePropertyList(std::string_view data) {
    if (data.empty() || data.size() > UINT32_MAX)
        return nullptr;
    plist_t root = nullptr;
    plist_from_memory(data.data(), static_cast<uint32_t>(data.size()), &root);
    return PlistPtr(root);
}

PlistPtr readPropertyList(const std::filesystem::path& file, std::size_t maxBytes) {
    const int fd = ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return nullptr;
    struct stat st {};
    std::string data;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && static_cast<std::size_t>(st.st_size) <= maxBytes) {
        data.resize(static_cast<std::size_t>(st.st_size));
        std::size_t done = 0;
        while (done < data.size()) {
            const auto n = ::read(fd, data.data() + done, data.size() - done);
            if (n <= 0)
                break;
            done += static_cast<std::size_t>(n);
        }
        data.resize(done);
    }
    ::close(fd);
    return parsePropertyList(data);
}

namespace {

std::optional<std::string> stringOf(plist_t node) {
    if (!node || plist_get_node_type(node) != PLIST_STRING)
        return std::nullopt;
    char* value = nullptr;
    plist_get_string_val(node, &value);
    if (!value)
        return std::nullopt;
    std::string text(value);
    std::free(value);
    return text;
}

} // namespace

plist_t plistValue(plist_t dict, const char* key) {
    if (!dict || plist_get_node_type(dict) != PLIST_DICT)
        return nullptr;
    return plist_dict_get_item(dict, key);
}

std::size_t plistCount(plist_t node) {
    if (!node)
        return 0;
    switch (plist_get_node_type(node)) {
    case PLIST_DICT:
        return plist_dict_get_size(node);
    case PLIST_ARRAY:
        return plist_array_get_size(node);
    default:
        return 0;
    }
}

std::optional<std::string> plistString(plist_t dict, const char* key) {
    return stringOf(plistValue(dict, key));
}

std::optional<std::vector<std::string>> plistStringArray(plist_t dict, const char* key) {
    plist_t node = plistValue(dict, key);
    if (!node || plist_get_node_type(node) != PLIST_ARRAY)
        return std::nullopt;
    std::vector<std::string> values;
    const uint32_t count = plist_array_get_size(node);
    for (uint32_t i = 0; i < count; ++i) {
        auto value = stringOf(plist_array_get_item(node, i));
        if (!value)
            return std::nullopt;
        values.push_back(std::move(*value));
    }
    return values;
}

std::optional<bool> plistBool(plist_t dict, const char* key) {
    plist_t node = plistValue(dict, key);
    if (!node || plist_get_node_type(node) != PLIST_BOOLEAN)
        return std::nullopt;
    uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value != 0;
}

std::optional<std::chrono::system_clock::time_point> plistDate(plist_t dict, const char* key) {
    plist_t node = plistValue(dict, key);
    if (!node || plist_get_node_type(node) != PLIST_DATE)
        return std::nullopt;
    int32_t seconds = 0, micros = 0;
    plist_get_date_val(node, &seconds, &micros);
    // Property list dates count from 2001-01-01 00:00:00 UTC.
    constexpr std::chrono::seconds referenceDate{978'307'200};
    return std::chrono::system_clock::time_point{referenceDate + std::chrono::seconds{seconds} +
                                                 std::chrono::microseconds{micros}};
}

} // namespace velmora
