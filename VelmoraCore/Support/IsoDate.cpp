#include "Support/IsoDate.hpp"

#include <cstdio>
#include <ctime>

namespace velmora {

std::string isoDateText(TimePoint time) {
    const auto secs = std::chrono::floor<std::chrono::seconds>(time);
    const std::chrono::sys_days day = std::chrono::floor<std::chrono::days>(secs);
    const std::chrono::year_month_day ymd{day};
    const std::chrono::hh_mm_ss hms{secs - day};
    char buf[40];
    std::snprintf(buf, sizeof buf, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(ymd.year()),
                  static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                  static_cast<int>(hms.hours().count()), static_cast<int>(hms.minutes().count()),
                  static_cast<int>(hms.seconds().count()));
    return buf;
}

std::optional<TimePoint> parseIsoDate(std::string_view text) {
    int y = 0;
    unsigned mo = 0, d = 0;
    int h = 0, mi = 0, s = 0;
    const std::string copy(text);
    int consumed = 0;
    if (std::sscanf(copy.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d%n", &y, &mo, &d, &h, &mi, &s, &consumed) != 6)
        return std::nullopt;
    std::string_view rest = text.substr(static_cast<std::size_t>(consumed));
    if (!rest.empty() && rest.front() == '.') {
        std::size_t i = 1;
        while (i < rest.size() && rest[i] >= '0' && rest[i] <= '9')
            ++i;
        rest.remove_prefix(i);
    }
    if (rest != "Z")
        return std::nullopt;
    const std::chrono::year_month_day ymd{std::chrono::year{y}, std::chrono::month{mo}, std::chrono::day{d}};
    if (!ymd.ok() || h > 23 || mi > 59 || s > 60 || h < 0 || mi < 0 || s < 0)
        return std::nullopt;
    return TimePoint{std::chrono::sys_days{ymd}} + std::chrono::hours{h} + std::chrono::minutes{mi} +
           std::chrono::seconds{s};
}

} // namespace velmora
