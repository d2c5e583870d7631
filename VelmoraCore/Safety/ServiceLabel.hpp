// The rule for launchd labels we are willing to stop or whose files we delete: plain ASCII names that
// belong neither to the system's standard daemons nor to this program itself.
#pragma once

#include <array>
#include <string_view>

namespace velmora::ServiceLabel {

// Compared against the lower-cased label, so "Com.Apple.x" is protected as well.
inline constexpr std::array<std::string_view, 9> protectedPrefixes{
    "com.apple.",       "de.tobrenlux.velmora2.", "com.openssh.",  "com.vix.cron", "org.cups.",
    "org.apache.httpd", "org.net-snmp.",          "org.openldap.", "org.ntp.",
};

inline constexpr std::size_t maximumLength = 201;

// 1 to 201 characters; the first an ASCII letter or digit, the others ASCII letters, digits, "-", "."
// or "_"; and no protected prefix.
bool isValid(std::string_view label);

} // namespace velmora::ServiceLabel
