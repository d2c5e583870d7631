#include "Scanning/Scanners/OllamaScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace velmora {

namespace {

using namespace std::chrono_literals;

std::vector<std::string_view> words(std::string_view text) {
    std::vector<std::string_view> result;
    std::size_t at = 0;
    while ((at = text.find_first_not_of(" \t", at)) != std::string_view::npos) {
        const auto end = std::min(text.find_first_of(" \t", at), text.size());
        result.push_back(text.substr(at, end - at));
        at = end;
    }
    return result;
}

} // namespace

std::optional<std::int64_t> OllamaScanner::bytes(std::string_view number, std::string_view unit) {
    static constexpr std::array<std::pair<std::string_view, double>, 5> units = {
        {{"B", 1.0}, {"KB", 1e3}, {"MB", 1e6}, {"GB", 1e9}, {"TB", 1e12}}};
    // "4.7" read by hand: libc++ (Apple's too) has no floating-point from_chars.
    const auto point = number.find('.');
    const auto whole = number.substr(0, point);
    const auto fraction = point == std::string_view::npos ? std::string_view{} : number.substr(point + 1);
    const auto digits = [](std::string_view text) {
        return !text.empty() && text.size() <= 12 &&
               std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
    };
    if (!digits(whole) || (point != std::string_view::npos && !digits(fraction)))
        return std::nullopt;
    double value = 0;
    for (char c : whole)
        value = value * 10 + (c - '0');
    double scale = 1;
    for (char c : fraction)
        value += (c - '0') * (scale /= 10);
    for (const auto& [name, factor] : units)
        if (unit == name)
            return static_cast<std::int64_t>(std::llround(value * factor));
    return std::nullopt;
}

std::optional<std::chrono::seconds> OllamaScanner::age(std::string_view text) {
    if (!text.ends_with(" ago"))
        return std::nullopt;
    text.remove_suffix(4);
    if (text == "Less than a second")
        return 0s;
    if (text == "About a minute")
        return 60s;
    if (text == "About an hour")
        return 3600s;
    const auto parts = words(text);
    if (parts.size() != 2)
        return std::nullopt;
    std::int64_t n = 0;
    const auto [end, ec] = std::from_chars(parts[0].data(), parts[0].data() + parts[0].size(), n);
    if (ec != std::errc{} || end != parts[0].data() + parts[0].size())
        return std::nullopt;
    auto unit = parts[1];
    if (unit.ends_with('s'))
        unit.remove_suffix(1);
    static constexpr std::array<std::pair<std::string_view, std::int64_t>, 7> units = {
        {{"second", 1},
         {"minute", 60},
         {"hour", 3600},
         {"day", 86'400},
         {"week", 604'800},
         {"month", 2'592'000},
         {"year", 31'536'000}}};
    for (const auto& [name, seconds] : units)
        if (unit == name)
            return std::chrono::seconds{n * seconds};
    return std::nullopt;
}

std::optional<std::vector<OllamaScanner::Model>> OllamaScanner::models(std::string_view output) {
    std::vector<Model> result;
    bool header = false;
    for (const auto line : toolscan::lines(output)) {
        const auto parts = words(line);
        if (parts.empty())
            continue;
        if (!header) {
            if (parts != std::vector<std::string_view>{"NAME", "ID", "SIZE", "MODIFIED"})
                return std::nullopt;
            header = true;
            continue;
        }
        // NAME ID <number> <unit> <age …>; the size and the age contain blanks themselves.
        if (parts.size() < 5)
            return std::nullopt;
        const auto size = bytes(parts[2], parts[3]);
        const auto modifiedStart = parts[4].data() - line.data();
        const auto modified = age(toolscan::trimmed(line.substr(static_cast<std::size_t>(modifiedStart))));
        if (!size || !modified)
            return std::nullopt;
        result.push_back(Model{std::string(parts[0]), std::string(parts[1]), *size, *modified});
    }
    if (!header)
        return std::nullopt;
    return result;
}

std::expected<std::vector<Finding>, ScanError> OllamaScanner::scan(const ScanContext& context,
                                                                   StopToken stop) {
    const auto ollama = toolscan::locate(context, "ollama");
    if (!ollama)
        return std::vector<Finding>{};
    // The command asks the Ollama server, which only runs while the app (or `ollama serve`) does.
    const auto out =
        toolscan::output(context, *ollama, {"list"}, 30s, "Ollama", stop,
                         [](const CommandResult& result) -> std::optional<std::string> {
                             if (result.standardError.find("could not connect") == std::string::npos)
                                 return std::nullopt;
                             return "Ollama läuft nicht – starte Ollama, damit die Modelle erscheinen.";
                         });
    if (!out)
        return std::unexpected(out.error());
    const auto found = models(*out);
    if (!found)
        return std::unexpected(toolscan::unreadable("ollama list"));
    std::vector<Finding> findings;
    for (const auto& model : *found) {
        FindingItem item;
        item.id = model.name;
        item.name = model.name;
        item.size = model.bytes;
        item.date = context.now - model.age;
        item.detail = "ID " + model.digest;
        findings.push_back(toolscan::toolFinding({"ai.ollama", model.name, "Ollama-Modell " + model.name,
                                                  "Ein lokal gespeichertes Sprachmodell von Ollama. Prüfe, "
                                                  "ob du es noch nutzt – ein gelöschtes Modell "
                                                  "lädst du mit „ollama pull“ erneut herunter.",
                                                  Risk::review},
                                                 ToolCommand{"ollama", {"rm", model.name}, 120s},
                                                 {std::move(item)}));
    }
    return findings;
}

} // namespace velmora
