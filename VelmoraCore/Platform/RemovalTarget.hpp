// The object a removal is to act on: its path, the trusted folder from which that path is walked
// without following links, and the identity the object had when the user chose it.
#pragma once

#include "Platform/FileIdentity.hpp"

#include <filesystem>
#include <optional>
#include <utility>

namespace velmora {

struct RemovalTarget {
    std::filesystem::path path; // absolute
    // A folder above `path` that is trusted as configured (the home folder, the root prefix): it is
    // opened as the system resolves it, everything below it one component at a time without following
    // a link. An anchor that is not above `path` is not used; the walk then starts at "/".
    std::filesystem::path anchor = "/";
    // What `path` must still name when it is acted on; nothing: whatever lies there.
    std::optional<FileIdentity> identity;

    // A bare path is walked from "/" and not compared with anything.
    RemovalTarget(std::filesystem::path path, std::filesystem::path anchor = "/",
                  std::optional<FileIdentity> identity = std::nullopt)
        : path(std::move(path)), anchor(std::move(anchor)), identity(std::move(identity)) {}
};

} // namespace velmora
