// The five tabs of the main window; every category and alert is filed under one of them.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace velmora {

enum class AppTab { storage, developer, systemData, services, performance };

inline constexpr std::array<AppTab, 5> allAppTabs{AppTab::storage, AppTab::developer, AppTab::systemData,
                                                  AppTab::services, AppTab::performance};

constexpr std::string_view rawValue(AppTab tab) {
    switch (tab) {
    case AppTab::storage:
        return "storage";
    case AppTab::developer:
        return "developer";
    case AppTab::systemData:
        return "systemData";
    case AppTab::services:
        return "services";
    case AppTab::performance:
        return "performance";
    }
    return {};
}

constexpr std::string_view title(AppTab tab) {
    switch (tab) {
    case AppTab::storage:
        return "Speicher";
    case AppTab::developer:
        return "Entwickler";
    case AppTab::systemData:
        return "Systemdaten";
    case AppTab::services:
        return "Hintergrunddienste";
    case AppTab::performance:
        return "Leistung";
    }
    return {};
}

constexpr std::string_view symbol(AppTab tab) {
    switch (tab) {
    case AppTab::storage:
        return "internaldrive";
    case AppTab::developer:
        return "hammer";
    case AppTab::systemData:
        return "chart.pie";
    case AppTab::services:
        return "gearshape.2";
    case AppTab::performance:
        return "gauge.with.dots.needle.50percent";
    }
    return {};
}

constexpr std::optional<AppTab> appTabFromRawValue(std::string_view raw) {
    for (AppTab tab : allAppTabs)
        if (rawValue(tab) == raw)
            return tab;
    return std::nullopt;
}

} // namespace velmora
