#include "Support/Text.hpp"

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace velmora::Text {

std::string plainSpaces(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    const auto* s = reinterpret_cast<const uint8_t*>(utf8.data());
    const auto length = static_cast<int32_t>(utf8.size());
    int32_t i = 0;
    while (i < length) {
        const int32_t start = i;
        UChar32 c = 0;
        U8_NEXT(s, i, length, c);
        if (c >= 0 && u_isUWhiteSpace(c))
            out.push_back(' ');
        else
            out.append(utf8.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(i - start)));
    }
    return out;
}

std::string repairUTF8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    const auto* s = reinterpret_cast<const uint8_t*>(bytes.data());
    const auto length = static_cast<int32_t>(bytes.size());
    int32_t i = 0;
    while (i < length) {
        const int32_t start = i;
        UChar32 c = 0;
        U8_NEXT(s, i, length, c);
        if (c < 0)
            out += "\xEF\xBF\xBD";
        else
            out.append(bytes.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(i - start)));
    }
    return out;
}

std::string lowercased(std::string_view utf8) {
    auto text =
        icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
    text.toLower(icu::Locale::getRoot());
    std::string out;
    text.toUTF8String(out);
    return out;
}

std::string removingMarks(std::string_view utf8) {
    std::string out;
    out.reserve(utf8.size());
    const auto* s = reinterpret_cast<const uint8_t*>(utf8.data());
    const auto length = static_cast<int32_t>(utf8.size());
    int32_t i = 0;
    while (i < length) {
        const int32_t start = i;
        UChar32 c = 0;
        U8_NEXT(s, i, length, c);
        const bool isMark = c >= 0 && (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0;
        if (!isMark)
            out.append(utf8.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(i - start)));
    }
    return out;
}

bool isValidUTF8(std::string_view bytes) {
    const auto* s = reinterpret_cast<const uint8_t*>(bytes.data());
    const auto length = static_cast<int32_t>(bytes.size());
    int32_t i = 0;
    while (i < length) {
        UChar32 c = 0;
        U8_NEXT(s, i, length, c);
        if (c < 0)
            return false;
    }
    return true;
}

std::string singleLine(std::string_view bytes) {
    auto text = repairUTF8(bytes);
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = ' ';
    return text;
}

} // namespace velmora::Text
