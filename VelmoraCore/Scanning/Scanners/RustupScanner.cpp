#include "Scanning/Scanners/RustupScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"

#include <algorithm>

namespace velmora {

namespace {

using namespace std::chrono_literals;

bool isToolchainName(std::string_view name) {
    return !name.empty() && std::ranges::all_of(name, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
               c == '.' || c == '_';
    });
}

} // namespace

std::optional<std::vector<RustupScanner::Toolchain>> RustupScanner::toolchains(std::string_view output) {
    std::vector<Toolchain> result;
    for (const auto raw : toolscan::lines(output)) {
        const auto line = toolscan::trimmed(raw);
        if (line.empty() || line == "no installed toolchains")
            continue;
        const auto space = line.find(' ');
        const auto name = line.substr(0, space);
        const auto marks =
            space == std::string_view::npos ? std::string_view{} : toolscan::trimmed(line.substr(space));
        if (!isToolchainName(name) || (!marks.empty() && !(marks.starts_with('(') && marks.ends_with(')'))))
            return std::nullopt;
        const bool inUse =
            marks.find("default") != std::string_view::npos || marks.find("active") != std::string_view::npos;
        result.push_back(Toolchain{std::string(name), inUse});
    }
    return result;
}

std::optional<std::vector<std::string>> RustupScanner::overrides(std::string_view output) {
    std::vector<std::string> result;
    for (const auto raw : toolscan::lines(output)) {
        auto line = toolscan::trimmed(raw);
        if (!line.starts_with('/') && !line.starts_with('\\') && !(line.size() > 2 && line[1] == ':'))
            continue;            // "no overrides" and rustup's advice about folders that are gone
        if (line.ends_with(')')) // "(not a directory)"
            line = toolscan::trimmed(line.substr(0, line.rfind('(')));
        const auto last = line.find_last_of(" \t");
        if (last == std::string_view::npos || !isToolchainName(line.substr(last + 1)))
            return std::nullopt;
        result.emplace_back(line.substr(last + 1));
    }
    return result;
}

bool RustupScanner::selects(std::string_view selected, std::string_view name) {
    return name == selected || (name.starts_with(selected) && name.substr(selected.size()).starts_with('-'));
}

std::expected<std::vector<Finding>, ScanError> RustupScanner::scan(const ScanContext& context,
                                                                   StopToken stop) {
    const auto rustup = toolscan::locate(context, "rustup");
    if (!rustup)
        return std::vector<Finding>{};
    const auto listed = toolscan::output(context, *rustup, {"toolchain", "list"}, 30s, "rustup", stop);
    if (!listed)
        return std::unexpected(listed.error());
    const auto installed = toolchains(*listed);
    if (!installed)
        return std::unexpected(toolscan::unreadable("rustup toolchain list"));
    const auto overridden = toolscan::output(context, *rustup, {"override", "list"}, 30s, "rustup", stop);
    if (!overridden)
        return std::unexpected(overridden.error());
    const auto pinned = overrides(*overridden);
    if (!pinned)
        return std::unexpected(toolscan::unreadable("rustup override list"));

    std::vector<Finding> findings;
    for (const auto& toolchain : *installed) {
        if (toolchain.inUse ||
            std::ranges::any_of(*pinned, [&](const std::string& o) { return selects(o, toolchain.name); }))
            continue;
        auto item =
            toolscan::measuredItem(context, context.home / ".rustup/toolchains" / toolchain.name, stop);
        item.detail = "Weder Standard noch für einen Projektordner festgelegt";
        findings.push_back(toolscan::toolFinding(
            {"toolchains.rustup", toolchain.name, "Rust-Toolchain " + toolchain.name,
             "Eine über rustup installierte Rust-Toolchain, die weder Standard ist noch für einen "
             "Projektordner "
             "festgelegt wurde. Braucht ein Projekt sie doch, installiert rustup sie beim nächsten Build "
             "neu.",
             Risk::review},
            ToolCommand{"rustup", {"toolchain", "uninstall", toolchain.name}, 300s}, {std::move(item)}));
    }
    return findings;
}

} // namespace velmora
