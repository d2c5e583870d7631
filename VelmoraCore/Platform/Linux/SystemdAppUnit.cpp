#include "Platform/Linux/SystemdAppUnit.hpp"

#include "Support/Text.hpp"

#include <algorithm>
#include <charconv>
#include <vector>

namespace velmora {

std::string appIdOfUnit(std::string_view unit) {
    if (!unit.starts_with("app-"))
        return {};
    unit.remove_prefix(4);
    bool scope = false;
    if (unit.ends_with(".scope")) {
        unit.remove_suffix(6);
        scope = true;
    } else if (unit.ends_with(".service")) {
        unit.remove_suffix(8);
        if (const std::size_t at = unit.find('@'); at != std::string_view::npos)
            unit = unit.substr(0, at);
    } else
        return {};
    std::vector<std::string_view> parts;
    for (std::size_t start = 0;;) {
        const std::size_t dash = unit.find('-', start);
        parts.push_back(unit.substr(start, dash == std::string_view::npos ? dash : dash - start));
        if (dash == std::string_view::npos)
            break;
        start = dash + 1;
    }
    if (scope)
        parts.pop_back(); // the random part
    if (parts.empty() || parts.size() > 2 || parts.back().empty())
        return {};
    std::string id;
    const std::string_view escaped = parts.back();
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        if (escaped.substr(i).starts_with("\\x") && i + 4 <= escaped.size()) {
            unsigned value = 0;
            const auto [end, error] =
                std::from_chars(escaped.data() + i + 2, escaped.data() + i + 4, value, 16);
            if (error == std::errc{} && end == escaped.data() + i + 4) {
                id.push_back(static_cast<char>(value));
                i += 3;
                continue;
            }
        }
        id.push_back(escaped[i]);
    }
    return Text::repairUTF8(id);
}

std::string appIdOfCgroup(std::string_view cgroup) {
    std::string found;
    while (!cgroup.empty() && found.empty()) {
        const std::size_t end = std::min(cgroup.find('\n'), cgroup.size());
        const std::string_view line = cgroup.substr(0, end);
        cgroup.remove_prefix(std::min(end + 1, cgroup.size()));
        const std::size_t colon = line.find(':', line.find(':') + 1);
        if (colon == std::string_view::npos)
            continue;
        std::string_view path = line.substr(colon + 1);
        while (!path.empty()) {
            const std::size_t slash = path.rfind('/');
            const std::string_view component = path.substr(slash == std::string_view::npos ? 0 : slash + 1);
            if (std::string id = appIdOfUnit(component); !id.empty()) {
                found = std::move(id);
                break;
            }
            if (slash == std::string_view::npos)
                break;
            path = path.substr(0, slash);
        }
    }
    return found;
}

} // namespace velmora
