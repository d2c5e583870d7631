// Which app a running process stands for. Only an app bundle's main executable makes its app count as
// running: compilers, language servers and other tools that ship inside an app's Contents run without
// the app, and quitting the app would not stop them.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace velmora {

class AppBundleOfProcess {
public:
    struct App {
        std::string bundleID;
        std::string name; // the bundle's display name or short name; empty when it names neither

        bool operator==(const App&) const = default;
    };

    // Info.plist files are read below `rootPrefix` ("/" in live use, a Mac-shaped temp tree in tests).
    explicit AppBundleOfProcess(std::filesystem::path rootPrefix = "/");

    // The app `executable` (an absolute path as the kernel reports it) is the main executable of: it
    // must be "<name>.app/Contents/MacOS/<CFBundleExecutable>", the bundle's name without ".app" when
    // the key is missing or not a usable string. A helper app nested in another app's Contents is its
    // own app. Nothing for every other process, for a bundle without an identifier, and for an
    // Info.plist whose executable name reaches outside the MacOS folder. Each bundle's Info.plist is
    // read once per object; not thread-safe.
    std::optional<App> appOf(const std::filesystem::path& executable);

private:
    struct Bundle {
        App app;
        std::optional<std::string> mainExecutable; // nothing when the Info.plist names an unusable one
    };

    std::optional<Bundle> readBundle(const std::filesystem::path& bundle) const;

    std::filesystem::path rootPrefix_;
    std::map<std::filesystem::path, std::optional<Bundle>> bundles_;
};

} // namespace velmora
