#include "Cli/CommonOptions.hpp"

#include "App/ForcedDryRun.hpp"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace velmora::cli {

namespace fs = std::filesystem;

fs::path RunSetting::real(const fs::path& logical) const {
    return isLiveRoot() ? logical : rootPrefix / logical.relative_path();
}

void addCommonOptions(CLI::App& app, CommonOptions& options) {
    app.add_option("--root", options.root,
                   "Ordner, der für die Wurzel „/“ des Dateisystems steht (Standard: /)")
        ->option_text("ORDNER");
    app.add_option("--home", options.home,
                   "Benutzerordner, gelesen innerhalb der Wurzel (Standard: dein eigener Benutzerordner)")
        ->option_text("PFAD");
    app.add_option("--platform", options.platform,
                   "Welche Ordnerstruktur gilt: macos oder linux (Standard: die dieses Rechners)")
        ->option_text("macos|linux");
    app.add_flag("--dry-run", options.dryRun, "Trockenlauf: nichts wird verändert, alles nur berichtet");
}

namespace {

std::string userHome() {
    if (const char* home = std::getenv("HOME"); home && *home)
        return home;
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir)
        return entry->pw_dir;
    return {};
}

} // namespace

std::expected<RunSetting, std::string> resolveSetting(const CommonOptions& options,
                                                      const std::optional<std::string>& environmentDryRun) {
    RunSetting setting;
    if (!options.platform.empty()) {
        const auto layout = platformLayoutFromRawValue(options.platform);
        if (!layout)
            return std::unexpected("Unbekannte Plattform „" + options.platform +
                                   "“ – erlaubt sind macos und linux.");
        setting.layout = *layout;
    }
    std::error_code ec;
    const fs::path root(options.root.empty() ? "/" : options.root);
    if (!root.is_absolute())
        return std::unexpected("Die Wurzel muss ein absoluter Pfad sein: " + options.root);
    if (!fs::is_directory(root, ec))
        return std::unexpected("Die Wurzel existiert nicht oder ist kein Ordner: " + options.root);
    setting.rootPrefix = root.lexically_normal();
    if (setting.rootPrefix != "/" && setting.rootPrefix.filename().empty())
        setting.rootPrefix = setting.rootPrefix.parent_path();

    const std::string home = options.home.empty() ? userHome() : options.home;
    if (home.empty() || home.front() != '/')
        return std::unexpected("Der Benutzerordner muss ein absoluter Pfad sein: " + home);
    setting.logicalHome = fs::path(home).lexically_normal();
    setting.home = setting.real(setting.logicalHome);
    if (!fs::is_directory(setting.home, ec))
        return std::unexpected("Der Benutzerordner existiert nicht: " + setting.home.string());
    setting.dryRun = options.dryRun || isDryRunForced({}, environmentDryRun);
    return setting;
}

} // namespace velmora::cli
