#include "Platform/AppUsageSource.hpp"

#include "Support/IsoDate.hpp"
#include "Support/Text.hpp"

#include <charconv>

namespace velmora {

namespace {

using namespace std::chrono_literals;

// Spotlight answers from its index; a slow answer means a busy index, not a lost date.
constexpr auto mdlsTimeout = 10s;

} // namespace

std::expected<std::optional<std::chrono::system_clock::time_point>, std::string>
MdlsAppUsage::parse(std::string_view output) {
    const auto text = Text::trimmed(output);
    if (text == "(null)")
        return std::nullopt;
    const auto bad = std::unexpected(std::string("Die Ausgabe von „mdls“ ist nicht lesbar."));
    // 2024-05-01 10:22:33 +0000
    if (text.size() != 25 || text[10] != ' ' || text[19] != ' ' || (text[20] != '+' && text[20] != '-'))
        return bad;
    const auto utc =
        parseIsoDate(std::string(text.substr(0, 10)) + "T" + std::string(text.substr(11, 8)) + "Z");
    int hours = 0;
    int minutes = 0;
    const auto zone = text.substr(21);
    if (!utc || std::from_chars(zone.data(), zone.data() + 2, hours).ptr != zone.data() + 2 ||
        std::from_chars(zone.data() + 2, zone.data() + 4, minutes).ptr != zone.data() + 4)
        return bad;
    const auto offset = std::chrono::hours{hours} + std::chrono::minutes{minutes};
    return text[20] == '+' ? *utc - offset : *utc + offset;
}

std::expected<std::optional<std::chrono::system_clock::time_point>, std::string>
MdlsAppUsage::lastUsed(const std::filesystem::path& bundle, StopToken stop) const {
    const auto ran =
        runner_->run(mdls_, {"-raw", "-name", "kMDItemLastUsedDate", bundle.string()}, mdlsTimeout, stop);
    // An app Spotlight has not indexed (or an index that does not answer) has no known date.
    if (!ran || ran->exitCode != 0)
        return std::nullopt;
    return parse(ran->standardOutput);
}

} // namespace velmora
