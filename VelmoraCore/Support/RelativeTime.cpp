#include "Support/RelativeTime.hpp"

#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/unistr.h>

#include <array>
#include <utility>

namespace velmora {

std::string germanTimeAgo(std::chrono::system_clock::duration elapsed) {
    using namespace std::chrono;
    const auto seconds = std::max<std::int64_t>(duration_cast<std::chrono::seconds>(elapsed).count(), 1);
    constexpr std::int64_t day = 86'400;
    const std::array<std::pair<std::int64_t, URelativeDateTimeUnit>, 7> units{{
        {365 * day, UDAT_REL_UNIT_YEAR},
        {30 * day, UDAT_REL_UNIT_MONTH},
        {7 * day, UDAT_REL_UNIT_WEEK},
        {day, UDAT_REL_UNIT_DAY},
        {3'600, UDAT_REL_UNIT_HOUR},
        {60, UDAT_REL_UNIT_MINUTE},
        {1, UDAT_REL_UNIT_SECOND},
    }};
    auto [length, unit] = units.back();
    for (const auto& candidate : units) {
        if (seconds >= candidate.first) {
            std::tie(length, unit) = candidate;
            break;
        }
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::RelativeDateTimeFormatter formatter(icu::Locale("de_DE"), nullptr, UDAT_STYLE_LONG,
                                                   UDISPCTX_CAPITALIZATION_NONE, status);
    icu::UnicodeString text;
    if (U_SUCCESS(status))
        formatter.format(-static_cast<double>(seconds / length), unit, text, status);
    std::string utf8;
    if (U_FAILURE(status))
        return "vor " + std::to_string(seconds) + " s";
    return text.toUTF8String(utf8);
}

} // namespace velmora
