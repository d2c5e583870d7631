#include "Platform/ToolLocator.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>

#include <unistd.h>

namespace velmora {

namespace {

std::string firstLine(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
        line.pop_back();
    return line;
}

// "v20.11.1" → {20, 11, 1}; nothing for names that are not versions.
std::optional<std::vector<int>> versionNumbers(std::string_view name) {
    if (!name.starts_with('v'))
        return std::nullopt;
    std::vector<int> numbers;
    const char* at = name.data() + 1;
    const char* end = name.data() + name.size();
    while (at < end) {
        int number = 0;
        const auto [next, error] = std::from_chars(at, end, number);
        if (error != std::errc{})
            return std::nullopt;
        numbers.push_back(number);
        at = next;
        if (at < end && *at++ != '.')
            return std::nullopt;
    }
    return numbers.empty() ? std::nullopt : std::optional(numbers);
}

} // namespace

std::vector<std::filesystem::path> ToolLocator::defaultSearchPaths(const std::filesystem::path& home,
                                                                   bool linuxLayout,
                                                                   const std::filesystem::path& pnpmHome) {
    std::vector<std::filesystem::path> paths = {"/opt/homebrew/bin", "/usr/local/bin", "/usr/bin", "/bin",
                                                "/usr/sbin",         "/sbin"};
    for (const char* perTool : {"~/.cargo/bin", "~/go/bin", "/opt/anaconda3/bin", "/opt/miniconda3/bin",
                                "~/anaconda3/bin", "~/miniconda3/bin", "~/.bun/bin"}) {
        const std::string_view folder(perTool);
        if (folder.starts_with("~/"))
            paths.push_back(home / folder.substr(2));
        else
            paths.emplace_back(folder);
    }
    if (linuxLayout) {
        paths.push_back(home / ".local/bin");
        paths.emplace_back("/usr/local/go/bin");
        paths.push_back(pnpmHome.empty() ? home / ".local/share/pnpm" : pnpmHome);
        if (auto nvm = nvmDefaultBin(home))
            paths.push_back(std::move(*nvm));
    }
    return paths;
}

std::optional<std::filesystem::path> ToolLocator::nvmDefaultBin(const std::filesystem::path& home) {
    auto folder = nvmVersionFolder(home, "default");
    if (!folder || *folder == "system")
        return std::nullopt;
    return *folder / "bin";
}

std::optional<std::filesystem::path> ToolLocator::nvmVersionFolder(const std::filesystem::path& home,
                                                                   std::string wanted) {
    const auto nvm = home / ".nvm";
    // Aliases name other aliases ("default" → "lts/*" → "lts/iron" → "v20.11.1"); a few steps at most.
    for (int step = 0; step < 5; ++step) {
        if (wanted.empty() || wanted.find("..") != std::string::npos)
            return std::nullopt;
        std::error_code error;
        if (!std::filesystem::is_regular_file(nvm / "alias" / wanted, error))
            break;
        wanted = firstLine(nvm / "alias" / wanted);
    }
    if (wanted == "system")
        return std::filesystem::path("system");
    if (wanted.empty() || wanted == "default" || wanted.find("..") != std::string::npos)
        return std::nullopt;
    const bool newest = wanted == "node" || wanted == "stable";
    const std::string prefix = wanted.starts_with('v') ? wanted : "v" + wanted;
    std::optional<std::vector<int>> best;
    std::filesystem::path bestFolder;
    std::error_code error;
    for (std::filesystem::directory_iterator it(nvm / "versions/node", error), end; !error && it != end;
         it.increment(error)) {
        const auto name = it->path().filename().string();
        const auto numbers = versionNumbers(name);
        if (!numbers || !(newest || name == prefix || name.starts_with(prefix + ".")))
            continue;
        if (!best || std::ranges::lexicographical_compare(*best, *numbers)) {
            best = numbers;
            bestFolder = it->path();
        }
    }
    return best ? std::optional(bestFolder) : std::nullopt;
}

ToolLocator ToolLocator::live(const std::filesystem::path& home, bool linuxLayout,
                              const std::filesystem::path& pnpmHome) {
    return ToolLocator{defaultSearchPaths(home, linuxLayout, pnpmHome), [](const std::filesystem::path& p) {
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
