#include "Findings/ByteFormat.hpp"

#include "Support/Text.hpp"

#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/rbnf.h>
#include <unicode/uchar.h>

#include <array>
#include <cmath>
#include <memory>

namespace velmora::ByteFormat {

namespace {

constexpr int unitCount = 6; // Byte, kB, MB, GB, TB, PB

// The largest count that still shows in each unit once rounded (half-even): one more byte would round
// up to 1000 (or 1024) of that unit and so belongs to the next one.
constexpr std::array<std::int64_t, unitCount - 1> decimalLimits{999, 999'499, 999'949'999, 999'994'999'999,
                                                                999'994'999'999'999};
constexpr std::array<std::int64_t, unitCount - 1> binaryLimits{1'023, 1'048'063, 1'073'689'395,
                                                               1'099'506'259'066, 1'125'894'409'284'485};

constexpr std::array<const char16_t*, unitCount> skeletons{
    u"measure-unit/digital-byte unit-width-full-name precision-integer",
    u"measure-unit/digital-kilobyte unit-width-short precision-integer",
    u"measure-unit/digital-megabyte unit-width-short .#",
    u"measure-unit/digital-gigabyte unit-width-short .##",
    u"measure-unit/digital-terabyte unit-width-short .##",
    u"measure-unit/digital-petabyte unit-width-short .##",
};

struct Formatters {
    std::array<std::unique_ptr<icu::number::LocalizedNumberFormatter>, unitCount> units;
    std::string zero;
};

const Formatters& formatters() {
    static const Formatters f = [] {
        Formatters built;
        const icu::Locale locale("de_DE");
        for (int i = 0; i < unitCount; ++i) {
            UErrorCode status = U_ZERO_ERROR;
            UParseError parseError{};
            auto unlocalized = icu::number::NumberFormatter::forSkeleton(skeletons[i], parseError, status);
            built.units[i] =
                std::make_unique<icu::number::LocalizedNumberFormatter>(unlocalized.locale(locale));
        }
        // Zero is spelled out by the locale ("null"), capitalised as the first word of the text.
        UErrorCode status = U_ZERO_ERROR;
        icu::RuleBasedNumberFormat spellout(icu::URBNF_SPELLOUT, locale, status);
        icu::UnicodeString word;
        if (U_SUCCESS(status))
            spellout.format(static_cast<int32_t>(0), word);
        else
            word = u"null";
        if (word.length() > 0)
            word.replace(0, U16_LENGTH(word.char32At(0)), static_cast<UChar32>(u_toupper(word.char32At(0))));
        icu::UnicodeString unitOnly;
        status = U_ZERO_ERROR;
        unitOnly = built.units[1]->formatInt(0, status).toString(status);
        // Replace the digit ICU wrote for 0 by the word, keeping the locale's own unit and spacing.
        const int32_t digit = unitOnly.indexOf(u'0');
        if (digit >= 0)
            unitOnly.replace(digit, 1, word);
        std::string text;
        unitOnly.toUTF8String(text);
        built.zero = Text::plainSpaces(text);
        return built;
    }();
    return f;
}

std::string format(std::int64_t bytes, const std::array<std::int64_t, unitCount - 1>& limits, double base) {
    const auto& f = formatters();
    if (bytes == 0)
        return f.zero;
    const std::int64_t magnitude = bytes == INT64_MIN ? INT64_MAX : (bytes < 0 ? -bytes : bytes);
    int unit = 0;
    while (unit < unitCount - 1 && magnitude > limits[static_cast<std::size_t>(unit)])
        ++unit;
    const double value = static_cast<double>(bytes) / std::pow(base, unit);
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString formatted =
        f.units[static_cast<std::size_t>(unit)]->formatDouble(value, status).toString(status);
    std::string text;
    formatted.toUTF8String(text);
    return Text::plainSpaces(text);
}

} // namespace

std::string fileSize(std::int64_t bytes) {
    return format(bytes, decimalLimits, 1000.0);
}

std::string memory(std::int64_t bytes) {
    return format(bytes, binaryLimits, 1024.0);
}

} // namespace velmora::ByteFormat
