#include "Platform/ToolLocator.hpp"

#include <unistd.h>

namespace velmora {

std::vector<std::filesystem::path> ToolLocator::defaultSearchPaths(const std::filesystem::path& home,
                                                                   bool includeLocalBin) {
    std::vector<std::filesystem::path> paths = {"/opt/homebrew/bin", "/usr/local/bin", "/usr/bin",
                                                "/bin",              "/usr/sbin",      "/sbin"};
    for (const char* perTool : {"~/.cargo/bin", "~/go/bin", "/opt/anaconda3/bin", "/opt/miniconda3/bin",
                                "~/anaconda3/bin", "~/miniconda3/bin", "~/.bun/bin"}) {
        const std::string_view folder(perTool);
        if (folder.starts_with("~/"))
            paths.push_back(home / folder.substr(2));
        else
            paths.emplace_back(folder);
    }
    if (includeLocalBin)
        paths.push_back(home / ".local/bin");
    return paths;
}

ToolLocator ToolLocator::live(const std::filesystem::path& home, bool includeLocalBin) {
    return ToolLocator{defaultSearchPaths(home, includeLocalBin), [](const std::filesystem::path& p) {
                           // An executable regular file, as the shell would find it.
                           std::error_code ec;
                           return std::filesystem::is_regular_file(p, ec) && ::access(p.c_str(), X_OK) == 0;
                       }};
}

std::optional<std::filesystem::path> ToolLocator::locate(std::string_view name) const {
    if (name.empty() || name.find('/') != std::string_view::npos)
        return std::nullopt;
    for (const auto& folder : searchPaths) {
        auto candidate = folder / name;
        if (fileExists && fileExists(candidate))
            return candidate;
    }
    return std::nullopt;
}

std::string ToolLocator::pathVariable() const {
    std::string text;
    for (const auto& folder : searchPaths) {
        if (!text.empty())
            text += ':';
        text += folder.string();
    }
    return text;
}

} // namespace velmora
