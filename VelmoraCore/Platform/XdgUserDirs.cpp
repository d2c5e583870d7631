#include "Platform/XdgUserDirs.hpp"

#include <fstream>
#include <string>

namespace velmora {

namespace {

// The file is a few hundred bytes; anything far larger is not a user-dirs file.
constexpr std::size_t maximumFileSize = 64 * 1024;

std::string_view trimmedLeft(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

// The text between the double quotes, with backslash escapes undone; nothing when the quotes are
// missing or something other than blanks or a comment follows them.
std::optional<std::string> quotedValue(std::string_view text) {
    if (text.empty() || text.front() != '"')
        return std::nullopt;
    std::string value;
    std::size_t i = 1;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"')
            break;
        if (c == '\\') {
            if (++i == text.size())
                return std::nullopt;
            value.push_back(text[i]);
        } else {
            value.push_back(c);
        }
    }
    if (i == text.size())
        return std::nullopt;
    const auto rest = trimmedLeft(text.substr(i + 1));
    if (!rest.empty() && rest.front() != '#')
        return std::nullopt;
    return value;
}

std::optional<std::filesystem::path> folderFromValue(std::string_view value,
                                                     const std::filesystem::path& home) {
    for (const std::string_view variable : {"$HOME", "${HOME}"}) {
        if (value.starts_with(variable)) {
            const auto rest = value.substr(variable.size());
            if (!rest.empty() && rest.front() != '/')
                return std::nullopt; // "$HOMEX" is another variable
            return std::filesystem::path(home.string() + std::string(rest));
        }
    }
    if (value.starts_with('/'))
        return std::filesystem::path(value);
    return std::nullopt;
}

} // namespace

XdgUserDirs XdgUserDirs::parse(std::string_view text, const std::filesystem::path& home) {
    XdgUserDirs dirs;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const auto line = trimmedLeft(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (line.empty() || line.front() == '#')
            continue;
        const auto equals = line.find('=');
        if (equals == std::string_view::npos)
            continue;
        const auto name = line.substr(0, equals);
        std::optional<std::filesystem::path>* target = nullptr;
        if (name == "XDG_DESKTOP_DIR")
            target = &dirs.desktop;
        else if (name == "XDG_DOCUMENTS_DIR")
            target = &dirs.documents;
        else if (name == "XDG_PICTURES_DIR")
            target = &dirs.pictures;
        else if (name == "XDG_DOWNLOAD_DIR")
            target = &dirs.download;
        if (target == nullptr)
            continue;
        const auto value = quotedValue(line.substr(equals + 1));
        if (!value)
            continue;
        if (auto folder = folderFromValue(*value, home))
            *target = std::move(folder);
    }
    return dirs;
}

XdgUserDirs XdgUserDirs::read(const std::filesystem::path& rootPrefix, const std::filesystem::path& home) {
    const auto file =
        std::filesystem::path(rootPrefix.string() + "/" + home.string() + "/.config/user-dirs.dirs");
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        return {};
    std::string text(maximumFileSize + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    const auto length = static_cast<std::size_t>(stream.gcount());
    if (length > maximumFileSize)
        return {};
    text.resize(length);
    return parse(text, home);
}

} // namespace velmora
