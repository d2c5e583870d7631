#include "Platform/CommandFailureText.hpp"

namespace velmora {

std::string commandFailureText(const std::filesystem::path& executable,
                               const std::expected<CommandResult, CommandError>& outcome) {
    std::string text = executable.string() + ": ";
    if (!outcome) {
        switch (outcome.error().kind) {
        case CommandError::Kind::timeout:
            return text + "Zeitüberschreitung";
        case CommandError::Kind::cancelled:
            return text + "abgebrochen";
        case CommandError::Kind::launchFailed:
            return text + (outcome.error().message.empty() ? "konnte nicht gestartet werden"
                                                           : outcome.error().message);
        }
    }
    text += "Exit " + std::to_string(outcome->exitCode);
    const auto& error = outcome->standardError;
    const auto start = error.find_first_not_of(" \t\r\n");
    if (start != std::string::npos) {
        const auto end = error.find_first_of("\r\n", start);
        text += " – " + error.substr(start, end == std::string::npos ? std::string::npos : end - start);
    }
    return text;
}

} // namespace velmora
