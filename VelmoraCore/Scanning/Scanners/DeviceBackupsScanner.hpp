// Backups of iPhones and iPads that the Mac keeps in MobileSync, one item per device backup, named
// and dated by the Info.plist the backup carries.
#pragma once

#include "Scanning/Scanner.hpp"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace velmora {

class DeviceBackupsScanner : public Scanner {
public:
    std::string id() const override { return "personal.deviceBackups"; }
    std::expected<std::vector<Finding>, ScanError> scan(const ScanContext& context, StopToken stop) override;

    struct Description {
        std::optional<std::string> deviceName;
        std::optional<std::chrono::system_clock::time_point> lastBackup;
    };
    // What the backup's Info.plist (XML or binary) says; nothing of what is missing, broken or absurd.
    static Description describe(const std::filesystem::path& backup);
};

} // namespace velmora
