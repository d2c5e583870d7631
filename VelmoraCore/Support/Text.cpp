#include "Support/Text.hpp"

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <memory>

namespace velmora::Text {

namespace {

// Walks the text code point by code point; `emit` gets each one (negative for a byte that starts no
// valid sequence) with its original bytes and appends what should stand for it.
template <typename Emit> std::string mapCodePoints(std::string_view utf8, Emit&& emit) {
    std::string out;
    out.reserve(utf8.size());
    const auto* s = reinterpret_cast<const uint8_t*>(utf8.data());
    const auto length = static_cast<int32_t>(utf8.size());
    int32_t i = 0;
    while (i < length) {
        const int32_t start = i;
        UChar32 c = 0;
        U8_NEXT(s, i, length, c);
        emit(c, utf8.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(i - start)), out);
    }
    return out;
}

void appendHex(std::string& out, std::string_view prefix, std::uint32_t value, int digits) {
    constexpr std::string_view hex = "0123456789abcdef";
    out += prefix;
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        out += hex[(value >> shift) & 0xF];
}

// Code points a terminal or a bidirectional text renderer acts on instead of showing them.
bool actsOnTheDisplay(UChar32 c) {
    return (c >= 0x80 && c <= 0x9F) || c == 0x061C || c == 0x200E || c == 0x200F || c == 0x2028 ||
           c == 0x2029 || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

} // namespace

std::string printable(std::string_view bytes) {
    return mapCodePoints(bytes, [](UChar32 c, std::string_view original, std::string& out) {
        if (c < 0) {
            for (const char byte : original)
                appendHex(out, "\\x", static_cast<unsigned char>(byte), 2);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c < 0x20 || c == 0x7F) {
            appendHex(out, "\\x", static_cast<std::uint32_t>(c), 2);
        } else if (actsOnTheDisplay(c)) {
            appendHex(out, "\\u", static_cast<std::uint32_t>(c), 4);
        } else {
            out.append(original);
        }
    });
}

std::string plainSpaces(std::string_view utf8) {
    return mapCodePoints(utf8, [](UChar32 c, std::string_view original, std::string& out) {
        if (c >= 0 && u_isUWhiteSpace(c))
            out.push_back(' ');
        else
            out.append(original);
    });
}

std::string repairUTF8(std::string_view bytes) {
    return mapCodePoints(bytes, [](UChar32 c, std::string_view original, std::string& out) {
        if (c < 0)
            out += "\xEF\xBF\xBD";
        else
            out.append(original);
    });
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
    return mapCodePoints(utf8, [](UChar32 c, std::string_view original, std::string& out) {
        const bool isMark = c >= 0 && (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0;
        if (!isMark)
            out.append(original);
    });
}

std::optional<std::string> toUTF8(std::string_view bytes, const std::string& encoding) {
    if (bytes.size() > static_cast<std::size_t>(INT32_MAX / 4))
        return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open(encoding.c_str(), &status),
                                                                       &ucnv_close);
    if (U_FAILURE(status) || !converter)
        return std::nullopt;
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    // No character takes more than three UTF-8 bytes per input byte (four for a surrogate pair, which
    // takes four input bytes in UTF-16).
    std::string out(bytes.size() * 3 + 4, '\0');
    const auto length =
        ucnv_toAlgorithmic(UCNV_UTF8, converter.get(), out.data(), static_cast<int32_t>(out.size()),
                           bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    if (U_FAILURE(status))
        return std::nullopt;
    out.resize(static_cast<std::size_t>(length));
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

std::string_view trimmed(std::string_view utf8) {
    const auto* s = reinterpret_cast<const uint8_t*>(utf8.data());
    const auto length = static_cast<int32_t>(utf8.size());
    int32_t start = 0;
    while (start < length) {
        int32_t next = start;
        UChar32 c = 0;
        U8_NEXT(s, next, length, c);
        if (c < 0 || !u_isUWhiteSpace(c))
            break;
        start = next;
    }
    int32_t end = length;
    while (end > start) {
        int32_t previous = end;
        UChar32 c = 0;
        U8_PREV(s, start, previous, c);
        if (c < 0 || !u_isUWhiteSpace(c))
            break;
        end = previous;
    }
    return utf8.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
}

namespace {

// A collator is not safe to share between threads while it is used, and building one is costly:
// one per thread, built on first use. Null when ICU has no data for it.
icu::Collator* finderCollator() {
    thread_local std::unique_ptr<icu::Collator> collator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Collator> made(icu::Collator::createInstance(icu::Locale("de"), status));
        if (U_FAILURE(status))
            return std::unique_ptr<icu::Collator>();
        made->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
        return made;
    }();
    return collator.get();
}

} // namespace

int finderCompare(std::string_view a, std::string_view b) {
    if (icu::Collator* collator = finderCollator()) {
        UErrorCode status = U_ZERO_ERROR;
        const UCollationResult result =
            collator->compareUTF8(icu::StringPiece(a.data(), static_cast<int32_t>(a.size())),
                                  icu::StringPiece(b.data(), static_cast<int32_t>(b.size())), status);
        if (U_SUCCESS(status))
            return result;
    }
    return a.compare(b);
}

std::string singleLine(std::string_view bytes) {
    auto text = repairUTF8(bytes);
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = ' ';
    return text;
}

} // namespace velmora::Text
