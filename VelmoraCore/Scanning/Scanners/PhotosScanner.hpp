// The photos library: how much room it takes, shown as a hint, since only the photos app may change
// it. macOS: the Photos library in ~/Pictures. Linux has no single library; the photo managers
// (Shotwell, digiKam, GNOME Photos) keep the originals in the pictures folder, so that folder counts.
#pragma once

#include "Scanning/PhotosInfo.hpp"
#include "Scanning/Scanner.hpp"

#include <optional>

namespace velmora {

struct ScanContext;

// The library and its size; nothing when there is none. Its size is absent when it may not be read.
// macOS: "Photos Library.photoslibrary" in ~/Pictures, else the first other *.photoslibrary there.
std::optional<PhotosInfo> photosInfo(const ScanContext& context);

class PhotosScanner : public Scanner {
public:
    std::string id() const override { return "personal.photos"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;
};

} // namespace velmora
