// The system's app registry, asked for the apps with one bundle identifier.
#include "Platform/LaunchServices.hpp"

#include <CoreServices/CoreServices.h>

#include <climits>

namespace velmora::LaunchServices {

std::optional<std::vector<std::filesystem::path>> applicationURLs(std::string_view bundleID) {
    const CFStringRef identifier =
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bundleID.data()),
                                static_cast<CFIndex>(bundleID.size()), kCFStringEncodingUTF8, false);
    if (!identifier)
        return std::nullopt;
    CFErrorRef error = nullptr;
    const CFArrayRef urls = LSCopyApplicationURLsForBundleIdentifier(identifier, &error);
    CFRelease(identifier);
    if (!urls) {
        // "Not found" is an answer; any other failure leaves the question open.
        const bool notFound = error && CFErrorGetCode(error) == kLSApplicationNotFoundErr;
        if (error)
            CFRelease(error);
        return notFound ? std::optional(std::vector<std::filesystem::path>{}) : std::nullopt;
    }
    std::vector<std::filesystem::path> paths;
    for (CFIndex i = 0, count = CFArrayGetCount(urls); i < count; ++i) {
        const auto url = static_cast<CFURLRef>(CFArrayGetValueAtIndex(urls, i));
        UInt8 path[PATH_MAX];
        if (CFURLGetFileSystemRepresentation(url, true, path, sizeof path))
            paths.emplace_back(reinterpret_cast<const char*>(path));
    }
    CFRelease(urls);
    return paths;
}

} // namespace velmora::LaunchServices
