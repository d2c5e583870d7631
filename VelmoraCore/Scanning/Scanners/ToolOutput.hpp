// What the scanners that ask a developer tool share: finding and running the tool under a time limit,
// and turning what it reports into a finding that the tool itself removes.
#pragma once

#include "Findings/Finding.hpp"
#include "Findings/Risk.hpp"
#include "Findings/ToolCommand.hpp"
#include "Platform/CommandRunner.hpp"
#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct ScanContext;

namespace toolscan {

// Where the context's locator finds `tool`; nothing when it is not installed (or there is no locator).
std::optional<std::filesystem::path> locate(const ScanContext& context, std::string_view tool);

// The standard output of `executable arguments`. A tool that fails, hangs past `timeout` or cannot be
// started is a scan error naming `shownName`; a stop request is one too ("Abgebrochen"). For a failed
// tool, `explain` may give a better text from what it printed.
using Explain = std::function<std::optional<std::string>(const CommandResult&)>;
std::expected<std::string, ScanError> output(const ScanContext& context,
                                             const std::filesystem::path& executable,
                                             const std::vector<std::string>& arguments,
                                             std::chrono::seconds timeout, std::string_view shownName,
                                             StopToken stop, const Explain& explain = {});

// "Die Ausgabe von „<command>“ ist nicht lesbar.": the text for output that does not parse.
ScanError unreadable(std::string_view command);

// The lines of `text`, without trailing carriage returns.
std::vector<std::string_view> lines(std::string_view text);
// `text` without blanks and tabs at both ends.
std::string_view trimmed(std::string_view text);

struct Texts {
    std::string scannerID;
    std::string key;
    std::string title;
    std::string summary;
    Risk risk = Risk::review;
};

// A finding removed by `command`; its size is the sum of the items' sizes (unknown if one is unknown).
Finding toolFinding(Texts texts, ToolCommand command, std::vector<FindingItem> items);

// An item for a location reported by a tool: measured with the size meter, named by its last part,
// with the folder it lies in as the detail.
FindingItem measuredItem(const ScanContext& context, const std::filesystem::path& location, StopToken stop);

} // namespace toolscan
} // namespace velmora
