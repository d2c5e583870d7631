#include "Platform/SealedRoot.hpp"
#include "Support/StopToken.hpp"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace velmora {

namespace fs = std::filesystem;

namespace {

bool isBelow(const fs::path& path, const fs::path& prefix) {
    auto p = path.begin();
    for (auto q = prefix.begin(); q != prefix.end(); ++q, ++p)
        if (p == path.end() || *p != *q)
            return false;
    return true;
}

// realpath(3); empty with `error` set when it fails.
fs::path resolved(const fs::path& path, int& error) {
    char buffer[PATH_MAX];
    if (::realpath(path.c_str(), buffer) == nullptr) {
        error = errno;
        return {};
    }
    error = 0;
    return fs::path(buffer);
}

class SealedCommandRunner final : public CommandRunner {
public:
    SealedCommandRunner(std::shared_ptr<CommandRunner> inner, SealedRoot root)
        : inner_(std::move(inner)), root_(std::move(root)) {}

    std::expected<CommandResult, CommandError> run(const fs::path& executable,
                                                   const std::vector<std::string>& arguments,
                                                   std::chrono::nanoseconds timeout,
                                                   StopToken stop) override {
        const auto tool = root_.toolPath(executable);
        if (!root_.staysInside(tool))
            return std::unexpected(CommandError{CommandError::Kind::launchFailed,
                                                "Führt aus der Wurzel hinaus: " + tool.string()});
        return inner_->run(tool, arguments, timeout, std::move(stop));
    }

private:
    std::shared_ptr<CommandRunner> inner_;
    SealedRoot root_;
};

} // namespace

SealedRoot::SealedRoot(fs::path rootPrefix) : prefix_(rootPrefix.lexically_normal()) {
    if (prefix_.has_relative_path() && prefix_.filename().empty())
        prefix_ = prefix_.parent_path();
    live_ = prefix_ == "/";
    int error = 0;
    if (!live_)
        realPrefix_ = resolved(prefix_, error);
}

fs::path SealedRoot::toolPath(const fs::path& tool) const {
    if (live_)
        return tool;
    const auto logical = (fs::path("/") / tool).lexically_normal(); // "/.." is "/"
    if (isBelow(logical, prefix_))
        return logical;
    return prefix_ / logical.relative_path();
}

bool SealedRoot::staysInside(const fs::path& path) const {
    if (live_)
        return true;
    if (realPrefix_.empty())
        return false;
    int error = 0;
    const auto real = resolved(path, error);
    if (error == ENOENT || error == ENOTDIR)
        return isBelow(path.lexically_normal(), prefix_);
    return error == 0 && isBelow(real, realPrefix_);
}

ToolLocator SealedRoot::locator(ToolLocator locator) const {
    if (live_)
        return locator;
    for (auto& folder : locator.searchPaths)
        folder = toolPath(folder);
    if (locator.fileExists)
        locator.fileExists = [root = *this, exists = std::move(locator.fileExists)](const fs::path& path) {
            const auto tool = root.toolPath(path);
            return root.staysInside(tool) && exists(tool);
        };
    return locator;
}

std::shared_ptr<CommandRunner> SealedRoot::runner(std::shared_ptr<CommandRunner> inner) const {
    if (live_ || !inner)
        return inner;
    return std::make_shared<SealedCommandRunner>(std::move(inner), *this);
}

} // namespace velmora
