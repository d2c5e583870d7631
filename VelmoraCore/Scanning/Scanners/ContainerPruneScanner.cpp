#include "Scanning/Scanners/ContainerPruneScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/OllamaScanner.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"

#include <nlohmann/json.hpp>

#include <array>

namespace velmora {

namespace {

using nlohmann::json;
using namespace std::chrono_literals;

constexpr auto listTimeout = 60s;

std::optional<std::string> text(const json& object, const char* key) {
    const auto it = object.find(key);
    if (it == object.end() || !it->is_string())
        return std::nullopt;
    return it->get<std::string>();
}

// Both engines have printed truth values as JSON booleans and as "true"/"false" text.
bool flag(const json& object, const char* key) {
    const auto it = object.find(key);
    return it != object.end() &&
           ((it->is_boolean() && it->get<bool>()) || (it->is_string() && *it == "true"));
}

const json* list(const json& object, const char* key) {
    const auto it = object.find(key);
    return it != object.end() && it->is_array() ? &*it : nullptr;
}

// A whole JSON value, or one object per line; nothing when neither reads.
std::optional<std::vector<json>> objects(std::string_view output) {
    auto whole = json::parse(output, nullptr, false);
    if (!whole.is_discarded()) {
        if (whole.is_array())
            return std::vector<json>(whole.begin(), whole.end());
        if (whole.is_object())
            return std::vector<json>{std::move(whole)};
        if (whole.is_null())
            return std::vector<json>{};
        return std::nullopt;
    }
    std::vector<json> result;
    for (const auto line : toolscan::lines(output)) {
        if (toolscan::trimmed(line).empty())
            continue;
        auto object = json::parse(line, nullptr, false);
        if (!object.is_object())
            return std::nullopt;
        result.push_back(std::move(object));
    }
    return result;
}

// The figure in front of a summary's percentage: "1.2GB (50%)" → 1.2 GB.
std::optional<std::int64_t> leadingBytes(const std::optional<std::string>& value) {
    if (!value)
        return std::nullopt;
    return ContainerPruneScanner::bytes(value->substr(0, value->find(' ')));
}

bool daemonDown(ContainerPruneScanner::Engine engine, const CommandResult& result) {
    static constexpr std::array<std::string_view, 3> docker = {
        "Cannot connect to the Docker daemon", "Is the docker daemon running", "error during connect"};
    static constexpr std::array<std::string_view, 3> podman = {
        "Cannot connect to Podman", "unable to connect to Podman", "podman machine start"};
    const auto said = result.standardError + result.standardOutput;
    for (const auto marker : engine == ContainerPruneScanner::Engine::docker ? docker : podman)
        if (said.find(marker) != std::string::npos)
            return true;
    return false;
}

} // namespace

std::string ContainerPruneScanner::id() const {
    return engine_ == Engine::docker ? "toolchains.dockerPrune" : "toolchains.podmanPrune";
}

std::optional<std::int64_t> ContainerPruneScanner::bytes(std::string_view value) {
    value = toolscan::trimmed(value);
    const auto unitStart = value.find_first_not_of("0123456789.");
    if (unitStart == 0 || unitStart == std::string_view::npos)
        return std::nullopt;
    std::string unit(toolscan::trimmed(value.substr(unitStart)));
    if (unit == "kB")
        unit = "KB";
    return OllamaScanner::bytes(value.substr(0, unitStart), unit);
}

std::optional<ContainerPruneScanner::Reclaimable> ContainerPruneScanner::docker(std::string_view output) {
    const auto read = objects(output);
    if (!read || read->empty())
        return std::nullopt;
    Reclaimable result;
    const auto& first = read->front();
    if (read->size() == 1 && !first.contains("Type")) {
        const auto* images = list(first, "Images");
        const auto* containers = list(first, "Containers");
        const auto* cache = list(first, "BuildCache");
        if (!images && !containers && !cache)
            return std::nullopt;
        // Only what a plain prune takes: images without name and container, stopped containers, and the
        // build cache that no running build holds.
        result.danglingImages = 0;
        for (const auto& image : images ? *images : json::array()) {
            const auto containersUsing = text(image, "Containers");
            if (text(image, "Repository") != "<none>" || text(image, "Tag") != "<none>" ||
                containersUsing != "0")
                continue;
            const auto size = bytes(text(image, "UniqueSize").value_or(text(image, "Size").value_or("")));
            if (!size)
                return std::nullopt;
            *result.danglingImages += *size;
        }
        result.stoppedContainers = 0;
        for (const auto& container : containers ? *containers : json::array()) {
            const auto state = text(container, "State").value_or("");
            if (state != "exited" && state != "created" && state != "dead")
                continue;
            const auto size = leadingBytes(text(container, "Size"));
            if (!size)
                return std::nullopt;
            *result.stoppedContainers += *size;
        }
        result.buildCache = 0;
        for (const auto& record : cache ? *cache : json::array()) {
            if (flag(record, "InUse") && !flag(record, "Shared"))
                continue;
            const auto size = leadingBytes(text(record, "Size"));
            if (!size)
                return std::nullopt;
            *result.buildCache += *size;
        }
        return result;
    }
    // The summary's image figure counts every image without a container, which a plain prune keeps;
    // only containers and build cache are taken from it.
    for (const auto& row : *read) {
        const auto type = text(row, "Type");
        const auto reclaimable = leadingBytes(text(row, "Reclaimable"));
        if (!type || !reclaimable)
            return std::nullopt;
        if (*type == "Containers")
            result.stoppedContainers = reclaimable;
        else if (*type == "Build Cache")
            result.buildCache = reclaimable;
    }
    return result;
}

std::optional<ContainerPruneScanner::Reclaimable>
ContainerPruneScanner::podman(std::string_view summary, std::string_view danglingImages) {
    const auto rows = objects(summary);
    const auto images = objects(danglingImages.empty() ? "[]" : danglingImages);
    if (!rows || rows->empty() || !images)
        return std::nullopt;
    Reclaimable result;
    for (const auto& row : *rows) {
        const auto type = text(row, "Type");
        if (!type)
            return std::nullopt;
        if (*type != "Containers")
            continue;
        const auto raw = row.find("RawReclaimable");
        result.stoppedContainers = raw != row.end() && raw->is_number_integer()
                                       ? std::optional(raw->get<std::int64_t>())
                                       : leadingBytes(text(row, "Reclaimable"));
        if (!result.stoppedContainers)
            return std::nullopt;
    }
    result.danglingImages = 0;
    for (const auto& image : *images) {
        const auto size = image.find("Size");
        if (size == image.end() || !size->is_number_integer())
            return std::nullopt;
        const auto shared = image.value("SharedSize", std::int64_t{0});
        *result.danglingImages += std::max<std::int64_t>(0, size->get<std::int64_t>() - shared);
    }
    return result;
}

std::expected<std::vector<Finding>, ScanError> ContainerPruneScanner::scan(const ScanContext& context,
                                                                           StopToken stop) {
    const bool isDocker = engine_ == Engine::docker;
    const std::string tool = isDocker ? "docker" : "podman";
    const auto executable = toolscan::locate(context, tool);
    if (!executable)
        return std::vector<Finding>{};
    bool down = false;
    const auto noteDown = [&](const CommandResult& result) -> std::optional<std::string> {
        down = daemonDown(engine_, result);
        return std::nullopt;
    };
    const std::vector<std::string> dfArguments =
        isDocker ? std::vector<std::string>{"system", "df", "-v", "--format", "json"}
                 : std::vector<std::string>{"system", "df", "--format", "json"};
    const auto shown = isDocker ? "Docker" : "Podman";
    const auto summary =
        toolscan::output(context, *executable, dfArguments, listTimeout, shown, stop, noteDown);
    if (!summary)
        return down ? std::expected<std::vector<Finding>, ScanError>(std::vector<Finding>{})
                    : std::unexpected(summary.error());
    std::optional<Reclaimable> reclaimable;
    if (isDocker) {
        reclaimable = docker(*summary);
    } else {
        const auto dangling = toolscan::output(context, *executable,
                                               {"images", "--filter", "dangling=true", "--format", "json"},
                                               listTimeout, shown, stop, noteDown);
        if (!dangling)
            return down ? std::expected<std::vector<Finding>, ScanError>(std::vector<Finding>{})
                        : std::unexpected(dangling.error());
        reclaimable = podman(*summary, *dangling);
    }
    if (!reclaimable)
        return std::unexpected(toolscan::unreadable(tool + " system df"));

    std::vector<FindingItem> items;
    const auto add = [&](const char* itemID, const char* name, const char* detail,
                         const std::optional<std::int64_t>& size) {
        if (size && *size > 0)
            items.push_back(FindingItem{itemID, std::nullopt, name, size, std::nullopt, detail, {}, {}});
    };
    add("danglingImages", "Images ohne Namen", "Von neueren Builds ersetzt, von keinem Container benutzt",
        reclaimable->danglingImages);
    add("stoppedContainers", "Gestoppte Container", "Container, die gerade nicht laufen",
        reclaimable->stoppedContainers);
    add("buildCache", "Build-Cache", "Zwischenstufen früherer Builds", reclaimable->buildCache);
    if (items.empty())
        return std::vector<Finding>{};
    auto finding = toolscan::toolFinding(
        {id(), "", std::string(shown) + " – ungenutzte Daten",
         "Gestoppte Container, Images ohne Namen und Build-Cache, die „" + tool +
             " system prune“ entfernt. Volumes und benannte Images bleiben erhalten. Prüfe, ob du einen "
             "gestoppten Container noch einmal starten willst.",
         Risk::review},
        ToolCommand{tool, {"system", "prune", "-f"}, 600s}, std::move(items));
    // One command takes all of it; a single kind cannot be chosen.
    finding.itemsSelectable = false;
    return std::vector<Finding>{std::move(finding)};
}

} // namespace velmora
