#include "Removal/AdminScriptBuilder.hpp"

#include "Findings/ShellQuote.hpp"

#include <algorithm>
#include <charconv>
#include <random>
#include <stdexcept>
#include <type_traits>

namespace velmora::AdminScriptBuilder {

namespace {

constexpr std::string_view nonceAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

bool isNonceCharacter(char c) {
    return nonceAlphabet.find(c) != std::string_view::npos;
}

std::string statusLine(std::string_view nonce, std::size_t step) {
    return "echo \"KS_STEP " + std::string(nonce) + " " + std::to_string(step) + " $ks_rc\"";
}

std::vector<std::string_view> fieldsOf(std::string_view line) {
    std::vector<std::string_view> fields;
    std::size_t position = 0;
    while (position < line.size()) {
        const auto end = std::min(line.find(' ', position), line.size());
        if (end > position)
            fields.push_back(line.substr(position, end - position));
        position = end + 1;
    }
    return fields;
}

// Digits only; a status may also carry one sign, as a 32-bit decimal integer can be written.
template <class Integer> std::optional<Integer> decimal(std::string_view text) {
    std::string_view digits = text;
    if constexpr (std::is_signed_v<Integer>) {
        if (text.starts_with('+'))
            text = digits = text.substr(1);
        else if (text.starts_with('-'))
            digits = text.substr(1);
    }
    if (digits.empty() || !std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    Integer value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace

std::string makeNonce(std::size_t length) {
    // random_device reads the kernel's random source on Linux and arc4random on macOS.
    std::random_device device;
    std::uniform_int_distribution<std::size_t> pick(0, nonceAlphabet.size() - 1);
    std::string nonce;
    nonce.reserve(length);
    for (std::size_t i = 0; i < length; ++i)
        nonce.push_back(nonceAlphabet[pick(device)]);
    return nonce;
}

std::string commandLine(const AdminStep& step) {
    std::string line = ShellQuote::quote(step.executable);
    for (const auto& argument : step.arguments)
        line += " " + ShellQuote::quote(argument);
    return line;
}

std::string script(const std::vector<AdminStep>& steps, std::string_view nonce) {
    if (nonce.empty() || !std::ranges::all_of(nonce, isNonceCharacter))
        throw std::invalid_argument("admin script nonce must be letters and digits");

    std::string text;
    for (std::size_t k = 0; k < steps.size(); ++k) {
        const auto& step = steps[k];
        if (k > 0)
            text += '\n';
        const std::string command = commandLine(step);
        if (step.runsIfPreviousSucceeded) {
            const bool afterStop = k > 0 && steps[k - 1].isServiceStop();
            const std::string ok = afterStop ? "0|3|113" : "0";
            text += "case \"$ks_rc\" in " + ok + ") " + command +
                    "; ks_rc=$?;; *) ks_rc=" + std::to_string(notRunStatus) + ";; esac; ";
        } else {
            text += command + "; ks_rc=$?; ";
        }
        text += statusLine(nonce, k);
    }
    return text;
}

std::vector<std::optional<std::int32_t>> parseStatuses(std::string_view output, std::string_view nonce,
                                                       std::size_t stepCount) {
    std::vector<std::optional<std::int32_t>> statuses(stepCount);
    std::vector<int> linesPerStep(stepCount, 0);
    std::size_t position = 0;
    while (position <= output.size()) {
        // osascript hands the output of "do shell script" back with carriage returns between lines.
        const auto end = std::min(output.find_first_of("\n\r", position), output.size());
        const auto fields = fieldsOf(output.substr(position, end - position));
        position = end + 1;
        if (fields.size() != 4 || fields[0] != "KS_STEP" || fields[1] != nonce)
            continue;
        const auto step = decimal<std::size_t>(fields[2]);
        const auto status = decimal<std::int32_t>(fields[3]);
        if (!step || *step >= stepCount || !status)
            continue;
        if (++linesPerStep[*step] == 1)
            statuses[*step] = *status;
        else
            statuses[*step].reset();
    }
    return statuses;
}

} // namespace velmora::AdminScriptBuilder
