#include "Scanning/Scanners/CondaScanner.hpp"

#include "Scanning/ScanContext.hpp"
#include "Scanning/Scanners/ToolOutput.hpp"

#include <nlohmann/json.hpp>

#include <set>
#include <sys/stat.h>

namespace velmora {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::string_view tarballKind = "Heruntergeladenes Paketarchiv";
constexpr std::string_view packageKind = "Entpacktes Paket, von keiner Umgebung genutzt";
constexpr std::string_view indexKind = "Index-Cache";

// "pkgs_dirs": {"<cache folder>": ["<name>", …]} – the shape of both the tarball and the package part.
bool addPerFolder(const json& part, std::string_view kind, std::vector<CondaScanner::Entry>& out) {
    if (!part.is_object())
        return false;
    const auto folders = part.find("pkgs_dirs");
    if (folders == part.end())
        return true; // nothing of this kind
    if (!folders->is_object())
        return false;
    for (const auto& [folder, names] : folders->items()) {
        if (!names.is_array())
            return false;
        for (const auto& name : names) {
            if (!name.is_string())
                return false;
            out.push_back({fs::path(folder) / name.get<std::string>(), kind});
        }
    }
    return true;
}

} // namespace

std::optional<std::vector<CondaScanner::Entry>> CondaScanner::entries(std::string_view text) {
    const json report = json::parse(text, nullptr, false);
    if (report.is_discarded() || !report.is_object() || !report.contains("success"))
        return std::nullopt;
    std::vector<Entry> result;
    if (const auto part = report.find("tarballs");
        part != report.end() && !addPerFolder(*part, tarballKind, result))
        return std::nullopt;
    if (const auto part = report.find("packages");
        part != report.end() && !addPerFolder(*part, packageKind, result))
        return std::nullopt;
    if (const auto part = report.find("index_cache"); part != report.end()) {
        const auto files = part->find("files");
        if (!part->is_object() || (files != part->end() && !files->is_array()))
            return std::nullopt;
        if (files != part->end())
            for (const auto& file : *files) {
                if (!file.is_string())
                    return std::nullopt;
                result.push_back({fs::path(file.get<std::string>()), indexKind});
            }
    }
    for (const auto& entry : result)
        if (!entry.path.is_absolute())
            return std::nullopt;
    return result;
}

std::expected<std::vector<Finding>, ScanError> CondaScanner::scan(const ScanContext& context,
                                                                  StopToken stop) {
    const auto conda = toolscan::locate(context, "conda");
    if (!conda)
        return std::vector<Finding>{};
    const auto out =
        toolscan::output(context, *conda, {"clean", "--all", "--dry-run", "--json"}, 120s, "Conda", stop);
    if (!out)
        return std::unexpected(out.error());
    const auto found = entries(*out);
    if (!found)
        return std::unexpected(toolscan::unreadable("conda clean --dry-run"));

    std::vector<FindingItem> items;
    std::set<std::string> seen;
    for (const auto& entry : *found) {
        if (stop.stop_requested())
            return std::unexpected(ScanError{"Abgebrochen"});
        const auto location = context.underRoot(entry.path);
        struct stat st {};
        if (::lstat(location.c_str(), &st) != 0)
            continue; // conda names the index cache even when there is none
        auto item = toolscan::measuredItem(context, location, stop);
        item.detail = std::string(entry.kind);
        if (seen.insert(item.id).second)
            items.push_back(std::move(item));
    }
    if (items.empty())
        return std::vector<Finding>{};
    return std::vector<Finding>{
        toolscan::toolFinding({"languages.conda", "", "Conda – Paket-Cache",
                               "Heruntergeladene Paketarchive und entpackte Pakete, die keine Conda-Umgebung "
                               "mehr nutzt. Conda räumt "
                               "sie selbst auf; deine Umgebungen bleiben unverändert.",
                               Risk::safe},
                              ToolCommand{"conda", {"clean", "--all", "--yes"}, 600s}, std::move(items))};
}

} // namespace velmora
