#include "Findings/ToolCommand.hpp"

#include "Findings/ShellQuote.hpp"
#include "Support/JsonHelpers.hpp"

#include <nlohmann/json.hpp>

namespace velmora {

std::string ToolCommand::commandLine() const {
    std::string line = ShellQuote::quote(tool);
    for (const auto& argument : arguments) {
        line += ' ';
        line += ShellQuote::quote(argument);
    }
    return line;
}

namespace {

constexpr __int128 attosecondsPerNanosecond = 1'000'000'000;

nlohmann::json encodeDuration(std::chrono::nanoseconds d) {
    const __int128 atto = static_cast<__int128>(d.count()) * attosecondsPerNanosecond;
    const auto high = static_cast<std::int64_t>(atto >> 64);
    const auto low = static_cast<std::uint64_t>(static_cast<unsigned __int128>(atto));
    return nlohmann::json::array({high, low});
}

std::chrono::nanoseconds decodeDuration(const nlohmann::json& j) {
    if (!j.is_array() || j.size() != 2 || !j[0].is_number_integer() || !j[1].is_number_integer())
        throw JsonDecodingError("Expected a duration as an array of two integers.");
    const auto high = j[0].get<std::int64_t>();
    const auto low = j[1].get<std::uint64_t>();
    const __int128 atto =
        static_cast<__int128>(static_cast<unsigned __int128>(static_cast<__int128>(high)) << 64) |
        static_cast<__int128>(low);
    return std::chrono::nanoseconds(static_cast<std::int64_t>(atto / attosecondsPerNanosecond));
}

} // namespace

void to_json(nlohmann::json& j, const ToolCommand& command) {
    j = {{"tool", command.tool},
         {"arguments", command.arguments},
         {"timeout", encodeDuration(command.timeout)}};
}

void from_json(const nlohmann::json& j, ToolCommand& command) {
    j.at("tool").get_to(command.tool);
    j.at("arguments").get_to(command.arguments);
    command.timeout = decodeDuration(j.at("timeout"));
}

} // namespace velmora
