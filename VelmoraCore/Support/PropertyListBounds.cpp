#include "Support/PropertyListBounds.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace velmora {

namespace {

std::uint64_t bigEndian(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

} // namespace

bool PropertyListBounds::admitsBinary(std::string_view data) const {
    constexpr std::size_t headerSize = 8;
    constexpr std::size_t trailerSize = 32;
    if (data.size() < headerSize + trailerSize || !data.starts_with("bplist00"))
        return false;
    const auto trailer = data.substr(data.size() - trailerSize);
    const std::size_t offsetSize = static_cast<unsigned char>(trailer[6]);
    const std::size_t referenceSize = static_cast<unsigned char>(trailer[7]);
    const std::uint64_t objectCount = bigEndian(trailer.substr(8, 8));
    const std::uint64_t top = bigEndian(trailer.substr(16, 8));
    const std::uint64_t tableStart = bigEndian(trailer.substr(24, 8));
    const std::size_t tableEnd = data.size() - trailerSize;
    if (offsetSize < 1 || offsetSize > 8 || referenceSize < 1 || referenceSize > 8 || objectCount == 0 ||
        objectCount > maximumValues || top >= objectCount || tableStart < headerSize ||
        tableStart > tableEnd || (tableEnd - tableStart) / offsetSize < objectCount)
        return false;

    // Objects lie between the header and the offset table; anything pointing elsewhere is malformed.
    const auto objectAt = [&](std::uint64_t index) -> std::optional<std::size_t> {
        const auto offset = bigEndian(data.substr(tableStart + index * offsetSize, offsetSize));
        if (offset < headerSize || offset >= tableStart)
            return std::nullopt;
        return static_cast<std::size_t>(offset);
    };

    struct Pending {
        std::uint64_t object;
        std::size_t depth;
    };
    std::vector<Pending> pending{{top, 1}};
    std::size_t values = 0;
    while (!pending.empty()) {
        const auto [object, depth] = pending.back();
        pending.pop_back();
        if (++values > maximumValues || depth > maximumDepth)
            return false;
        const auto offset = objectAt(object);
        if (!offset)
            return false;
        const auto marker = static_cast<unsigned char>(data[*offset]);
        const unsigned kind = marker >> 4;
        constexpr unsigned array = 0xA, set = 0xC, dictionary = 0xD;
        if (kind != array && kind != set && kind != dictionary)
            continue;

        std::size_t position = *offset + 1;
        std::uint64_t count = marker & 0xFu;
        if (count == 0xF) { // the count follows as an integer object of 1, 2, 4 or 8 bytes
            if (position >= tableStart)
                return false;
            const auto intMarker = static_cast<unsigned char>(data[position]);
            if (intMarker >> 4 != 0x1 || (intMarker & 0xFu) > 3)
                return false;
            const std::size_t width = std::size_t{1} << (intMarker & 0xFu);
            if (position + 1 + width > tableStart)
                return false;
            count = bigEndian(data.substr(position + 1, width));
            position += 1 + width;
        }
        if (count > maximumValues)
            return false;
        const std::uint64_t references = kind == dictionary ? 2 * count : count;
        // Every reference becomes a value of its own, so the bound is known before any is followed.
        if (references > (tableStart - position) / referenceSize ||
            values + pending.size() + references > maximumValues)
            return false;
        for (std::uint64_t i = 0; i < references; ++i) {
            const auto reference = bigEndian(data.substr(position + i * referenceSize, referenceSize));
            if (reference >= objectCount)
                return false;
            pending.push_back({reference, depth + 1});
        }
    }
    return true;
}

bool PropertyListBounds::admitsXML(std::string_view text) const {
    std::vector<std::string_view> open; // elements not closed yet, innermost last
    std::size_t values = 0;
    std::size_t at = 0;
    while ((at = text.find('<', at)) != std::string_view::npos) {
        const auto rest = text.substr(at);
        if (rest.starts_with("<!") || rest.starts_with("<?")) {
            const std::string_view end = rest.starts_with("<!--")        ? "-->"
                                         : rest.starts_with("<![CDATA[") ? "]]>"
                                         : rest.starts_with("<?")        ? "?>"
                                                                         : ">";
            const auto found = text.find(end, at + 2);
            if (found == std::string_view::npos)
                return false;
            at = found + end.size();
            continue;
        }

        // The tag ends at the first ">"; one that stands inside quotes could end it for one parser and
        // not for another.
        std::size_t end = at + 1;
        char quote = 0;
        for (; end < text.size() && text[end] != '<' && text[end] != '>'; ++end) {
            if (quote && text[end] == quote)
                quote = 0;
            else if (!quote && (text[end] == '"' || text[end] == '\''))
                quote = text[end];
        }
        if (end >= text.size() || text[end] != '>' || quote)
            return false;
        const auto tag = text.substr(at + 1, end - at - 1);
        at = end + 1;
        const bool closing = tag.starts_with('/');
        const std::size_t nameStart = closing ? 1 : 0;
        const auto name = tag.substr(nameStart, tag.find_first_of(" \t\r\n/", nameStart) - nameStart);
        if (closing) {
            if (open.empty() || open.back() != name)
                return false;
            open.pop_back();
            continue;
        }
        if (++values > maximumValues)
            return false;
        if (!tag.ends_with('/')) {
            open.push_back(name);
            if (open.size() > maximumDepth)
                return false;
        }
    }
    return open.empty();
}

} // namespace velmora
