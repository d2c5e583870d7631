#include "SystemData/VolumeInventory.hpp"

#include "Support/PropertyList.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

namespace {

using Result = std::expected<VolumeInventoryResult, VolumeInventoryError>;

bool isOfType(plist_t node, plist_type type) {
    return node && plist_get_node_type(node) == type;
}

// The elements of an array node; libplist's iterator, since indexing walks from the first element.
std::vector<plist_t> elements(plist_t array) {
    std::vector<plist_t> nodes;
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(array, &iterator);
    const std::unique_ptr<void, decltype(&std::free)> owned(iterator, &std::free);
    for (plist_t element = nullptr;;) {
        plist_array_next_item(array, iterator, &element);
        if (!element)
            return nodes;
        nodes.push_back(element);
    }
}

// A list of dictionaries under `key`: missing is an empty list, anything else than an array of
// dictionaries is nothing.
std::optional<std::vector<plist_t>> dictionaries(plist_t dict, const char* key) {
    plist_t node = plistValue(dict, key);
    if (!node)
        return std::vector<plist_t>{};
    if (!isOfType(node, PLIST_ARRAY))
        return std::nullopt;
    auto nodes = elements(node);
    if (!std::ranges::all_of(nodes, [](plist_t n) { return isOfType(n, PLIST_DICT); }))
        return std::nullopt;
    return nodes;
}

// A byte count: 0 when missing, nothing when it is no integer or no count a disk can have. libplist
// keeps every integer as 64 bits, negative ones in two's complement and those beyond 2^63 - 1 as
// unsigned, so the top bit set means either way that the value is not a byte count.
std::optional<std::int64_t> byteCount(plist_t dict, const char* key) {
    plist_t node = plistValue(dict, key);
    if (!node)
        return 0;
    if (!isOfType(node, PLIST_UINT))
        return std::nullopt;
    std::uint64_t value = 0;
    plist_get_uint_val(node, &value);
    if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return std::nullopt;
    return static_cast<std::int64_t>(value);
}

bool hasRole(const std::vector<std::string>& roles, std::string_view role) {
    return std::ranges::find(roles, role) != roles.end();
}

// Roles that are missing or not a list of texts count as none: the name may still tell.
std::vector<std::string> rolesOf(plist_t volume) {
    return plistStringArray(volume, "Roles").value_or(std::vector<std::string>{});
}

std::string nameOf(plist_t volume) {
    return plistString(volume, "Name").value_or(std::string{});
}

bool isSimulatorName(std::string_view name) {
    return name.ends_with("Simulator");
}

VolumeRole roleOf(const std::vector<std::string>& roles, std::string_view name) {
    // The first match wins: a volume that is both "Data" and "System" is the system.
    static constexpr std::pair<std::string_view, VolumeRole> order[]{{"System", VolumeRole::system},
                                                                     {"Preboot", VolumeRole::preboot},
                                                                     {"Recovery", VolumeRole::recovery},
                                                                     {"VM", VolumeRole::vm},
                                                                     {"Data", VolumeRole::data}};
    for (const auto& [text, role] : order)
        if (hasRole(roles, text))
            return role;
    return isSimulatorName(name) ? VolumeRole::simulator : VolumeRole::other;
}

std::optional<APFSVolume> volumeOf(plist_t dict, std::optional<VolumeRole> role) {
    const auto consumed = byteCount(dict, "CapacityInUse");
    if (!consumed)
        return std::nullopt;
    auto name = nameOf(dict);
    const auto resolved = role ? *role : roleOf(rolesOf(dict), name);
    return APFSVolume{std::move(name), resolved, *consumed};
}

bool sumsFit(const std::vector<APFSVolume>& volumes) {
    return totalConsumed(volumes).has_value();
}

} // namespace

VolumeInventory::VolumeInventory(std::shared_ptr<CommandRunner> runner, std::filesystem::path diskutil)
    : runner_(std::move(runner)), diskutil_(std::move(diskutil)) {}

Result VolumeInventory::load(StopToken stop) const {
    const auto run = runner_->run(diskutil_, {"apfs", "list", "-plist"}, timeLimit, stop);
    if (!run || run->exitCode != 0)
        return std::unexpected(VolumeInventoryError::commandFailed);
    return parse(run->standardOutput, "Data");
}

Result VolumeInventory::parse(std::string_view data, std::string_view role) {
    const auto invalid = std::unexpected(VolumeInventoryError::invalidPlist);
    const PlistPtr root = parsePropertyList(data);
    if (!isOfType(root.get(), PLIST_DICT) || plistCount(root.get()) == 0 ||
        !isOfType(plistValue(root.get(), "Containers"), PLIST_ARRAY))
        return invalid;
    const auto containers = dictionaries(root.get(), "Containers");
    if (!containers)
        return invalid;

    std::vector<std::vector<plist_t>> volumesOf;
    for (plist_t container : *containers) {
        auto volumes = dictionaries(container, "Volumes");
        if (!volumes)
            return invalid;
        volumesOf.push_back(std::move(*volumes));
    }
    const auto holdsRole = [&](const std::vector<plist_t>& volumes) {
        return std::ranges::any_of(volumes, [&](plist_t volume) { return hasRole(rolesOf(volume), role); });
    };
    const auto start = std::ranges::find_if(volumesOf, holdsRole);
    if (start == volumesOf.end())
        return std::unexpected(VolumeInventoryError::noStartContainer);
    plist_t startContainer = (*containers)[static_cast<std::size_t>(start - volumesOf.begin())];

    VolumeInventoryResult result;
    const auto size = byteCount(startContainer, "CapacityCeiling");
    const auto free = byteCount(startContainer, "CapacityFree");
    if (!size || !free)
        return invalid;
    result.containerSize = *size;
    result.containerFree = *free;
    for (plist_t dict : *start) {
        auto volume = volumeOf(dict, std::nullopt);
        if (!volume)
            return invalid;
        result.volumes.push_back(std::move(*volume));
    }

    // Containers without a reference cannot be told apart, so they count as the start container.
    const auto startReference = plistString(startContainer, "ContainerReference");
    for (std::size_t i = 0; i < containers->size(); ++i) {
        if (plistString((*containers)[i], "ContainerReference") == startReference)
            continue;
        for (plist_t dict : volumesOf[i]) {
            if (!isSimulatorName(nameOf(dict)))
                continue;
            auto volume = volumeOf(dict, VolumeRole::simulator);
            if (!volume)
                return invalid;
            result.simulatorVolumes.push_back(std::move(*volume));
        }
    }
    if (!sumsFit(result.volumes) || !sumsFit(result.simulatorVolumes))
        return invalid;
    return result;
}

} // namespace velmora
