#include "Support/PropertyList.hpp"

#include "Support/PropertyListBounds.hpp"
#include "Support/Text.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora {

namespace {

PlistPtr fromMemory(std::string_view data) {
    plist_t root = nullptr;
    plist_from_memory(data.data(), static_cast<uint32_t>(data.size()), &root);
    return PlistPtr(root);
}

bool isASCIILetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The character set an XML property list is written in: what its byte-order mark or its declaration
// ("<?xml version="1.0" encoding="ISO-8859-1"?>") says, UTF-8 when neither says anything.
std::string declaredEncoding(std::string_view data) {
    if (data.starts_with("\xFE\xFF") || data.starts_with("\xFF\xFE"))
        return "UTF-16";
    if (!data.starts_with("<?xml"))
        return "UTF-8";
    const auto declaration = data.substr(0, data.find("?>"));
    auto at = declaration.find("encoding");
    if (at == std::string_view::npos)
        return "UTF-8";
    at = declaration.find_first_of("\"'", at);
    if (at == std::string_view::npos)
        return "UTF-8";
    const auto end = declaration.find(declaration[at], at + 1);
    return std::string(declaration.substr(at + 1, end == std::string_view::npos ? 0 : end - at - 1));
}

// libplist reads XML as UTF-8 whatever it declares; ASCII is read the same way.
bool readAsIs(const std::string& encoding) {
    std::string name;
    for (const char c : encoding)
        if (isASCIILetter(c) || (c >= '0' && c <= '9'))
            name.push_back(static_cast<char>(c | 0x20));
    return name == "utf8" || name == "usascii" || name == "ascii";
}

} // namespace

PlistPtr parsePropertyList(std::string_view data) {
    if (data.empty() || data.size() > UINT32_MAX)
        return nullptr;
    const PropertyListBounds bounds;
    if (data.starts_with("bplist"))
        return bounds.admitsBinary(data) ? fromMemory(data) : nullptr;
    // Decoded before parsing, so that a path written in Latin-1 arrives with the bytes it names.
    std::optional<std::string> decoded;
    if (const auto encoding = declaredEncoding(data); !readAsIs(encoding)) {
        decoded = Text::toUTF8(data, encoding);
        if (!decoded || decoded->size() > UINT32_MAX)
            return nullptr;
        data = *decoded;
    }
    return bounds.admitsXML(data) ? fromMemory(data) : nullptr;
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
    // libplist finds the n-th element by walking from the first, so indexing a long array is
    // quadratic; its iterator is not.
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(node, &iterator);
    const std::unique_ptr<void, decltype(&std::free)> owned(iterator, &std::free);
    std::vector<std::string> values;
    for (plist_t element = nullptr;;) {
        plist_array_next_item(node, iterator, &element);
        if (!element)
            return values;
        auto value = stringOf(element);
        if (!value)
            return std::nullopt;
        values.push_back(std::move(*value));
    }
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
