// What the simulator scanners read from `xcrun simctl`: the device list with the runtimes the devices
// use, and the installed runtime images. Parsing is bounded and never trusts a field's type: what
// cannot be read counts against removal (a device of unknown state is not unavailable, a runtime list
// entry that cannot be read still counts as in use).
#pragma once

#include "Scanning/Scanner.hpp"
#include "Support/StopToken.hpp"

#include <chrono>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct ScanContext;

namespace simctl {

struct Device {
    std::string udid;
    std::string name;
    std::string runtime; // the runtime identifier the device is listed under
    std::optional<bool> available;
    std::string availabilityError;
    std::optional<std::string> dataPath; // absolute, as the tool prints it
};

struct Listing {
    std::vector<Device> devices;                     // only entries whose fields could be read
    std::set<std::string> usedRuntimes;              // every runtime with at least one entry, readable or not
    std::map<std::string, std::string> runtimeNames; // identifier → "iOS 17.0"
};

struct RuntimeImage {
    std::string identifier;        // the image's own id, what `simctl runtime delete` takes
    std::string runtimeIdentifier; // com.apple.CoreSimulator.SimRuntime.…, what devices name
    std::string version;
    std::string build;
    std::string path;
    bool deletable = false; // true only when the tool says so in so many words
    std::optional<std::int64_t> sizeBytes;
    std::optional<std::chrono::system_clock::time_point> lastUsed;
};

// Outputs larger than this are refused rather than parsed; a real list of hundreds of devices is a
// few hundred kilobytes.
inline constexpr std::size_t maximumOutputBytes = 16 * 1024 * 1024;
inline constexpr std::size_t maximumDepth = 32;

// `xcrun simctl list -j`: the top level must be an object with an object "devices".
std::expected<Listing, ScanError> parseListing(std::string_view text);
// `xcrun simctl runtime list -j`: an object of runtime images keyed by their id.
std::expected<std::vector<RuntimeImage>, ScanError> parseRuntimeImages(std::string_view text);

// "com.apple.CoreSimulator.SimRuntime.tvOS-15-0" → "tvOS 15.0"; the text itself when it has no such form.
std::string runtimeDisplayName(std::string_view runtimeIdentifier);
// 8-4-4-4-12 hexadecimal digits. Ids handed to simctl as an argument must have this form, so that a
// value such as "all" or "--notUsedSinceDays" can never reach the command line.
bool isUuid(std::string_view text);

// /usr/bin/xcrun as the context's tool locator sees it (inside the root under a test root); nothing
// when it is not there, which is not a failure.
std::optional<std::filesystem::path> xcrun(const ScanContext& context);
// Whether simulators were ever used here: the CoreSimulator folder of the home (or, for runtimes, of
// the system). Without it the tool is not even asked.
bool coreSimulatorIn(const std::filesystem::path& developerFolder);

// Runs xcrun with `arguments` under a time limit. A run that could not start, timed out or was
// cancelled is an error with a German text; a finished run is returned whatever its exit status.
std::expected<std::pair<std::int32_t, std::string>, ScanError> run(const ScanContext& context,
                                                                   const std::filesystem::path& xcrun,
                                                                   const std::vector<std::string>& arguments,
                                                                   StopToken stop);

} // namespace simctl
} // namespace velmora
