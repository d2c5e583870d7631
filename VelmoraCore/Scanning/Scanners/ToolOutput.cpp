#include "Scanning/Scanners/ToolOutput.hpp"

#include "Scanning/ScanContext.hpp"

#include <fmt/format.h>

namespace velmora::toolscan {

std::optional<std::filesystem::path> locate(const ScanContext& context, std::string_view tool) {
    if (!context.tools || !context.runner)
        return std::nullopt;
    return context.tools->locate(tool);
}

std::expected<std::string, ScanError> output(const ScanContext& context,
                                             const std::filesystem::path& executable,
                                             const std::vector<std::string>& arguments,
                                             std::chrono::seconds timeout, std::string_view shownName,
                                             StopToken stop, const Explain& explain) {
    auto ran = context.runner->run(executable, arguments, timeout, stop);
    if (!ran) {
        switch (ran.error().kind) {
        case CommandError::Kind::timeout:
            return std::unexpected(
                ScanError{fmt::format("{} hat nicht rechtzeitig geantwortet (nach {} s abgebrochen).",
                                      shownName, timeout.count())});
        case CommandError::Kind::cancelled:
            return std::unexpected(ScanError{"Abgebrochen"});
        case CommandError::Kind::launchFailed:
            break;
        }
        return std::unexpected(
            ScanError{fmt::format("{} ließ sich nicht starten: {}", shownName, ran.error().message)});
    }
    if (ran->exitCode != 0 && explain)
        if (auto text = explain(*ran))
            return std::unexpected(ScanError{std::move(*text)});
    if (ran->exitCode != 0)
        return std::unexpected(
            ScanError{fmt::format("{} meldet einen Fehler (Exit {}).", shownName, ran->exitCode)});
    return std::move(ran->standardOutput);
}

ScanError unreadable(std::string_view command) {
    return ScanError{fmt::format("Die Ausgabe von „{}“ ist nicht lesbar.", command)};
}

std::vector<std::string_view> lines(std::string_view text) {
    std::vector<std::string_view> result;
    while (!text.empty()) {
        const auto end = text.find('\n');
        auto line = text.substr(0, end);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        result.push_back(line);
        if (end == std::string_view::npos)
            break;
        text.remove_prefix(end + 1);
    }
    return result;
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

Finding toolFinding(Texts texts, ToolCommand command, std::vector<FindingItem> items) {
    Finding finding;
    finding.id = FindingID{std::move(texts.scannerID), std::move(texts.key)};
    finding.category = categoryForScannerID(finding.id.scannerID).value_or(Category::toolchains);
    finding.title = std::move(texts.title);
    finding.summary = std::move(texts.summary);
    finding.risk = texts.risk;
    finding.commandPreview = command.commandLine();
    finding.method = RemovalMethod::tool(std::move(command));
    std::optional<std::int64_t> total = 0;
    for (const auto& item : items)
        total = total && item.size ? std::optional(*total + *item.size) : std::nullopt;
    finding.size = total;
    finding.items = std::move(items);
    return finding;
}

FindingItem measuredItem(const ScanContext& context, const std::filesystem::path& location, StopToken stop) {
    FindingItem item;
    item.id = location.string();
    item.url = location;
    item.name = location.filename().string();
    item.detail = location.parent_path().string();
    item.size = context.sizer ? context.sizer->size(location, stop) : 0;
    return item;
}

} // namespace velmora::toolscan
