// A Full Disk Access probe with a fixed answer that can be changed while a test runs.
#pragma once

#include "Platform/FullDiskAccessProbe.hpp"

#include <atomic>

namespace velmora {

class FakeFullDiskAccess final : public FullDiskAccessProbe {
public:
    explicit FakeFullDiskAccess(bool granted = true) : granted_(granted) {}

    void setGranted(bool granted) { granted_ = granted; }
    bool hasFullDiskAccess(const std::filesystem::path&) const override { return granted_; }

private:
    std::atomic<bool> granted_;
};

} // namespace velmora
