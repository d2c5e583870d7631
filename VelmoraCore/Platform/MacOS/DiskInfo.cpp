// Free and total bytes of a volume on macOS: the capacity available for important usage, which counts
// purgeable space (caches the system drops on demand) as free, as the Finder does.
#include "Platform/DiskInfo.hpp"

#include "Platform/VolumeCapacity.hpp"

#include <CoreFoundation/CoreFoundation.h>

namespace velmora {

namespace {

// Releases a Core Foundation object this code got from a Create or Copy function.
class Owned {
public:
    explicit Owned(CFTypeRef ref) : ref_(ref) {}
    ~Owned() {
        if (ref_ != nullptr)
            CFRelease(ref_);
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    CFTypeRef get() const { return ref_; }

private:
    CFTypeRef ref_;
};

// A volume resource value in bytes; nothing when the volume does not report it.
std::optional<std::int64_t> volumeBytes(CFURLRef url, CFStringRef key) {
    CFTypeRef value = nullptr;
    const bool found = CFURLCopyResourcePropertyForKey(url, key, &value, nullptr);
    const Owned owned(value);
    if (!found || value == nullptr || CFGetTypeID(value) != CFNumberGetTypeID())
        return std::nullopt;
    std::int64_t bytes = 0;
    if (!CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &bytes))
        return std::nullopt;
    return bytes;
}

} // namespace

std::expected<DiskSpace, DiskInfoError> DiskInfo::diskSpace(const std::filesystem::path& home) const {
    const std::string& native = home.native();
    const Owned url(CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault,
                                                            reinterpret_cast<const UInt8*>(native.data()),
                                                            static_cast<CFIndex>(native.size()), true));
    ReportedCapacity reported;
    if (url.get() != nullptr) {
        const auto homeURL = static_cast<CFURLRef>(url.get());
        reported.free = volumeBytes(homeURL, kCFURLVolumeAvailableCapacityForImportantUsageKey);
        reported.total = volumeBytes(homeURL, kCFURLVolumeTotalCapacityKey);
    }
    return reportedCapacity(reported);
}

} // namespace velmora
