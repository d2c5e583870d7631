#include "Platform/AppBundleOfProcess.hpp"

#include "Support/PropertyList.hpp"
#include "Support/Text.hpp"

#include <utility>

namespace velmora {

namespace {

// APFS compares names without regard to case, so the system finds "Contents/MacOS/xcode" for "Xcode"
// as well; matching the same way errs towards "running", the side on which nothing is removed.
bool sameName(const std::string& a, const std::string& b) {
    return a == b || Text::lowercased(a) == Text::lowercased(b);
}

bool endsWithApp(const std::string& name) {
    return name.size() > 4 && Text::lowercased(name.substr(name.size() - 4)) == ".app";
}

} // namespace

AppBundleOfProcess::AppBundleOfProcess(std::filesystem::path rootPrefix)
    : rootPrefix_(std::move(rootPrefix)) {}

std::optional<AppBundleOfProcess::Bundle>
AppBundleOfProcess::readBundle(const std::filesystem::path& bundle) const {
    // Read within the bounds every property list is read in: a running app's Info.plist is outside
    // data like any other.
    const PlistPtr root = readPropertyList(rootPrefix_ / bundle.relative_path() / "Contents" / "Info.plist");
    const std::optional<std::string> identifier = plistString(root.get(), "CFBundleIdentifier");
    if (!identifier || identifier->empty())
        return std::nullopt;
    Bundle info{{Text::repairUTF8(*identifier), {}}, {}};
    if (auto name = plistString(root.get(), "CFBundleDisplayName"); name && !name->empty())
        info.app.name = Text::repairUTF8(*name);
    else if (auto shortName = plistString(root.get(), "CFBundleName"); shortName && !shortName->empty())
        info.app.name = Text::repairUTF8(*shortName);

    // Like the system's own bundle code: a missing, empty or non-text value means the bundle's name.
    const std::string bundleName = bundle.filename().string();
    const std::optional<std::string> executable = plistString(root.get(), "CFBundleExecutable");
    if (!executable || executable->empty())
        info.mainExecutable = bundleName.substr(0, bundleName.size() - 4);
    else if (*executable != "." && executable->find('/') == std::string::npos &&
             executable->find("..") == std::string::npos && executable->find('\0') == std::string::npos)
        info.mainExecutable = *executable;
    return info;
}

std::optional<AppBundleOfProcess::App> AppBundleOfProcess::appOf(const std::filesystem::path& executable) {
    const std::filesystem::path macOSFolder = executable.parent_path();
    const std::filesystem::path contents = macOSFolder.parent_path();
    const std::filesystem::path bundle = contents.parent_path();
    if (!executable.is_absolute() || !executable.has_filename() || !bundle.has_relative_path() ||
        Text::lowercased(macOSFolder.filename().string()) != "macos" ||
        Text::lowercased(contents.filename().string()) != "contents" ||
        !endsWithApp(bundle.filename().string()))
        return std::nullopt;

    auto known = bundles_.find(bundle);
    if (known == bundles_.end())
        known = bundles_.emplace(bundle, readBundle(bundle)).first;
    const std::optional<Bundle>& info = known->second;
    if (!info || !info->mainExecutable || !sameName(executable.filename().string(), *info->mainExecutable))
        return std::nullopt;
    return info->app;
}

} // namespace velmora
