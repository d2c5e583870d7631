// What `docker system prune` / `podman system prune` would free: dangling images, stopped containers
// and (Docker) unused build cache, as the engine itself reports them. Volumes are never part of it,
// and neither are tagged images that no container uses ("-a"), which a user may still want to start.
// An engine whose daemon or machine is not running reports nothing; that is not a failure.
#pragma once

#include "Scanning/Scanner.hpp"

#include <cstdint>
#include <optional>
#include <string_view>

namespace velmora {

class ContainerPruneScanner : public Scanner {
public:
    enum class Engine { docker, podman };

    explicit ContainerPruneScanner(Engine engine) : engine_(engine) {}

    std::string id() const override;
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    // Bytes a prune frees, by kind; nothing where the output did not tell.
    struct Reclaimable {
        std::optional<std::int64_t> danglingImages;
        std::optional<std::int64_t> stoppedContainers;
        std::optional<std::int64_t> buildCache;
    };
    // `docker system df -v --format json`: one object with Images, Containers and BuildCache lists;
    // older clients print the summary as JSON lines ({"Type": "Containers", "Reclaimable": "…"}).
    static std::optional<Reclaimable> docker(std::string_view output);
    // `podman system df --format json` (a list of summaries, "RawReclaimable" in bytes) and
    // `podman images --filter dangling=true --format json`.
    static std::optional<Reclaimable> podman(std::string_view summary, std::string_view danglingImages);
    // "1.579GB", "13.3kB", "0B" (decimal units, as both engines print them).
    static std::optional<std::int64_t> bytes(std::string_view text);

private:
    Engine engine_;
};

} // namespace velmora
