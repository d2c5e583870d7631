#include "Platform/AppUsageSource.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

namespace velmora {

namespace {

class SpotlightAppUsage final : public AppUsageSource {
public:
    std::expected<std::optional<std::chrono::system_clock::time_point>, std::string>
    lastUsed(const std::filesystem::path& bundle, StopToken) const override {
        const std::string path = bundle.string();
        CFStringRef cfPath =
            CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
                                    static_cast<CFIndex>(path.size()), kCFStringEncodingUTF8, false);
        if (!cfPath)
            return std::nullopt; // not UTF-8: Spotlight cannot have indexed it under this name
        MDItemRef item = MDItemCreate(kCFAllocatorDefault, cfPath);
        CFRelease(cfPath);
        if (!item)
            return std::nullopt;
        CFTypeRef value = MDItemCopyAttribute(item, kMDItemLastUsedDate);
        CFRelease(item);
        if (!value)
            return std::nullopt;
        std::optional<std::chrono::system_clock::time_point> date;
        if (CFGetTypeID(value) == CFDateGetTypeID()) {
            const double seconds =
                CFDateGetAbsoluteTime(static_cast<CFDateRef>(value)) + kCFAbsoluteTimeIntervalSince1970;
            date = std::chrono::system_clock::time_point{
                std::chrono::duration_cast<std::chrono::system_clock::duration>(
                    std::chrono::duration<double>(seconds))};
        }
        CFRelease(value);
        return date;
    }
};

} // namespace

std::shared_ptr<const AppUsageSource> spotlightAppUsage() {
    static const auto source = std::make_shared<const SpotlightAppUsage>();
    return source;
}

} // namespace velmora
