// Builds the shell script that carries out all accepted administrator steps of a removal under one
// password prompt, and reads the per-step status lines back from what the script printed.
#pragma once

#include "Findings/AdminStep.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::AdminScriptBuilder {

// What a conditional step reports when the step before it did not succeed, so it was not run.
inline constexpr std::int32_t notRunStatus = 125;

// Letters and digits from the system's random source; 24 of them cannot turn up in a command's
// output by chance, and the commands cannot know them in advance.
std::string makeNonce(std::size_t length = 24);

// The executable and the arguments, each through ShellQuote, joined by single blanks.
std::string commandLine(const AdminStep& step);

// One line per step, numbered from 0 in the order given:
//   CMD; ks_rc=$?; echo "KS_STEP <nonce> <k> $ks_rc"
// and for a step that runs only if the previous one succeeded:
//   case "$ks_rc" in OK) CMD; ks_rc=$?;; *) ks_rc=125;; esac; echo "KS_STEP <nonce> <k> $ks_rc"
// where OK is 0|3|113 after a service stop (launchctl's "not loaded" counts as stopped), else 0.
// `nonce` must be letters and digits only; anything else is a programming error
// (std::invalid_argument), because it is written into the script unquoted inside double quotes.
std::string script(const std::vector<AdminStep>& steps, std::string_view nonce);

// One entry per step: the status from the step's line (lines end at "\n" or "\r") "KS_STEP <nonce> <k>
// <status>" (exactly four blank-separated fields, k below `stepCount`, status a decimal 32-bit integer).
// Other lines are ignored. A step named by more than one such line stays empty: one of them was printed by a
// command that knew the nonce, and we cannot tell which is true, so the step must not count as done.
std::vector<std::optional<std::int32_t>> parseStatuses(std::string_view output, std::string_view nonce,
                                                       std::size_t stepCount);

} // namespace velmora::AdminScriptBuilder
